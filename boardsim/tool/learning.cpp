#include "boardsim/tool/learning.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

#include "boardrec/session/named_calls.h"
#include "boardsim/board/state.h"
#include "boardsim/tool/learned.h"

namespace boardsim {
namespace {

using boardrec::Call;
using boardrec::NamedCall;
using boardrec::Record;
using boardrec::Value;

constexpr std::uint32_t kBootBlock = 0x80044801;
constexpr std::uint32_t kFpgaRead = 0x80044602;
constexpr std::uint32_t kFpgaWrite = 0x40044603;
constexpr std::uint32_t kStm8Read = 0x80045401;
constexpr std::uint32_t kStm8Write = 0x40045402;
constexpr std::uint32_t kErase = 0x40084D02;
constexpr std::uint32_t kLargeBlock = 0x10000;     // bytes; smaller transfers tell no speed
constexpr std::uint64_t kMicrosecond = 1000;       // nanoseconds
constexpr std::uint64_t kLongest = 3'600'000'000;  // microseconds: an hour
constexpr std::int64_t kNoticed = 1000;            // microseconds: shorter requests take no time
constexpr double kMegabyte = 1 << 20;
constexpr std::string_view kSensors = "/proc/debug/temp";
constexpr std::string_view kDevinfo = "/devinfo/";
constexpr std::string_view kFlash = "/dev/mtd4";
constexpr std::string_view kEmmc = "/dev/mmcblk0p7";

/// Microseconds from one moment of a recording to another. A damaged one may have any moments.
std::int64_t span(std::uint64_t from, std::uint64_t to) {
  return static_cast<std::int64_t>(std::min(to > from ? (to - from) / kMicrosecond : 0, kLongest));
}

std::int64_t duration(const Record& record) {
  return span(record.began, record.ended);
}

/// The sensors of a board are numbered.
bool is_sensor(std::string_view path) {
  if (!path.starts_with(kSensors)) return false;
  const std::string_view number = path.substr(kSensors.size());
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  return error == std::errc() && end == number.data() + number.size() && value >= 0;
}

std::uint32_t word_at(const std::string& bytes, std::size_t index) {
  std::uint32_t word = 0;
  if (bytes.size() >= (index + 1) * sizeof word)
    std::memcpy(&word, bytes.data() + index * sizeof word, sizeof word);
  return word;
}

const std::string& bytes_in(const Record& record, std::size_t index) {
  return value_at(record.in, index).bytes;
}

const std::string& bytes_out(const Record& record) {
  return value_at(record.out, 0).bytes;
}

/// Sums up what several transfers or requests took.
struct Mean {
  std::int64_t sum = 0, count = 0;

  void add(std::int64_t span) {
    sum += span;
    ++count;
  }
  std::int64_t value() const { return count > 0 ? sum / count : 0; }
};

/// Goes through a recording, call by call.
class Learner {
 public:
  explicit Learner(const boardrec::Recording& recording) {
    for (const NamedCall& call : named_calls(recording)) take(call);
    finish();
  }

  bool is_empty() const {
    return learned.boot_block.empty() && learned.registers.empty() && learned.files.empty() &&
           learned.media.empty() && learned.blocks.empty() && learned.requests.empty() &&
           learned.application.empty() && partitions.empty();
  }

  struct Part {
    std::size_t offset;
    std::string bytes;
  };

  Learned learned{};
  std::map<std::string, std::vector<Part>>
      partitions{};  ///< by node: what was read before anything was written

 private:
  void take(const NamedCall& call);
  void take_request(const NamedCall& call);
  void take_register(const std::string& node, bool reads, const Record& record);
  void take_transfer(const NamedCall& call);
  void take_line(const NamedCall& call);
  void take_space(const NamedCall& call);
  void take_application(const NamedCall& call);
  void finish();
  std::string medium_at(const std::string& path) const;

