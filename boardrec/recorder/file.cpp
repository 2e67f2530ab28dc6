#include "boardrec/recorder/file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstring>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/blocks.h"
#include "boardrec/recorder/text.h"

namespace boardrec {

constinit kernel::Lock shared;

namespace {

constexpr std::size_t kRoom = 64 << 10;  // for all of a record but its long block
constexpr std::size_t kLongestCopied = 16 << 10;
constexpr std::uint64_t kRoomForNote = 512;
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;  // of a file: a position has 32 bits on a board

constinit int fd = -1;
constinit bool on = false;
constinit std::uint64_t limit = 0;
constinit std::uint64_t position = 0;
char room[kRoom];

struct Crc {
  std::uint32_t table[256]{};
  constexpr Crc() {
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
      std::uint32_t sum = byte;
      for (int bit = 0; bit < 8; ++bit) sum = (sum >> 1) ^ (0xEDB88320U & (0U - (sum & 1U)));
      table[byte] = sum;
    }
  }
};
constexpr Crc kCrc;

/// checksum(), by table.
constexpr std::uint32_t fast_checksum(const unsigned char* bytes, std::size_t size, std::uint32_t before) {
  std::uint32_t sum = ~before;
  for (std::size_t at = 0; at < size; ++at) sum = (sum >> 8) ^ kCrc.table[(sum ^ bytes[at]) & 0xFFU];
  return ~sum;
}
constexpr unsigned char kSample[] = {1, 2, 3, 0xFF, 0};
static_assert(fast_checksum(kSample, sizeof kSample, 7) == checksum(kSample, sizeof kSample, 7));

}  // namespace

void tell(const char* name, const char* what, long error) {
  Text line;
  line.add("boardrecord: ").add(name).add(what);
  if (error != 0) line.add(" (errno ").add(-error).add(")");
  line.add("\n");
  std::size_t written = 0;
  kernel::write_all(2, line.text(), line.size(), written);
}

namespace {

void stop(const char* why, long error) {
  if (!on) return;
  on = false;
  tell("recording ends: ", why, error);
}

/// memcpy, which a sanitizer in the program would watch without knowing the lock.
void copy(void* to, const void* from, std::size_t size) {
  char* target = static_cast<char*>(to);
  const char* source = static_cast<const char*>(from);
  for (; size >= sizeof(std::uint64_t); size -= sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    __builtin_memcpy(&word, source, sizeof word);
    __builtin_memcpy(target, &word, sizeof word);
    target += sizeof word;
    source += sizeof word;
  }
  for (; size > 0; --size) *target++ = *source++;
}

/// A record's pieces: `room` with a long block in between.
class Pieces {
 public:
  void add(const void* bytes, std::size_t size) {
    if (used_ + size > kRoom) {
      fits_ = false;
      return;
    }
    copy(room + used_, bytes, size);
    used_ += size;
  }
  template <typename Number>
  void put(Number number) {
    add(&number, sizeof number);
  }
  /// The place for that many bytes in the room, or null.
  char* place(std::size_t size) { return used_ + size <= kRoom ? room + used_ : nullptr; }
  void took(std::size_t size) { used_ += size; }
  /// One block stays where it is.
  void refer(const void* bytes, std::size_t size) {
    split_ = used_;
    block_ = static_cast<const unsigned char*>(bytes);
    block_size_ = size;
  }
  bool may_refer(std::size_t size) const { return block_ == nullptr && size + kRoom <= kLargestBody; }
  bool fits() const { return fits_; }

  std::size_t size() const { return used_ + block_size_; }
  void write();

