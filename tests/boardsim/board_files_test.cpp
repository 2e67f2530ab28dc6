// Files below /devinfo: what a program may do with them, and the file of a healthy board.
#include "boardsim/devices/board_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Lines = std::vector<std::string>;

constexpr const char* kFile = "/devinfo/TG.bin";

class BoardFilesTest : public testing::Test {
 protected:
  ~BoardFilesTest() override { EXPECT_EQ(board_.violations(), Lines{}); }

  /// The lines of a file without their ends, as a stream yields them.
  static Lines lines_of(const char* path) {
    Lines lines;
    std::FILE* file = std::fopen(path, "r");
    if (file == nullptr) return {"no file"};
    char line[64];
    while (std::fgets(line, sizeof line, file) != nullptr) {
      std::string text = line;
      if (text.ends_with('\n')) text.pop_back();
      lines.push_back(text);
    }
    std::fclose(file);
    return lines;
  }

  Board board_;
};

TEST_F(BoardFilesTest, AHealthyBoardHasATimingFileWithASectionForEachModel) {
  const std::array blocks{
      "[TF1V1][TS1V1][VER1.0][1]", "{0x10 0x1 0}",     "[TF2V1][TS3V1][VER2.1][4]", "{0x10 0x1 0}",
      "{0x11 0x22 100}",           "{0x12 0x333 200}", "{0x2f 0xabcd 5000}"};
  Lines expected;
  for (const char* model :
       {"QN-5RX6454",   "QN-5RX6474",    "QN-5RX6484A",   "QN-5RX6455",   "QN-5RX6485",
        "QN-5RX6447",   "QN_5RX6484A_B", "iQN-5RX6515-H", "iQN-5RX6194",  "QN-5RX6454-V",
        "QN-5RX6444",   "QN-5RX6455-H",  "QN-5RX6485-H",  "QN-5RX6415-H", "QN-5RX6454A",
        "QN-5RX6453-H", "QN-5RX6724",    "QN_5RX6454A_B", "QN-5RX6794",   "iQN-5RX6474-A"}) {
    expected.push_back("[" + std::string(model) + "]");
    expected.insert(expected.end(), blocks.begin(), blocks.end());
  }
  EXPECT_EQ(lines_of(kFile), expected);
}

TEST_F(BoardFilesTest, AFileThatATestPutsInPlaceIsReadByteByByteAsLongAsItIsOpen) {
  const std::string content("a\r\nb\0c\xFF", 7);
  board_->files.set("/devinfo/other.bin", content);
  const int fd = open("/devinfo/other.bin", O_RDONLY);
  struct stat status {};
  ASSERT_EQ(stat("/devinfo/other.bin", &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_size, 7);
  EXPECT_EQ(access("/devinfo/other.bin", R_OK), 0);
  board_->files.remove("/devinfo/other.bin");
  char bytes[32];
  EXPECT_EQ(read(fd, bytes, 3), 3);
  EXPECT_EQ(read(fd, bytes + 3, 10), 4);
  EXPECT_EQ(read(fd, bytes + 7, 10), 0);
  EXPECT_EQ(std::string(bytes, 7), content);
  EXPECT_EQ(lseek(fd, 1, SEEK_SET), 1);
  EXPECT_EQ(read(fd, bytes, 1), 1);
  EXPECT_EQ(bytes[0], '\r');
  EXPECT_EQ(lseek(fd, 100, SEEK_SET), 100);
  EXPECT_EQ(read(fd, bytes, 1), 0);
  close(fd);
}

TEST_F(BoardFilesTest, AFileThatWasTakenAwayIsMissingWhichIsNothingUnusual) {
  board_->files.remove(kFile);
  board_->files.remove("/devinfo/never.there");
  struct stat status {};
  EXPECT_EQ(std::fopen(kFile, "r"), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(open("/devinfo/never.there", O_RDONLY), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(stat(kFile, &status), -1);
  EXPECT_EQ(access("/devinfo/never.there", F_OK), -1);
  board_->files.set(kFile, "back\n");
  board_->files.set(kFile, "first\nsecond");
  EXPECT_EQ(lines_of(kFile), (Lines{"first", "second"}));
  board_->files.set(kFile, "");
  EXPECT_EQ(lines_of(kFile), Lines{});
}

TEST_F(BoardFilesTest, AProgramCannotWriteIt) {
  EXPECT_EQ(open(kFile, O_RDWR), -1);
  EXPECT_EQ(errno, EROFS);
  EXPECT_EQ(std::fopen(kFile, "w"), nullptr);
  EXPECT_EQ(errno, EROFS);
  const int fd = open(kFile, O_RDONLY);
  EXPECT_EQ(write(fd, "x", 1), -1);
  EXPECT_EQ(errno, EBADF);
  close(fd);
}

TEST_F(BoardFilesTest, AFaultOfItsReadsIsAnErrorOfTheStreamAndAShortReadIsNone) {
  board_.fault("read /devinfo/TG.bin #2");
  std::string content(3 * 8192, 'x');
  board_->files.set(kFile, content);
  std::FILE* file = std::fopen(kFile, "r");
  ASSERT_NE(file, nullptr);
  const std::size_t count = std::fread(content.data(), 1, content.size(), file);
  EXPECT_LT(count, content.size());
  EXPECT_NE(std::ferror(file), 0);
  EXPECT_EQ(std::feof(file), 0);
  std::fclose(file);
  board_->files.set(kFile, "first\nsecond\n");
  board_.fault("read /devinfo/TG.bin short 3");
  EXPECT_EQ(lines_of(kFile), (Lines{"first", "second"}));
}

TEST_F(BoardFilesTest, OnlyFilesBelowDevinfoCanBePutInPlace) {
  for (const char* path : {"/dev/rtc", "/devinfo", "/devinfo/", "TG.bin", "/mnt/file", "/devinfox/file"}) {
    EXPECT_THROW(board_->files.set(path, ""), std::invalid_argument) << path;
  }
}

}  // namespace