  std::map<std::size_t, std::size_t> positions_{};  ///< by the record that opened
  std::set<std::string> written_{};                 ///< nodes
  std::map<std::string, std::set<std::uint32_t>> written_registers_{};
  std::map<std::size_t, std::string> contents_{};  ///< of files that are read now, by the record that opened
  std::vector<std::pair<std::string, std::string>> mounts_{};  ///< place, node
  std::map<std::string, std::map<std::uint32_t, Mean>> blocks_{};
  std::map<std::string, std::map<std::uint32_t, Mean>> requests_{};
  std::uint64_t answered_ = 0;  ///< when the application was last heard of
};

void Learner::take(const NamedCall& call) {
  const Record& record = *call.record;
  if (record.error != 0 || (record.flags & (boardrec::kBegan | boardrec::kCancelled)) != 0) return;
  if (call.node == "application") return take_application(call);
  switch (record.call) {
    case Call::ioctl:
      return take_request(call);
    case Call::lseek:
      positions_[call.opened_by] = static_cast<std::size_t>(record.result);
      return;
    case Call::read:
    case Call::write:
      return take_transfer(call);
    case Call::fgets:
      return take_line(call);
    case Call::mount:
      mounts_.emplace_back(bytes_in(record, 1), bytes_in(record, 0));
      return;
    case Call::umount:
      std::erase_if(mounts_, [&](const auto& mount) { return mount.first == call.node; });
      return;
    case Call::statfs:
      return take_space(call);
    default:
      return;
  }
}

void Learner::take_request(const NamedCall& call) {
  const Record& record = *call.record;
  const auto request = static_cast<std::uint32_t>(value_at(record.in, 1).number);
  requests_[call.node][request].add(duration(record));
  if (request == kBootBlock && bytes_out(record).size() == BootBlock{}.size())
    learned.boot_block = bytes_out(record);
  if (request == kErase) written_.insert(call.node);
  if (call.node == "/dev/fpga" && (request == kFpgaRead || request == kFpgaWrite))
    take_register(call.node, request == kFpgaRead, record);
  if (call.node == "/dev/tcs" && (request == kStm8Read || request == kStm8Write))
    take_register(call.node, request == kStm8Read, record);
}

void Learner::take_register(const std::string& node, bool reads, const Record& record) {
  const std::uint32_t address = word_at(bytes_in(record, 2), 0);
  if (!reads) {
    written_registers_[node].insert(address);
  } else if (!written_registers_[node].contains(address)) {
    learned.registers[node].emplace(address, word_at(bytes_out(record), 1));
  }
}

void Learner::take_transfer(const NamedCall& call) {
  const Record& record = *call.record;
  const bool reads = record.call == Call::read;
  std::size_t& position = positions_[call.opened_by];
  const std::size_t offset = position;
  position += static_cast<std::size_t>(record.result);
  if (const std::string node = medium_at(call.node); !node.empty() && record.result >= kLargeBlock)
    blocks_[node][reads ? 1 : 0].add(duration(record));
  if (call.node.starts_with("/dev/")) requests_[call.node][reads ? 1 : 0].add(duration(record));
  if (!reads) written_.insert(call.node);
  const std::string& bytes = bytes_out(record);
  if (!reads || written_.contains(call.node)) return;
  if (call.node == kFlash || call.node == kEmmc) partitions[call.node].push_back({offset, bytes});
  if (!is_sensor(call.node)) return;
  std::string& content = contents_[call.opened_by];
  if (offset == content.size()) content += bytes;
  learned.files[call.node] = content;
}

/// Of a file of the factory counts what was read, as far as the program cared for it: the most of several
/// readings.
void Learner::take_line(const NamedCall& call) {
  if (!call.node.starts_with(kDevinfo)) return;
  std::string& content = contents_[call.opened_by];
  content += bytes_out(*call.record);
  std::string& most = learned.files[call.node];
  if (content.size() > most.size()) most = content;
}

void Learner::take_space(const NamedCall& call) {
  const std::string node = medium_at(call.node + "/");
  boardrec::FileSystem space{};
  if (node.empty() || bytes_out(*call.record).size() != sizeof space) return;
  std::memcpy(&space, bytes_out(*call.record).data(), sizeof space);
  const double block = static_cast<double>(space.block_size) / kMegabyte;
  learned.media.emplace(node, Learned::Space{static_cast<double>(space.blocks) * block,
                                             static_cast<double>(space.free) * block});
}

void Learner::take_application(const NamedCall& call) {
  const Record& record = *call.record;
  constexpr std::size_t kCommand = 12;
  if (record.call == Call::send && bytes_in(record, 2).size() >= kCommand) {
    const std::string& command = bytes_in(record, 2);
    learned.application.push_back({.command = ntohl(word_at(command, 1)),
                                   .value = ntohl(word_at(command, 2)),
                                   .replies = {},
                                   .closes = false});
    answered_ = record.ended;
  }
  if (record.call != Call::recv || learned.application.empty()) return;
  Learned::Answer& answer = learned.application.back();
  if (record.result == 0) {
    answer.closes = true;
  } else if (!answer.closes) {
    answer.replies.push_back({span(answered_, record.ended), bytes_out(record)});
    answered_ = record.ended;
  }
}

void Learner::finish() {
  for (const auto& [node, spans] : blocks_) {
    for (const auto& [reads, mean] : spans) learned.blocks[node][reads] = mean.value();
  }
  for (const auto& [node, spans] : requests_) {
    for (const auto& [request, mean] : spans) {
      if (mean.value() >= kNoticed) learned.requests[node][request] = mean.value();
    }
  }
  // The last answer to a command with its value is the one that counts.
  std::map<std::pair<std::uint32_t, std::uint32_t>, Learned::Answer> last;
  for (Learned::Answer& answer : learned.application) {
    if (!answer.replies.empty() || answer.closes) last[{answer.command, answer.value}] = std::move(answer);
  }
  learned.application.clear();
  for (auto& [command, answer] : last) learned.application.push_back(std::move(answer));
}

/// The node of the medium that is mounted above a path; empty when none is.
std::string Learner::medium_at(const std::string& path) const {
  for (auto mount = mounts_.rbegin(); mount != mounts_.rend(); ++mount) {
    if (path.starts_with(mount->first + "/")) return mount->second;
  }
  return {};
}

std::span<const std::uint8_t> span_of(const std::string& bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

/// Leaves out the media that the board does not have, or not of that size, and says so on standard error.
void fit_media(Learned& learned, Board& board) {
  std::erase_if(learned.media, [&board](const auto& medium) {
    try {
      board->mounts.at(medium.first).set_space(medium.second.size, medium.second.free);
      return false;
    } catch (const std::invalid_argument& error) {
      std::fprintf(stderr, "%s: not learned\n", error.what());
      return true;
    }
  });
  std::erase_if(learned.blocks,
                [&board](const auto& times) { return board->mounts.medium(times.first) == nullptr; });
}

/// The board's media in the folder, with what was read of them.
void keep_media(Learner& learner, const std::string& family, const std::string& folder) {
  Board board(family);
  const Inside inside;
  board->emmc.leave_factory(hardware_of(learner.learned.type().value_or(find_family(family)->type)));
  board->keep_media_in(folder);
  for (const auto& [node, parts] : learner.partitions) {
    Partition& partition = node == kFlash ? static_cast<Partition&>(board->flash) : board->emmc;
    for (const Learner::Part& part : parts) partition.set_bytes(part.offset, span_of(part.bytes));
  }
  fit_media(learner.learned, board);
}

/// Says on standard error what was taken over, in one line.
void tell(const Learner& learner, const std::string& folder) {
  const Learned& learned = learner.learned;
  std::string text;
  const auto add = [&text](std::size_t count, const char* what, const char* many) {
    if (count == 0) return;
    text += text.empty() ? " " : ", ";
    text += std::to_string(count) + " " + (count == 1 ? what : many);
  };
  std::size_t registers = 0;
  for (const auto& [node, values] : learned.registers) registers += values.size();
  add(learned.boot_block.empty() ? 0 : 1, "boot block", "");
  add(registers, "register", "registers");
  add(learner.partitions.size(), "factory partition", "factory partitions");
  add(learned.files.size(), "file", "files");
  add(learned.media.size(), "medium's room", "media's room");
  add(learned.blocks.size(), "medium's speed", "media's speed");
  add(learned.requests.size(), "node's times", "nodes' times");
  add(learned.application.size(), "answer of the application", "answers of the application");
  std::fprintf(stderr, "boardsim: learned into %s:%s\n", folder.c_str(), text.c_str());
}

void keep_family(const std::string& family, const std::string& folder) {
  const std::string file = folder + "/board";
  std::ofstream stream(file);
  stream << family << '\n';
  if (!stream.flush()) throw std::runtime_error(file + " cannot be written");
}

}  // namespace

void keep_learned(const boardrec::Recording& recording, const std::string& family,
                  const std::string& folder) {
  if (std::filesystem::exists(folder)) throw std::runtime_error(folder + " is there already");
  Learner learner(recording);
  if (learner.is_empty()) {
    std::fprintf(stderr, "boardsim: nothing was learned: %s is not made\n", folder.c_str());
    return;
  }
  try {
    keep_media(learner, family, folder);
    write_learned(folder, learner.learned);
    keep_family(family, folder);
    tell(learner, folder);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);  // half of a board is none
    throw;
  }
}

}  // namespace boardsim