 private:
  std::size_t used_ = sizeof(Frame);
  std::size_t split_ = 0;
  const unsigned char* block_ = nullptr;
  std::size_t block_size_ = 0;
  bool fits_ = true;
};

/// What was written of a record that did not go in whole is cut off again.
bool write_pieces(iovec* pieces, int count) {
  const std::uint64_t start = position;
  std::size_t size = 0;
  for (int i = 0; i < count; ++i) size += pieces[i].iov_len;
  long result = 0;
  do {
    result = kernel::call(SYS_writev, fd, kernel::word(pieces), count);
  } while (result == -EINTR);
  std::size_t moved = result > 0 ? static_cast<std::size_t>(result) : 0;
  if (moved == size) {
    position += size;
    return true;
  }
  // The kernel took a part: what is behind comes piece by piece, or says why not.
  long error = result < 0 ? result : 0;
  for (int i = 0; i < count && error == 0; ++i) {
    const std::size_t gone = std::min(moved, pieces[i].iov_len);
    moved -= gone;
    std::size_t written = 0;
    error = kernel::write_all(fd, static_cast<char*>(pieces[i].iov_base) + gone, pieces[i].iov_len - gone,
                              written);
  }
  if (error == 0) {
    position += size;
    return true;
  }
  kernel::call(SYS_ftruncate, fd, static_cast<long>(start));
  stop("the file takes no more", error);
  return false;
}

void Pieces::write() {
  const std::size_t head = block_ != nullptr ? split_ : used_;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(room);
  std::uint32_t sum = fast_checksum(bytes + sizeof(Frame), head - sizeof(Frame), 0);
  if (block_ != nullptr) {
    sum = fast_checksum(block_, block_size_, sum);
    sum = fast_checksum(bytes + head, used_ - head, sum);
  }
  const Frame frame{static_cast<std::uint32_t>(used_ - sizeof(Frame) + block_size_), sum};
  copy(room, &frame, sizeof frame);
  iovec pieces[3] = {
      {room, head}, {const_cast<unsigned char*>(block_), block_size_}, {room + head, used_ - head}};
  write_pieces(pieces, block_ != nullptr ? 3 : 1);
}

void put_absent(Pieces& pieces) {
  pieces.put(ValueType::absent);
}

/// A text or block of the program's. False when it cannot be read.
bool put_bytes(Pieces& pieces, const Item& item, bool safe) {
  const bool text = item.kind == Item::Kind::text;
  constexpr std::size_t kHead = sizeof(ValueType) + sizeof(std::uint32_t);
  std::uint32_t size = item.size;
  if (!text && size > kLongestCopied && safe) {
    if (!pieces.may_refer(size)) return false;
    pieces.put(ValueType::bytes);
    pieces.put(size);
    pieces.refer(item.pointer, size);
    return true;
  }
  if (text)
    size = safe ? static_cast<std::uint32_t>(strnlen(static_cast<const char*>(item.pointer), 4096)) : 4096;
  char* const place = pieces.place(kHead + size);
  if (place == nullptr) return false;
  if (safe) {
    copy(place + kHead, item.pointer, size);
  } else if (text) {
    const long found = copy_text(static_cast<const char*>(item.pointer), place + kHead, size);
    if (found < 0) return false;
    size = static_cast<std::uint32_t>(found);
  } else if (!copy_block(item.pointer, place + kHead, size)) {
    return false;
  }
  pieces.put(ValueType::bytes);
  pieces.put(size);
  pieces.took(size);
  return true;
}

/// Whether all of the value is in the record.
bool put(Pieces& pieces, const Item& item, bool safe) {
  switch (item.kind) {
    case Item::Kind::absent:
      put_absent(pieces);
      return true;
    case Item::Kind::number:
      pieces.put(ValueType::number);
      pieces.put(item.number);
      return true;
    case Item::Kind::digest:
      pieces.put(ValueType::digest);
      pieces.put(item.size);
      pieces.put(item.digest);
      return true;
    case Item::Kind::own:
    case Item::Kind::handed:
    case Item::Kind::text:
      break;
  }
  if (item.pointer == nullptr) {
    put_absent(pieces);
    return true;
  }
  if (put_bytes(pieces, item, safe || item.kind == Item::Kind::own)) return true;
  put_absent(pieces);
  return false;
}

/// The room that the kernel leaves the program in files: beyond, it would end the program.
std::uint64_t kernel_limit() {
  struct {
    std::uint64_t soft, hard;
  } limits{};
  const long result = kernel::call(SYS_prlimit64, 0, RLIMIT_FSIZE, 0, kernel::word(&limits));
  return result == 0 ? limits.soft : kMostBytes;
}

/// Opens the file, or the next one of FILE.1, FILE.2 ... when there is something in it: what was recorded
/// before is never replaced. `name` becomes that of the file. Its descriptor, or a negative errno.
long open_free(const char*& name) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK;
  constexpr long kMostNames = 999;
  const char* const wanted = name;
  const std::size_t size = std::strlen(wanted);
  for (long number = 1;; ++number) {
    const long opened = kernel::call(SYS_openat, AT_FDCWD, kernel::word(name), kFlags, 0600);
    if (opened < 0 || kernel::call(SYS_lseek, opened, 0, 2 /* from the end */) <= 0) return opened;
    kernel::close(static_cast<int>(opened));
    Text suffix;
    suffix.add(".").add(number);
    if (number > kMostNames || size + suffix.size() >= kRoom) return -EEXIST;
    copy(room, wanted, size);
    copy(room + size, suffix.text(), suffix.size() + 1);
    name = room;
  }
}

}  // namespace

