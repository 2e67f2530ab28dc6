// Storage media: mounting them on /mnt, their files and their space; what goes wrong with them; and the time
// of day.
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

long mount_stick(const char* node = kStick, const char* place = kPlace) {
  return outcome(mount(node, place, "vfat", 0, nullptr));
}

class MediaTest : public testing::Test {
 protected:
  MediaTest() { mkdir(kPlace, 0777); }
  ~MediaTest() override { EXPECT_EQ(board_.violations(), Lines{}); }

  /// A new file on the stick, which is mounted for it.
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

/// Calls that are refused loudly.
class RefusedMediaTest : public testing::Test {
 protected:
  RefusedMediaTest() { testing::internal::CaptureStderr(); }
  ~RefusedMediaTest() override { testing::internal::GetCapturedStderr(); }

  Board board_;
};

TEST_F(MediaTest, EverySlotHasAnEmptyMediumOf4Gb) {
  for (const char* node : {"/dev/mmc01", "/dev/mmc11", "/dev/msbd1", "/dev/msb1"}) {
    struct stat status {};
    EXPECT_EQ(stat(node, &status), 0);
    EXPECT_TRUE(S_ISBLK(status.st_mode)) << node;
    EXPECT_EQ(mount_stick(node), 0) << node;
    struct statfs space {};
    EXPECT_EQ(statfs(kPlace, &space), 0);
    EXPECT_EQ(space.f_bsize, 4096);
    EXPECT_EQ(space.f_blocks, 1048576U);
    EXPECT_EQ(space.f_bavail, 1048576U);
    EXPECT_EQ(space.f_bfree, 1048576U);
    EXPECT_EQ(umount(kPlace), 0);
  }
}

TEST_F(MediaTest, MountsAndFoldersAreListedInTheirOrder) {
  ASSERT_EQ(mount_stick(), 0);
  mkdir("/mnt/other", 0700);
  mkdir("/mnt/other/inner", 0700);
  EXPECT_EQ(mount_stick("/dev/mmc01", "/mnt/other"), 0);
  EXPECT_EQ(board_->mounts.mounted(), (Lines{"/dev/msb1 on /mnt/test", "/dev/mmc01 on /mnt/other"}));
  EXPECT_EQ(board_->mounts.folders(), (Lines{"/mnt/test", "/mnt/other", "/mnt/other/inner"}));
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(rmdir(kPlace), 0);
  EXPECT_EQ(board_->mounts.mounted(), Lines{"/dev/mmc01 on /mnt/other"});
  EXPECT_EQ(board_->mounts.folders(), (Lines{"/mnt/other", "/mnt/other/inner"}));
}

TEST_F(MediaTest, TheMediumThatWasMountedLastIsSeen) {
  close(create());
  EXPECT_EQ(mount_stick(), -EBUSY) << "the same one again";
  EXPECT_EQ(mount_stick("/dev/msbd1"), 0);
  EXPECT_EQ(outcome(access(kFile, F_OK)), -ENOENT);
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(access(kFile, F_OK), 0);
  EXPECT_EQ(outcome(rmdir(kPlace)), -EBUSY);
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(outcome(umount(kPlace)), -EINVAL);
}

TEST_F(MediaTest, AMediumIsMountedOnAFolderAndAsVfatOnly) {
  close(create());
  EXPECT_EQ(mount_stick("/dev/mmc01", kFile), -ENOTDIR);
  EXPECT_EQ(outcome(mount("/dev/mmc01", "/mnt", "ext4", 0, nullptr)), -EINVAL);
}

TEST_F(MediaTest, FoldersAreMadeAndRemovedAsOnLinux) {
  EXPECT_EQ(rmdir(kPlace), 0);
  EXPECT_EQ(outcome(rmdir(kPlace)), -ENOENT);
  EXPECT_EQ(mount_stick(), -ENOENT);
  EXPECT_EQ(mkdir("/mnt/../mnt//test/", 0777), 0);
  EXPECT_EQ(outcome(mkdir(kPlace, 0777)), -EEXIST);
  EXPECT_EQ(outcome(mkdir("/mnt", 0777)), -EEXIST);
  EXPECT_EQ(outcome(mkdir("/mnt/none/inner", 0777)), -ENOENT);
  EXPECT_EQ(mkdir("/mnt/test/inner", 0777), 0);
  EXPECT_EQ(outcome(rmdir(kPlace)), -ENOTEMPTY);
  EXPECT_EQ(outcome(unlink("/mnt/test/inner")), -EISDIR);
  EXPECT_EQ(rmdir("/mnt/test/inner"), 0);
  struct stat status {};
  EXPECT_EQ(stat(kPlace, &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  EXPECT_EQ(outcome(open(kPlace, O_RDWR)), -EISDIR);
  const int fd = open(kPlace, O_RDONLY);
  char byte = 0;
  EXPECT_EQ(outcome(read(fd, &byte, 1)), -EISDIR);
  close(fd);
  EXPECT_EQ(rmdir(kPlace), 0);
}

TEST_F(MediaTest, FilesAreReadAndWrittenAtPositions) {
  const int fd = create();
  EXPECT_EQ(write(fd, "abcdef", 6), 6);
  EXPECT_EQ(lseek(fd, -2, SEEK_END), 4);
  EXPECT_EQ(lseek(fd, -3, SEEK_CUR), 1);
  EXPECT_EQ(outcome(lseek(fd, -2, SEEK_SET)), -EINVAL);
  EXPECT_EQ(write(fd, "BC", 2), 2);
  EXPECT_EQ(lseek(fd, 8, SEEK_SET), 8);
  EXPECT_EQ(write(fd, "i", 1), 1);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), std::string("aBCdef\0\0i", 9));
  struct stat status {};
  EXPECT_EQ(fstat(fd, &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_size, 9);
  char bytes[4];
  EXPECT_EQ(lseek(fd, 7, SEEK_SET), 7);
  EXPECT_EQ(read(fd, bytes, sizeof bytes), 2);
  EXPECT_EQ(read(fd, bytes, sizeof bytes), 0);
  close(fd);
  close(open(kFile, kCreate, 0777));
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "") << "truncated";
}

TEST_F(MediaTest, AFileThatIsMissingOnAMediumIsNothingUnusual) {
  ASSERT_EQ(mount_stick(), 0);
  struct stat status {};
  EXPECT_EQ(outcome(open(kFile, O_RDWR)), -ENOENT);
  EXPECT_EQ(outcome(stat(kFile, &status)), -ENOENT);
  EXPECT_EQ(std::fopen(kFile, "r"), nullptr);
  EXPECT_EQ(outcome(open("/mnt/test/folder/file", kCreate, 0777)), -ENOENT);
  EXPECT_THROW(board_->mounts.at(kStick).content("usbtest.dat"), std::invalid_argument);
}

TEST_F(MediaTest, AFileThatIsTakenAwayWhileOpenStaysReadable) {
  const int fd = create();
  write(fd, "old", 3);
  EXPECT_EQ(unlink(kFile), 0);
  EXPECT_EQ(outcome(access(kFile, F_OK)), -ENOENT);
  const int other = open(kFile, kCreate, 0777);
  write(other, "new", 3);
  char bytes[4];
  lseek(fd, 0, SEEK_SET);
  EXPECT_EQ(read(fd, bytes, sizeof bytes), 3);
  EXPECT_EQ(std::string(bytes, 3), "old");
  close(fd);
  close(other);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "new");
  EXPECT_EQ(umount(kPlace), 0);
}

