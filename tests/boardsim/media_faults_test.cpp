// What goes wrong with storage media: absent, full, read-only, worn, slow, pulled out, short reads; and calls
// that fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using boardsim::Time;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

constexpr const char* kPlace = "/mnt/test";
constexpr const char* kFile = "/mnt/test/usbtest.dat";
constexpr const char* kStick = "/dev/msb1";
constexpr int kCreate = O_CREAT | O_TRUNC | O_RDWR;

/// The call's result, or minus its errno.
long outcome(long result) {
  return result < 0 ? -errno : result;
}

long mount_stick(const char* node = kStick) {
  return outcome(mount(node, kPlace, "vfat", 0, nullptr));
}

class MediaFaultsTest : public testing::Test {
 protected:
  MediaFaultsTest() { mkdir(kPlace, 0777); }
  ~MediaFaultsTest() override { EXPECT_EQ(board_.violations(), Lines{}); }

  /// A new file on the mounted stick.
  static int create() {
    EXPECT_EQ(mount_stick(), 0);
    return open(kFile, kCreate, 0777);
  }
  static long write_text(int fd, const std::string& text) {
    return outcome(write(fd, text.data(), text.size()));
  }
  /// What a read of at most 64 bytes yields, or its errno.
  static std::string read_text(int fd) {
    char bytes[64];
    const ssize_t count = read(fd, bytes, sizeof bytes);
    return count < 0 ? std::to_string(errno) : std::string(bytes, static_cast<std::size_t>(count));
  }
  static unsigned long free_clusters() {
    struct statfs space {};
    EXPECT_EQ(statfs(kPlace, &space), 0);
    return space.f_bavail;
  }

  Board board_;
};

TEST_F(MediaFaultsTest, AnAbsentMediumIsNotMounted) {
  board_.fault("medium /dev/msb1 absent");
  EXPECT_EQ(mount_stick(), -ENXIO);
  EXPECT_EQ(board_.hardware_trace().back(), "mount /dev/msb1 /mnt/test vfat 0 = -1 ENXIO");
  EXPECT_EQ(outcome(open(kStick, O_RDWR)), -ENXIO);
  EXPECT_EQ(mount_stick("/dev/msbd1"), 0) << "another slot";
  board_.clear_faults();
  EXPECT_EQ(mount_stick(), 0);
}

TEST_F(MediaFaultsTest, AFullMediumTakesNothing) {
  board_.fault("medium /dev/msb1 full");
  const int fd = create();
  EXPECT_EQ(free_clusters(), 0U);
  EXPECT_EQ(write_text(fd, "x"), -ENOSPC);
  EXPECT_EQ(write_text(fd, ""), 0);
  board_.clear_faults();
  EXPECT_EQ(write_text(fd, "x"), 1);
  close(fd);
}

TEST_F(MediaFaultsTest, ANearlyFullMediumTakesWhatFits) {
  board_.fault("medium /dev/msb1 full 2");
  const int fd = create();
  EXPECT_EQ(free_clusters(), 512U);
  const std::string block(0x180000, 'x');
  EXPECT_EQ(write_text(fd, block), 0x180000);
  EXPECT_EQ(free_clusters(), 128U);
  EXPECT_EQ(write_text(fd, block), 0x80000);
  EXPECT_EQ(write_text(fd, block), -ENOSPC);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(write_text(fd, block), 0x180000) << "it is written over";
  board_.fault("medium /dev/msb1 full 1");
  EXPECT_EQ(free_clusters(), 256U) << "beside what is there now";
  board_.fault("medium /dev/msb1 full 9999");
  EXPECT_EQ(free_clusters(), 1048576U - 512U) << "no more than there is";
  close(fd);
}

TEST_F(MediaFaultsTest, AStreamOnAFullMediumFailsWhenItIsFlushed) {
  board_.fault("medium /dev/msb1 full");
  mount_stick();
  std::FILE* const file = std::fopen(kFile, "w");
  ASSERT_NE(file, nullptr);
  std::fputs("text", file);
  EXPECT_NE(std::fflush(file), 0);
  std::fclose(file);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "");
}