bool begin_file(const char* name, std::uint64_t most, std::uint64_t real_time, std::uint64_t monotonic) {
  if (!prepare_copies()) {
    tell(name, " needs three descriptors, which the program does not have: nothing is recorded", 0);
    return false;
  }
  const char* const wanted = name;
  const long opened = open_free(name);
  if (opened < 0) {
    tell(name, " cannot be written: nothing is recorded", opened);
    end_copies();
    return false;
  }
  fd = kernel::out_of_the_way(static_cast<int>(opened));
  if (kernel::call(SYS_lseek, fd, 0, 1 /* from here */) < 0) {
    tell(name, " is no file: nothing is recorded", 0);
    end_copies();
    kernel::close(fd);
    fd = -1;
    return false;
  }
  if (name != wanted) {
    Text instead;
    instead.add(" is there already, the recording goes to ").add(name);
    tell(wanted, instead.text(), 0);
  }
  limit = std::min({most, kernel_limit(), kMostBytes});
  Header header{};
  std::memcpy(header.magic, kMagic, sizeof kMagic);
  header.order = kOrder;
  header.version = kVersion;
  header.word_size = sizeof(long);
  header.real_time = real_time;
  header.monotonic = monotonic;
  header.checksum = checksum(reinterpret_cast<const unsigned char*>(&header), offsetof(Header, checksum));
  on = true;
  if (limit < sizeof header + kRoomForNote) {
    stop("its limit has no room for anything", 0);
    return false;
  }
  iovec whole{&header, sizeof header};
  return write_pieces(&whole, 1);
}

bool recording() {
  return __atomic_load_n(&on, __ATOMIC_RELAXED);
}

void end_recording() {
  on = false;
}

bool is_own(int number) {
  return number >= 0 && (number == fd || is_for_copies(number));
}

void write_record(Body body, const Items& in, const Items& out, bool safe) {
  if (!on) return;
  Pieces pieces;
  body.in = in.count;
  body.out = out.count;
  bool whole = true;
  pieces.put(body);
  for (std::uint16_t i = 0; i < in.count; ++i) whole = put(pieces, in.items[i], safe) && whole;
  for (std::uint16_t i = 0; i < out.count; ++i) whole = put(pieces, out.items[i], safe) && whole;
  if (!whole) {
    body.flags |= kNotRecorded;
    copy(room + sizeof(Frame), &body, sizeof body);
  }
  if (position + pieces.size() + kRoomForNote > limit && Call{body.call} != Call::note) {
    Text text;
    text.add("the limit of ").add(static_cast<long>(limit)).add(" bytes was reached");
    write_note(text.text(), body.ended);
    stop(text.text(), 0);
    return;
  }
  pieces.write();
}

void write_note(const char* text, std::uint64_t time) {
  Body body{};
  body.call = static_cast<std::uint16_t>(Call::note);
  body.began = time;
  body.ended = time;
  Items in;
  in.add({.kind = Item::Kind::own, .pointer = text, .size = static_cast<std::uint32_t>(std::strlen(text))});
  write_record(body, in, Items(), true);
}

}  // namespace boardrec
