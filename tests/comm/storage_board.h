// What the tests of the storage media share: a board, a console, a station, and what they should show.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/comm/storage.h"
#include "tests/harness/station_run.h"

namespace storage {

inline constexpr int kBlocks = 25;
inline constexpr std::size_t kBlock = 0x100000;
/// Bytes of one block that differ from zeros: all but one in each period of 256.
inline constexpr std::size_t kLostBlock = kBlock / 256 * 255;
inline constexpr const char* kMedia[] = {"/dev/mmc01", "/dev/mmc11", "/dev/msbd1", "/dev/msb1"};

/// What a medium's test prints from the space check to the speeds.
inline std::string measured(const std::string& write_speed = "25.00", const std::string& read_speed = "25.00",
                            const std::string& size = "4.00", const std::string& free = "4.00") {
  const std::string marks(kBlocks, '#');
  return "磁盘分区大小:" + size + "(G)\n磁盘剩余空间:" + free + "(G)\n" + marks +
         "\n磁盘写入速度:" + write_speed + "(M/S)\n" + marks + "\n磁盘读取速度:" + read_speed + "(M/S)\n";
}

/// The line that closes a medium's test, without its end.
inline std::string finished(const std::string& label, std::size_t wrong_bytes = 0) {
  return label + "完成25(M)读写数据测试,错误数据" + std::to_string(wrong_bytes) + "(8bit)";
}

/// The frames around a medium: `name` is "USB", "USB1" or "USB2".
inline std::string usb_begins(const std::string& name, const std::string& node) {
  return "**********" + name + "[" + node + "]测试开始**********\n";
}
inline std::string usb_ends(const std::string& name, const std::string& node) {
  return "**********" + name + "[" + node + "]测试完毕**********\n";
}

}  // namespace storage

/// A board whose media the program leaves unmounted and whose /mnt it leaves empty.
class StorageRun : public StationRun {
 protected:
  using Lines = std::vector<std::string>;

  static constexpr int kStick = 2;
  static constexpr const char* kStickNode = "/dev/msb1";

  explicit StorageRun(std::string_view family = "normal") : StationRun(family) {}

  void TearDown() override {
    if (folder_made_) {
      EXPECT_EQ(::rmdir("/mnt/test"), 0);
    }
    StationRun::TearDown();
    expect_nothing_left();
  }
  /// Says what the program cannot help leaving mounted, and the folder below it.
  void expect_left(Lines mounts, Lines folders) {
    mounts_left_ = std::move(mounts);
    folders_left_ = std::move(folders);
  }
  void expect_nothing_left() {
    EXPECT_EQ(board->mounts.mounted(), mounts_left_);
    EXPECT_EQ(board->mounts.folders(), folders_left_);
  }
  /// Goes on with another board, with a fault if there is one.
  void next_board(std::string_view family, const std::string& fault = "") {
    expect_nothing_left();
    expect_left({}, {});
    StationRun::next_board(family);
    if (!fault.empty()) board.fault(fault);
  }
  /// The calls of the given names, in order.
  Lines calls_named(const std::vector<std::string>& names) const {
    Lines texts;
    for (const boardsim::Call& call : board.trace()) {
      if (std::ranges::find(names, call.name) != names.end()) texts.push_back(call.text());
    }
    return texts;
  }
  /// The nodes that were mounted, in order; attempts that failed included.
  Lines mounted_nodes() const {
    Lines nodes;
    for (const std::string& call : calls_named({"mount"})) {
      const std::size_t begin = call.find(' ') + 1;
      nodes.push_back(call.substr(begin, call.find(' ', begin) - begin));
    }
    return nodes;
  }

  // ---- the USB test, on the one stick of a board of no special family (/dev/msb1)

  void expect_usb(const std::string& value, const std::string& description) {
    expect_reply(station, 4608, "测试USB", value, description);
  }
  void expect_usb_pass() {
    expect_usb("Pass", "测试成功");
    EXPECT_EQ(console.out().find("fail num"), std::string::npos);
  }
  void expect_usb_fail(int number, const std::string& description) {
    expect_usb("Fail", description);
    const std::string last = "fail num = " + std::to_string(number) + "\n";
    EXPECT_TRUE(console.out().ends_with(last)) << last;
  }

  // ---- one medium's test alone

  /// Makes /mnt/test, as the callers of the medium's test do. It goes at the end.
  void make_folder() {
    EXPECT_EQ(::mkdir("/mnt/test", 0777), 0);
    folder_made_ = true;
    board.clear_trace();
  }
  void run_medium(int type = kStick) { t1_sdk_hdisk_test(type, &result, verdict); }
  /// The test file on a medium that has one.
  std::string file(std::string_view node = kStickNode) const {
    return board->mounts.at(node).content("usbtest.dat");
  }

  int result = 77;
  char verdict[512] = "untouched";  ///< the description, as the program leaves it

 private:
  Lines mounts_left_;
  Lines folders_left_;
  bool folder_made_ = false;
};