TEST_F(MediaTest, FilesTakeSpaceInClusters) {
  const int fd = create();
  write(fd, "x", 1);
  EXPECT_EQ(free_clusters(), 1048575U);
  write(fd, std::string(4096, 'x').data(), 4096);
  EXPECT_EQ(free_clusters(), 1048574U);
  unlink(kFile);
  EXPECT_EQ(free_clusters(), 1048574U) << "it is open still";
  close(fd);
  EXPECT_EQ(free_clusters(), 1048576U);
}

TEST_F(MediaTest, AMediumHasTheSpaceThatATestGivesIt) {
  board_->mounts.at(kStick).set_space(7.5, 0.01);
  ASSERT_EQ(mount_stick(), 0);
  struct statfs space {};
  statfs(kPlace, &space);
  EXPECT_EQ(space.f_blocks, 1920U);
  EXPECT_EQ(space.f_bavail, 2U);
  const int fd = open(kFile, kCreate, 0777);
  const std::string bytes(10000, 'x');
  EXPECT_EQ(write(fd, bytes.data(), bytes.size()), 8192) << "what fits";
  EXPECT_EQ(outcome(write(fd, bytes.data(), bytes.size())), -ENOSPC);
  EXPECT_THROW(board_->mounts.at(kStick).set_space(1, 0.999), std::invalid_argument)
      << "its file is in the way";
  EXPECT_THROW(board_->mounts.at(kStick).set_space(1, 1.5), std::invalid_argument);
  EXPECT_THROW(board_->mounts.at(kStick).set_space(-1, -2), std::invalid_argument);
  EXPECT_THROW(board_->mounts.at("/dev/rtc").set_space(1, 1), std::invalid_argument);
  board_->mounts.at(kStick).set_space(1, 0.5);
  EXPECT_EQ(write(fd, bytes.data(), bytes.size()), 10000);
  close(fd);
}

