// Storage media: mounting them on /mnt, their files and their space, and the time of day.
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
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
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
  ~MediaTest() override { EXPECT_EQ(board_.violations(), Lines{}); }

  /// A board on which the stick is mounted.
  void mount_it() {
    ASSERT_EQ(outcome(mkdir(kPlace, 0777)), 0);
    ASSERT_EQ(mount_stick(), 0);
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

TEST_F(MediaTest, ASessionOnAMediumStandsInTheTrace) {
  EXPECT_EQ(mkdir(kPlace, 0777), 0);
  EXPECT_EQ(mount_stick(), 0);
  EXPECT_EQ(outcome(unlink(kFile)), -ENOENT);
  struct statfs space {};
  EXPECT_EQ(statfs(kPlace, &space), 0);
  const int fd = open(kFile, kCreate, 0777);
  char bytes[8];
  EXPECT_EQ(write(fd, "12345", 5), 5);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  EXPECT_EQ(read(fd, bytes, sizeof bytes), 5);
  EXPECT_EQ(std::string(bytes, 5), "12345");
  EXPECT_EQ(close(fd), 0);
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(rmdir(kPlace), 0);
  EXPECT_EQ(board_.hardware_trace(),
            (Lines{"mkdir /mnt/test 0777 = 0", "mount /dev/msb1 /mnt/test vfat 0 = 0",
                   "unlink /mnt/test/usbtest.dat = -1 ENOENT", "statfs /mnt/test = 0",
                   "open /mnt/test/usbtest.dat = ok", "write /mnt/test/usbtest.dat 5 = 5",
                   "lseek /mnt/test/usbtest.dat 0 = 0", "read /mnt/test/usbtest.dat 8 = 5",
                   "close /mnt/test/usbtest.dat = 0", "umount /mnt/test = 0", "rmdir /mnt/test = 0"}));
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "12345");
}