TEST_F(MediaFaultsTest, AReadOnlyMediumIsOnlyRead) {
  const int writer = create();
  EXPECT_EQ(write_text(writer, "text"), 4);
  close(writer);
  board_.fault("medium /dev/msb1 read-only");
  EXPECT_EQ(outcome(open("/mnt/test/new", kCreate, 0777)), -EROFS);
  EXPECT_EQ(outcome(open("/mnt/test/new", O_CREAT | O_RDONLY, 0777)), -EROFS);
  EXPECT_EQ(outcome(open(kFile, O_RDWR)), -EROFS);
  EXPECT_EQ(outcome(open(kFile, O_TRUNC | O_RDONLY)), -EROFS);
  EXPECT_EQ(outcome(unlink(kFile)), -EROFS);
  const int reader = open(kFile, O_RDONLY);
  EXPECT_EQ(read_text(reader), "text");
  close(reader);
  EXPECT_EQ(umount(kPlace), 0);
  board_.clear_faults();
  EXPECT_EQ(mount_stick(), 0);
  EXPECT_EQ(unlink(kFile), 0);
}

TEST_F(MediaFaultsTest, WornBytesReadBackInverted) {
  board_.fault("medium /dev/msb1 wrong 1 0x3 3 100");
  const int fd = create();
  EXPECT_EQ(write_text(fd, "abcdef"), 6);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd),
            "a\x9D"
            "c\x9B"
            "ef");
  EXPECT_EQ(lseek(fd, 3, SEEK_SET), 3);
  EXPECT_EQ(read_text(fd),
            "\x9B"
            "ef");
  EXPECT_EQ(lseek(fd, 4, SEEK_SET), 4);
  EXPECT_EQ(read_text(fd), "ef");
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "abcdef") << "what was written";
  board_.clear_faults();
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd), "abcdef");
  close(fd);
}

TEST_F(MediaFaultsTest, ASlowMediumTakesItsTimeForEveryBlock) {
  board_.fault("medium /dev/msb1 slow 40");
  const int fd = create();
  timeval start{};
  gettimeofday(&start, nullptr);
  EXPECT_EQ(write_text(fd, "ab"), 2);
  EXPECT_EQ(board_.now(), 40ms);
  EXPECT_EQ(write_text(fd, "cd"), 2);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(board_.now(), 80ms);
  EXPECT_EQ(read_text(fd), "abcd");
  timeval end{};
  gettimeofday(&end, nullptr);
  EXPECT_EQ(end.tv_usec - start.tv_usec, 120000);
  const Lines trace = board_.timed_hardware_trace();
  EXPECT_EQ(trace.back(), "0.080000 read /mnt/test/usbtest.dat 64 = 4");
  close(fd);
}

TEST_F(MediaFaultsTest, AMediumThatIsPulledOutDuringASlowWriteFailsIt) {
  board_.fault("medium /dev/msb1 slow 1000");
  const int fd = create();
  board_.at(500ms, [this] { board_.fault("medium /dev/msb1 absent"); });
  EXPECT_EQ(write_text(fd, "ab"), -EIO) << "pulled out meanwhile";
  close(fd);
}

TEST_F(MediaFaultsTest, AFileThatIsClosedDuringASlowReadFailsIt) {
  const int fd = create();
  board_.fault("medium /dev/msb1 slow 1000");
  std::thread closer([fd] {
    usleep(500000);
    close(fd);
  });
  EXPECT_EQ(read_text(fd), std::to_string(EBADF));
  EXPECT_EQ(board_.now(), 1s);
  closer.join();
  EXPECT_EQ(umount(kPlace), 0);
}

TEST_F(MediaFaultsTest, AMediumIsPulledOutAtTheNthWrite) {
  const int fd = create();
  board_.fault("medium /dev/msb1 pulled write 3");
  EXPECT_EQ(write_text(fd, "a"), 1);
  EXPECT_EQ(write_text(fd, "b"), 1);
  EXPECT_EQ(write_text(fd, "c"), -EIO);
  EXPECT_EQ(write_text(fd, "d"), -EIO);
  struct stat status {};
  struct statfs space {};
  EXPECT_EQ(outcome(lseek(fd, 0, SEEK_SET)), -EIO);
  EXPECT_EQ(read_text(fd), std::to_string(EIO));
  EXPECT_EQ(outcome(fstat(fd, &status)), -EIO);
  EXPECT_EQ(outcome(open(kFile, O_RDONLY)), -EIO);
  EXPECT_EQ(outcome(unlink(kFile)), -EIO);
  EXPECT_EQ(outcome(statfs(kPlace, &space)), -EIO);
  EXPECT_EQ(outcome(close(fd)), -EIO);
  EXPECT_EQ(board_.open_nodes(), Lines{}) << "closed all the same";
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(mount_stick(), -ENODEV);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "ab");
  board_.clear_faults();
  EXPECT_EQ(mount_stick(), 0) << "put in again";
}