TEST_F(MediaTest, StreamsWorkOnFilesAndFailOnAFullMediumWhenTheyAreFlushed) {
  ASSERT_EQ(mount_stick(), 0);
  std::FILE* file = std::fopen(kFile, "w+");
  ASSERT_NE(file, nullptr);
  std::fputs("first\nsecond\n", file);
  std::rewind(file);
  char line[16];
  EXPECT_STREQ(std::fgets(line, sizeof line, file), "first\n");
  EXPECT_EQ(std::fclose(file), 0);
  file = std::fopen(kFile, "a");
  std::fputs("third\n", file);
  EXPECT_EQ(std::fflush(file), 0);
  board_.fault("medium /dev/msb1 full");
  std::fputs(std::string(5000, 'x').c_str(), file);
  EXPECT_NE(std::fflush(file), 0);
  std::fclose(file);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat").substr(0, 19), "first\nsecond\nthird\n");
}

TEST_F(MediaTest, AMediumWithAnOpenFileIsNotUnmountedAndWhatIsOnItStaysThere) {
  const int fd = create();
  EXPECT_EQ(outcome(umount(kPlace)), -EBUSY);
  EXPECT_EQ(board_.open_nodes(), Lines{kFile});
  close(fd);
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(mount_stick(), 0);
  EXPECT_EQ(outcome(open(kFile, O_CREAT | O_EXCL | O_RDWR, 0777)), -EEXIST);
}

TEST_F(MediaTest, TheTimeOfDayIsTheBoards) {
  timeval start{};
  timeval end{};
  struct timezone zone {};
  zone.tz_minuteswest = 5;
  EXPECT_EQ(gettimeofday(&start, &zone), 0);
  EXPECT_EQ(start.tv_sec, 1715934612) << "2024-05-17 08:30:12 UTC";
  EXPECT_EQ(start.tv_usec, 0);
  EXPECT_EQ(zone.tz_minuteswest, 0);
  usleep(2500001);
  EXPECT_EQ(gettimeofday(&end, nullptr), 0);
  EXPECT_EQ(end.tv_sec - start.tv_sec, 2);
  EXPECT_EQ(end.tv_usec, 500001);
}

// ---- what goes wrong with media ---------------------------------------------------------------------------

TEST_F(MediaTest, AnAbsentMediumAnswersNothingAndTheOtherSlotsDo) {
  board_.fault("medium /dev/msb1 absent");
  EXPECT_EQ(mount_stick(), -ENXIO);
  EXPECT_EQ(outcome(open(kStick, O_RDWR)), -ENXIO);
  EXPECT_EQ(mount_stick("/dev/msbd1"), 0);
  board_.clear_faults();
  EXPECT_EQ(mount_stick(), 0);
  EXPECT_EQ(close(open(kStick, O_RDWR)), 0);
}

