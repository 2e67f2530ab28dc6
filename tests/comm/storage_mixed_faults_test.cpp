// Several faults at once, on every board family: whatever breaks, there is one reply and nothing is left.
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "tests/comm/storage_board.h"

namespace {

/// Faults after which the program can still tidy up.
std::string some_fault(std::mt19937& random) {
  const auto pick = [&random](std::size_t count) { return random() % count; };
  const std::string node = storage::kMedia[pick(std::size(storage::kMedia))];
  const std::string number = std::to_string(1 + pick(30));
  const std::vector<std::string> faults = {
      "medium " + node + " absent",
      "medium " + node + " read-only",
      "medium " + node + " full " + number,
      "medium " + node + " wrong " + number,
      "medium " + node + " slow " + number,
      "medium " + node + " short " + number,
      "medium " + node + " pulled write " + number,
      "medium " + node + " pulled read " + number,
      "mount #" + std::to_string(1 + pick(3)),
      "statfs #" + std::to_string(1 + pick(3)) + " EACCES",
      "mkdir #1 ENOSPC",
      "unlink EIO",
      "open /mnt/test/usbtest.dat #" + std::to_string(1 + pick(6)) + "+ EIO",
      "write /mnt/test/usbtest.dat #" + number + "+ ENOSPC",
      "read /mnt/test/usbtest.dat #" + number + " EINTR",
      "lseek /mnt/test/usbtest.dat",
      "close /mnt/test/usbtest.dat",
      "open /dev/qznio",
      "ioctl /dev/qznio #" + std::to_string(1 + pick(3)),
  };
  return faults[pick(faults.size())];
}

class StorageMixedFaultsTest : public StorageRun, public ::testing::WithParamInterface<unsigned> {};

TEST_P(StorageMixedFaultsTest, ThereIsOneReplyAndNothingIsLeft) {
  std::mt19937 random(GetParam());
  for (const boardsim::Family& family : boardsim::families()) {
    next_board(family.name);
    std::string faults;
    for (std::size_t count = 1 + random() % 3; count > 0; --count) {
      const std::string fault = some_fault(random);
      board.fault(fault);
      faults += fault + "; ";
    }
    SCOPED_TRACE(std::string(family.name) + ": " + faults);
    const bool usb = random() % 2 == 0;
    usb ? t1_sdk_usb_test() : t1_sdk_sd_rw_test();

    const Reply reply = station.reply();
    EXPECT_EQ(reply.code, usb ? 4608 : 4352);
    EXPECT_EQ(reply.value == "Pass", reply.description == "测试成功");
    EXPECT_EQ(reply.value == "Fail", console.out().find("\nfail num = ") != std::string::npos);
    expect_nothing_left();
    EXPECT_EQ(board.open_nodes(), Lines{});
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, StorageMixedFaultsTest, ::testing::Range(1U, 6U));

}  // namespace