TEST_F(MediaFaultsTest, AMediumIsPulledOutAtTheNthRead) {
  const int fd = create();
  EXPECT_EQ(write_text(fd, "ab"), 2);
  board_.fault("medium /dev/msb1 pulled read 2");
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  char byte = 0;
  EXPECT_EQ(read(fd, &byte, 1), 1);
  EXPECT_EQ(outcome(read(fd, &byte, 1)), -EIO);
  EXPECT_EQ(write_text(fd, "c"), -EIO);
  EXPECT_EQ(outcome(close(fd)), -EIO);
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(mount_stick(), -ENODEV);
}

TEST_F(MediaFaultsTest, ReadsAreShort) {
  const int fd = create();
  EXPECT_EQ(write_text(fd, "abcde"), 5);
  board_.fault("medium /dev/msb1 short 2");
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd), "ab");
  EXPECT_EQ(read_text(fd), "cd");
  EXPECT_EQ(read_text(fd), "e");
  board_.fault("medium /dev/msb1 short 0");
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd), "");
  close(fd);
}

TEST_F(MediaFaultsTest, TheNthCallFails) {
  struct statfs space {};
  for (const char* text : {"mount #2 EBUSY", "umount #1", "statfs #1", "mkdir #1 EACCES", "rmdir #2+ EBUSY",
                           "unlink #1 EPERM"}) {
    board_.fault(text);
  }
  EXPECT_EQ(mount_stick(), 0);
  EXPECT_EQ(mount_stick("/dev/mmc01"), -EBUSY);
  EXPECT_EQ(outcome(statfs(kPlace, &space)), -EIO);
  EXPECT_EQ(outcome(unlink(kFile)), -EPERM);
  EXPECT_EQ(outcome(mkdir("/mnt/other", 0777)), -EACCES);
  EXPECT_EQ(outcome(umount(kPlace)), -EIO);
  EXPECT_EQ(board_->mounts.mounted(), Lines{"/dev/msb1 on /mnt/test"});
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(mkdir("/mnt/other", 0777), 0);
  EXPECT_EQ(rmdir(kPlace), 0);
  EXPECT_EQ(outcome(rmdir("/mnt/other")), -EBUSY);
  EXPECT_EQ(outcome(rmdir("/mnt/other")), -EBUSY);
  EXPECT_EQ(board_->mounts.folders(), Lines{"/mnt/other"});
}

TEST_F(MediaFaultsTest, CallsOnAFileFailAsOnNodes) {
  for (const char* text : {"open /mnt/test/usbtest.dat #1 ENOSPC", "write /mnt/test/usbtest.dat #2 ENOSPC",
                           "read /mnt/test/usbtest.dat short 1", "lseek /mnt/test/usbtest.dat #1"}) {
    board_.fault(text);
  }
  EXPECT_EQ(create(), -1);
  EXPECT_EQ(outcome(access(kFile, F_OK)), -ENOENT) << "an opening that fails creates nothing";
  const int fd = open(kFile, kCreate, 0777);
  EXPECT_EQ(write_text(fd, "ab"), 2);
  EXPECT_EQ(write_text(fd, "cd"), -ENOSPC);
  EXPECT_EQ(outcome(lseek(fd, 0, SEEK_SET)), -EIO);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd), "a");
  close(fd);
}

TEST_F(MediaFaultsTest, ADescriptorThatCannotBeHadLeavesTheMediumFree) {
  mount_stick();
  board_.fault("open /mnt/test/usbtest.dat EMFILE");
  EXPECT_EQ(outcome(open(kFile, kCreate, 0777)), -EMFILE);
  EXPECT_EQ(umount(kPlace), 0);
}

TEST_F(MediaFaultsTest, FaultsThatMakeNoSenseAreRefused) {
  for (const char* text : {"medium",
                           "medium /dev/msb1",
                           "medium /dev/rtc absent",
                           "medium /dev/none absent",
                           "medium /dev/msb1 absent now",
                           "medium /dev/msb1 full x",
                           "medium /dev/msb1 full 1 2",
                           "medium /dev/msb1 read-only 1",
                           "medium /dev/msb1 wrong",
                           "medium /dev/msb1 wrong x",
                           "medium /dev/msb1 slow",
                           "medium /dev/msb1 short",
                           "medium /dev/msb1 pulled",
                           "medium /dev/msb1 pulled write",
                           "medium /dev/msb1 pulled write 0",
                           "medium /dev/msb1 pulled open 1",
                           "medium /dev/msb1 broken",
                           "mount /dev/msb1",
                           "mount short 1",
                           "unlink result 0"}) {
    EXPECT_THROW(board_.fault(text), std::invalid_argument) << text;
  }
}

}  // namespace