TEST_F(MediaTest, EverySlotHasAnEmptyMediumOf4Gb) {
  ASSERT_EQ(mkdir(kPlace, 0777), 0);
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
  mount_it();
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

TEST_F(MediaTest, WhatIsOnAMediumStaysThereWhenItIsUnmounted) {
  mount_it();
  close(open(kFile, kCreate, 0777));
  EXPECT_EQ(umount(kPlace), 0);
  EXPECT_EQ(mount_stick(), 0);
  EXPECT_EQ(access(kFile, F_OK), 0);
  EXPECT_EQ(outcome(open(kFile, O_CREAT | O_EXCL | O_RDWR, 0777)), -EEXIST);
}

TEST_F(MediaTest, AMediumCanBeMountedOnMntItself) {
  EXPECT_EQ(mount_stick("/dev/mmc01", "/mnt/"), 0);
  const int fd = open("/mnt/usbtest.dat", kCreate, 0777);
  EXPECT_EQ(write(fd, "x", 1), 1);
  EXPECT_EQ(close(fd), 0);
  EXPECT_EQ(board_->mounts.at("/dev/mmc01").content("usbtest.dat"), "x");
  EXPECT_EQ(umount("/mnt"), 0);
}

TEST_F(MediaTest, TheMediumThatWasMountedLastIsSeen) {
  mount_it();
  close(open(kFile, kCreate, 0777));
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
  EXPECT_EQ(mount_stick(), -ENOENT);
  mount_it();
  close(open(kFile, kCreate, 0777));
  EXPECT_EQ(mount_stick("/dev/mmc01", kFile), -ENOTDIR);
  EXPECT_EQ(outcome(mount("/dev/mmc01", "/mnt", "ext4", 0, nullptr)), -EINVAL);
}

TEST_F(MediaTest, AMediumWithAnOpenFileIsNotUnmounted) {
  mount_it();
  const int fd = open(kFile, kCreate, 0777);
  EXPECT_EQ(outcome(umount(kPlace)), -EBUSY);
  EXPECT_EQ(board_.open_nodes(), Lines{kFile});
  close(fd);
  EXPECT_EQ(umount(kPlace), 0);
}

TEST_F(MediaTest, FoldersAreMadeAndRemovedAsOnLinux) {
  EXPECT_EQ(outcome(rmdir(kPlace)), -ENOENT);
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
  mount_it();
  const int fd = open(kFile, kCreate, 0777);
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

TEST_F(MediaTest, MegabytesArriveAsTheyWereWritten) {
  mount_it();
  std::string block(0x100000, '\0');
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7 >> 3);
  const int fd = open(kFile, kCreate, 0777);
  for (int i = 0; i < 25; ++i) EXPECT_EQ(write(fd, block.data(), block.size()), 0x100000);
  lseek(fd, 0, SEEK_SET);
  std::string read_back(block.size(), 'x');
  for (int i = 0; i < 25; ++i) {
    EXPECT_EQ(read(fd, read_back.data(), read_back.size()), 0x100000);
    EXPECT_TRUE(read_back == block) << i;
  }
  close(fd);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat").size(), 25U * 0x100000);
  EXPECT_EQ(board_.now(), boardsim::Time(0)) << "a healthy medium takes no time";
}

TEST_F(MediaTest, AFileThatIsMissingOnAMediumIsNothingUnusual) {
  mount_it();
  struct stat status {};
  EXPECT_EQ(outcome(open(kFile, O_RDWR)), -ENOENT);
  EXPECT_EQ(outcome(stat(kFile, &status)), -ENOENT);
  EXPECT_EQ(std::fopen(kFile, "r"), nullptr);
  EXPECT_EQ(outcome(open("/mnt/test/folder/file", kCreate, 0777)), -ENOENT);
  EXPECT_THROW(board_->mounts.at(kStick).content("usbtest.dat"), std::invalid_argument);
}

TEST_F(MediaTest, AFileThatIsTakenAwayWhileOpenStaysReadable) {
  mount_it();
  const int fd = open(kFile, kCreate, 0777);
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

TEST_F(MediaTest, StreamsWorkOnFiles) {
  mount_it();
  std::FILE* file = std::fopen(kFile, "w+");
  ASSERT_NE(file, nullptr);
  std::fputs("first\nsecond\n", file);
  std::rewind(file);
  char line[16];
  EXPECT_STREQ(std::fgets(line, sizeof line, file), "first\n");
  EXPECT_EQ(std::fclose(file), 0);
  file = std::fopen(kFile, "a");
  std::fputs("third\n", file);
  EXPECT_EQ(std::fclose(file), 0);
  EXPECT_EQ(board_->mounts.at(kStick).content("usbtest.dat"), "first\nsecond\nthird\n");
}

TEST_F(MediaTest, FilesTakeSpaceInClusters) {
  mount_it();
  const int fd = open(kFile, kCreate, 0777);
  struct statfs space {};
  write(fd, "x", 1);
  statfs(kPlace, &space);
  EXPECT_EQ(space.f_bavail, 1048575U);
  write(fd, std::string(4096, 'x').data(), 4096);
  statfs(kPlace, &space);
  EXPECT_EQ(space.f_bavail, 1048574U);
  unlink(kFile);
  statfs(kPlace, &space);
  EXPECT_EQ(space.f_bavail, 1048574U) << "it is open still";
  close(fd);
  statfs(kPlace, &space);
  EXPECT_EQ(space.f_bavail, 1048576U);
}

TEST_F(MediaTest, AMediumHasTheSpaceThatATestGivesIt) {
  board_->mounts.at(kStick).set_space(7.5, 0.01);
  mount_it();
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

TEST_F(RefusedMediaTest, TheBareBlocksOfAMediumCannotBeRead) {
  const int fd = open(kStick, O_RDWR);
  char byte = 0;
  EXPECT_EQ(outcome(read(fd, &byte, 1)), -EINVAL);
  EXPECT_EQ(outcome(write(fd, &byte, 1)), -EINVAL);
  EXPECT_EQ(board_.violations(),
            (Lines{"reading /dev/msb1 is not known (read)", "writing /dev/msb1 is not known (write)"}));
  close(fd);
}

}  // namespace
