// The loopback variants on boards that lack a node: what is said, what stays open.
#include <string>
#include <vector>

#include "tests/peripheral/alarm_loopback_board.h"

namespace {

using Lines = std::vector<std::string>;

/// A variant that cannot open one of its nodes.
struct MissingNode {
  Loopback variant;
  std::string node;
  std::string out;  ///< standard output between the banner and the code
  std::string err;
  std::string description;
  int code;
  Lines left_open;
};

std::string name_of(const MissingNode& missing) {
  return std::string(missing.variant.name) + "Without" + missing.node.substr(5);
}

std::vector<MissingNode> missing_nodes() {
  // The last node's console text: several variants say it in English only.
  const std::string last_nodes[] = {"Open /dev/fpga error.打开/dev/fpga失败\n", "Open /dev/fpga error.",
                                    "Open /dev/fpga error.", "Open /dev/alarm error.打开/dev/alarm失败\n"};
  const std::string descriptions[] = {"打开/dev/fpga失败", "打开/dev/fpga失败", "打开/dev/fpga失败",
                                      "打开设备/dev/alarm失败"};
  std::vector<MissingNode> all;
  const std::vector<Loopback> variants = loopbacks();
  for (std::size_t i = 0; i < variants.size(); ++i) {
    const Loopback& variant = variants[i];
    all.push_back({variant,
                   "/dev/qznio",
                   "打开/dev/qznio失败\n",
                   "Open /dev/qznio: No such device\n",
                   "打开/dev/qznio失败",
                   2,
                   {}});
    all.push_back({variant,
                   "/dev/qznitc",
                   "打开/dev/qznitc失败\n",
                   "Open /dev/qznitc: No such device\n",
                   "打开/dev/qznitc失败",
                   3,
                   {"/dev/qznio"}});
    all.push_back(
        {variant, variant.node, last_nodes[i], "", descriptions[i], 4, {"/dev/qznio", "/dev/qznitc"}});
  }
  return all;
}

class AlarmLoopbackNodesTest : public AlarmLoopbackBoard, public ::testing::WithParamInterface<MissingNode> {
 protected:
  AlarmLoopbackNodesTest() : AlarmLoopbackBoard(GetParam().variant.family) {
    board.fault("open " + missing.node + " #1 ENODEV");
    expect_open(missing.left_open);
  }
  const MissingNode& missing = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Nodes, AlarmLoopbackNodesTest, ::testing::ValuesIn(missing_nodes()),
                         [](const auto& test) { return name_of(test.param); });

TEST_P(AlarmLoopbackNodesTest, TheFailureIsSaidAndReported) {
  missing.variant.run(0, kCode);
  EXPECT_EQ(console.out(), std::string(missing.variant.banner) + "\n" + missing.out +
                               "fail num = " + std::to_string(missing.code) + "\n");
  EXPECT_EQ(console.err(), missing.err);
  expect_reply("Fail", missing.description);
}

TEST_P(AlarmLoopbackNodesTest, NothingElseIsDoneAndWhatWasOpenedStaysOpen) {
  missing.variant.run(0, kCode);
  Lines expected;
  for (const std::string& node : missing.left_open) expected.push_back("open " + node + " = ok");
  expected.push_back("open " + missing.node + " = -1 ENODEV");
  EXPECT_EQ(board.hardware_trace(), expected);
  EXPECT_EQ(board.now().count(), 0);
  EXPECT_EQ(gpiofd >= 0, !missing.left_open.empty()) << "the general I/O driver's descriptor";
}

TEST_P(AlarmLoopbackNodesTest, TheNextRunOpensEverythingAnewAndPasses) {
  missing.variant.run(0, kCode);
  station.forget();
  missing.variant.run(0, kCode);
  expect_reply("Pass", "测试成功");
  EXPECT_EQ(gpiofd, -1);
}

}  // namespace
