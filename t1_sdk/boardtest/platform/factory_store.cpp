// The factory data store on flash and eMMC. Diagnostic lines go to standard error, but for two.
#include "t1_sdk/boardtest/platform/factory_store.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr char kFlash[] = "/dev/mtd4";
constexpr char kEmmc[] = "/dev/mmcblk0p7";

constexpr unsigned kBlockSize = 0x10000;
constexpr unsigned kLastBlock = 21;
constexpr unsigned kFlashEnd = 0x160000;
constexpr unsigned kErase = 0x40084D02;  // MEMERASE, _IOW('M', 2, 8)

// ---- eMMC

struct EmmcPlace {
  unsigned block, offset;
  std::uint32_t position;
};
constexpr EmmcPlace kEmmcPlaces[] = {
    {21, 0x8000, DEAD_PIXEL_OFFSET},
    {19, 0, FF_OFFSET},
    {19, 0xF800, TG_OFFSET},
    {21, 0xFC00, VSUB_OFFSET},
};

/// The byte position of an address, -1 after one line for an address that the partition lacks.
off_t emmc_position(unsigned block, unsigned offset) {
  for (const EmmcPlace& place : kEmmcPlaces) {
    if (place.block == block && place.offset == offset) return static_cast<off_t>(place.position);
  }
  if (block == 19) return static_cast<off_t>(offset) + FF_OFFSET;
  if (block == 21) {
    std::fprintf(stderr, "blkNum 21 offset : %d error\n", static_cast<int>(offset));
  } else {
    std::fprintf(stderr, "blkNum: %d offset: %d error \n", static_cast<int>(block), static_cast<int>(offset));
  }
  return -1;
}

/// What sets saving and reading apart.
struct Access {
  const char* name;  ///< in the diagnostic lines
  int flags;
  ssize_t (*move)(int fd, char* bytes, std::size_t size);
};
constexpr Access kSave{"write", O_RDWR,
                       [](int fd, char* bytes, std::size_t size) { return write(fd, bytes, size); }};
constexpr Access kRead{"read", O_RDONLY,
                       [](int fd, char* bytes, std::size_t size) { return read(fd, bytes, size); }};

int emmc_failure(const char* what) {
  std::fprintf(stderr, "%s: %s error: %d \n", what, kEmmc, errno);
  return -1;
}

int move_on_emmc(const Access& access, unsigned block, unsigned offset, char* info, unsigned len) {
  const off_t position = emmc_position(block, offset);
  if (position < 0) return -1;
  const Descriptor node(open(kEmmc, access.flags));
  if (node.get() < 0) return emmc_failure("open");
  if (lseek(node.get(), position, SEEK_SET) < 0) return emmc_failure("lseek");
  if (access.move(node.get(), info, len) != static_cast<ssize_t>(len)) return emmc_failure(access.name);
  return static_cast<int>(len);
}

int move_on_emmc_checked(const Access& access, unsigned block, unsigned offset, char* info, unsigned len) {
  if (info == nullptr) {
    std::fprintf(stderr, "%s mmcblk0p7 info is null \n", access.name);
    return -1;
  }
  if (len == 0) {
    std::fputs("len mmcblk0p7 is error \n", stderr);
    return -1;
  }
  return move_on_emmc(access, block, offset, info, len);
}

// ---- flash

/// 0, or the negative code of an address that the partition lacks. Sums in 64 bits, so that none wraps
/// around.
int check_flash_range(unsigned block, unsigned offset, unsigned len) {
  if (block > kLastBlock || offset >= kBlockSize || len == 0) return -2;
  return std::uint64_t{block} * kBlockSize + offset + len > kFlashEnd ? -3 : 0;
}

int open_flash(int flags) {
  const int fd = open(kFlash, flags);
  if (fd < 0) std::fprintf(stderr, "open device[%s] error: %s\n", kFlash, std::strerror(errno));
  return fd;
}

bool seek_and_move(const Access& access, int fd, unsigned position, char* bytes, std::size_t size) {
  return lseek(fd, static_cast<off_t>(position), SEEK_SET) >= 0 &&
         access.move(fd, bytes, size) == static_cast<ssize_t>(size);
}

// Blocks can only be erased whole, so the bytes around the record are read first and written back with it.
int save_on_flash(unsigned block, unsigned offset, const char* info, unsigned len) {
  if (const int error = check_flash_range(block, offset, len)) return error;
  const unsigned start = block * kBlockSize;
  const unsigned span = (offset + len + kBlockSize - 1) / kBlockSize * kBlockSize;
  const std::unique_ptr<char, decltype(&std::free)> bytes(static_cast<char*>(std::calloc(span, 1)),
                                                          &std::free);
  if (bytes == nullptr) return -4;
  const Descriptor node(open_flash(O_RDWR));
  if (node.get() < 0) return -5;
  if (!seek_and_move(kRead, node.get(), start, bytes.get(), span)) return -6;
  std::memcpy(bytes.get() + offset, info, len);
  erase_info_user blocks{start, span};
  if (ioctl(node.get(), kErase, &blocks) < 0) {
    std::puts("mtd erase error");
    return -7;
  }
  if (!seek_and_move(kSave, node.get(), start, bytes.get(), span)) {
    std::puts("write error!");
    return -8;
  }
  return static_cast<int>(span);
}

int read_on_flash(unsigned block, unsigned offset, char* info, unsigned len) {
  if (const int error = check_flash_range(block, offset, len)) return error;
  const Descriptor node(open_flash(O_RDONLY));
  if (node.get() < 0) return -4;
  if (!seek_and_move(kRead, node.get(), block * kBlockSize + offset, info, len)) return -5;
  return static_cast<int>(len);
}

bool saves_on_emmc() {
  return get_device_type() == DEV_TYPE_61XX;  // a board that cannot tell what it is saves on flash
}

}  // namespace

int flash_save_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len) {
  if (info == nullptr) return -1;
  return saves_on_emmc() ? move_on_emmc(kSave, blkNum, offset, info, len)
                         : save_on_flash(blkNum, offset, info, len);
}

int flash_read_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len) {
  if (info == nullptr) return -1;
  return saves_on_emmc() ? move_on_emmc(kRead, blkNum, offset, info, len)
                         : read_on_flash(blkNum, offset, info, len);
}

int emmc_save_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len) {
  return move_on_emmc_checked(kSave, blkNum, offset, info, len);
}

int emmc_read_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len) {
  return move_on_emmc_checked(kRead, blkNum, offset, info, len);
}