TEST_F(MediaTest, AFullMediumTakesNothingAndANearlyFullOneWhatFits) {
  board_.fault("medium /dev/msb1 full");
  const int fd = create();
  EXPECT_EQ(free_clusters(), 0U);
  EXPECT_EQ(write_text(fd, "x"), -ENOSPC);
  EXPECT_EQ(write_text(fd, ""), 0);
  board_.fault("medium /dev/msb1 full 2");
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

TEST_F(MediaTest, AReadOnlyMediumIsOnlyRead) {
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

TEST_F(MediaTest, WornBytesReadBackInverted) {
  board_.fault("medium /dev/msb1 wrong 1 0x3 3 100");
  const int fd = create();
  EXPECT_EQ(write_text(fd, "abcdef"), 6);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd),
            "a\x9D"
            "c\x9B"
            "ef");
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "abcdef") << "what was written";
  board_.clear_faults();
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read_text(fd), "abcdef");
  close(fd);
}

TEST_F(MediaTest, AMediumThatIsPulledOutDuringASlowWriteFailsIt) {
  board_.fault("medium /dev/msb1 slow 1000");
  const int fd = create();
  board_.at(500ms, [this] { board_.fault("medium /dev/msb1 absent"); });
  EXPECT_EQ(write_text(fd, "ab"), -EIO) << "pulled out meanwhile";
  close(fd);
}

TEST_F(MediaTest, AFileThatIsClosedDuringASlowReadFailsIt) {
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

TEST_F(MediaTest, AMediumIsPulledOutAtTheNthWrite) {
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

TEST_F(MediaTest, AnOpeningThatFailsCreatesNothingAndLeavesTheMediumFree) {
  mount_stick();
  for (const char* fault : {"open /mnt/test/usbtest.dat ENOSPC", "open /mnt/test/usbtest.dat EMFILE"}) {
    board_.fault(fault);
    EXPECT_EQ(open(kFile, kCreate, 0777), -1);
    board_.clear_faults();
    EXPECT_EQ(outcome(access(kFile, F_OK)), -ENOENT) << fault;
  }
  EXPECT_EQ(umount(kPlace), 0);
}

// ---- calls that are refused loudly ----------------------------------------------------------------------

TEST_F(RefusedMediaTest, OnlyMediaAreMountedAndOnlyBelowMnt) {
  EXPECT_EQ(outcome(mount("/dev/rtc", "/mnt", "vfat", 0, nullptr)), -EPERM);
  EXPECT_EQ(outcome(mount(kStick, "/tmp", "vfat", 0, nullptr)), -EPERM);
  EXPECT_EQ(outcome(mount("none", "/mnt", "tmpfs", 0, nullptr)), -EPERM);
  EXPECT_EQ(outcome(mount(kStick, "/mnt", "vfat", MS_RDONLY, nullptr)), -EPERM);
  EXPECT_EQ(outcome(mount(kStick, "/mnt", "vfat", 0, "uid=0")), -EPERM);
  EXPECT_EQ(outcome(umount("/tmp")), -EPERM);
  EXPECT_EQ(outcome(umount2("/mnt", 0)), -EPERM);
  EXPECT_EQ(board_.violations().size(), 7U);
  EXPECT_EQ(board_.violations().front(),
            "mount of /dev/rtc /mnt vfat is nothing that a program may do on this board");
  EXPECT_EQ(board_->mounts.mounted(), Lines{});
}

TEST_F(RefusedMediaTest, FoldersAndFilesOfTheBoardAreLeftAlone) {
  struct statfs space {};
  EXPECT_EQ(outcome(mkdir("/dev/folder", 0777)), -EPERM);
  EXPECT_EQ(outcome(rmdir("/mnt")), -EPERM);
  EXPECT_EQ(outcome(unlink("/mnt/file")), -EPERM);
  EXPECT_EQ(outcome(unlink("/dev/rtc")), -EPERM);
  EXPECT_EQ(outcome(statfs("/mnt", &space)), -EPERM) << "no medium is mounted there";
  EXPECT_EQ(board_.violations().size(), 5U);
  EXPECT_EQ(outcome(open("/mnt/file", kCreate, 0777)), -ENOENT);
  EXPECT_EQ(board_.violations().back(), "unknown node /mnt/file (open)");
  EXPECT_EQ(mount_stick(kStick, "/mnt"), 0);
  EXPECT_EQ(outcome(mkdir("/mnt/folder", 0777)), -EPERM) << "media have no folders";
  EXPECT_EQ(outcome(rmdir("/mnt")), -EBUSY);
}

}  // namespace
