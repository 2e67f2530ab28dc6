// The alarm variants on boards where a node does not open: what is said, what stays open.
#include <ostream>
#include <string>

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_room.h"

namespace {

constexpr int kCode = 4711;

/// A variant, the result codes of its three nodes, and what it says of the last one.
struct Variant {
  const char* name;
  const char* family;
  void (*run)();
  const char* banner;
  int io_code, control_code, device_code;
  const char* device;
  const char* device_line;  ///< behind "Open ... error.", which has no line end
  const char* device_reply;
};

constexpr const char* kFpga = "/dev/fpga";
constexpr const char* kAlarm = "/dev/alarm";
constexpr const char* kNoFpga = "打开/dev/fpga失败";
constexpr const char* kNoAlarm = "打开/dev/alarm失败";

// clang-format off
const Variant kVariants[] = {
    {"Fpga",        "normal", [] { alarm_test_64xx(0, kCode); },         "alarm_test_65xx",    2, 3, 4, kFpga,  "打开/dev/fpga失败\n", kNoFpga},
    {"K",           "k",      [] { alarm_test_64xx_k(0, kCode); },       "alarm_test_65xx",    2, 3, 4, kFpga,  "", kNoFpga},
    {"Ma",          "ma",     [] { alarm_test_64xx_19(0, kCode); },      "alarm_test_64xx_19", 2, 3, 4, kFpga,  "", kNoFpga},
    // What it replies is not what it prints.
    {"Driver",      "68xx",   [] { alarm_test_68xx(0, kCode); },         "alarm_test_68xx",    2, 3, 4, kAlarm, "打开/dev/alarm失败\n", "打开设备/dev/alarm失败"},
    {"FpgaSteps",   "6444",   [] { alarm_test_64xx_u(4, kCode); },       "alarm_test_65xx",    1, 2, 3, kFpga,  "", kNoFpga},
    {"DriverSteps", "loop",   [] { alarm_test_wpf_u(5, kCode); },        "alarm_test_wpf_u",   1, 2, 3, kAlarm, "打开/dev/alarm失败\n", kNoAlarm},
    {"ThreeInputs", "6444-j", [] { alarm_test_wpf_u_j(2, kCode); },      "alarm_test_wpf_u_j", 1, 2, 3, kAlarm, "打开/dev/alarm失败\n", kNoAlarm},
    {"TenInputs",   "65xx",   [] { alarm_test_65xx(0, kCode); },         "alarm_test_65xx",    2, 3, 4, kFpga,  "打开/dev/fpga失败\n", kNoFpga},
    {"OneRelay",    "rkd1",   [] { alarm_test_rkd(0, kCode); },          "alarm_test_rkd",     2, 3, 3, kAlarm, "打开/dev/alarm失败\n", kNoAlarm},
    {"TwoRelays",   "rkd2",   [] { alarm_test_rkd_1in3out(2, kCode); },  "alarm_test_rkd",     2, 3, 3, kAlarm, "打开/dev/alarm失败\n", kNoAlarm},
};
// clang-format on

void PrintTo(const Variant& variant, std::ostream* out) {
  *out << variant.name;
}

class AlarmNodesTest : public AlarmRoom, public ::testing::WithParamInterface<Variant> {
 protected:
  struct Missing {
    std::string node;
    std::string out;  ///< standard output between the banner and the code
    std::string err;
    std::string description;
    int code;
  };

  /// Runs on a board without a node; `open` are those before it.
  void expect_failure(const Missing& missing, const Lines& open) {
    SCOPED_TRACE(missing.node);
    variant.run();
    EXPECT_EQ(console.out(), std::string(variant.banner) + "\n" + missing.out +
                                 "fail num = " + std::to_string(missing.code) + "\n");
    EXPECT_EQ(console.err(), missing.err);
    expect_fail(kCode, missing.description);
    Lines calls;
    for (const std::string& node : open) calls.push_back("open " + node + " = ok");
    calls.push_back("open " + missing.node + " = -1 ENODEV");
    EXPECT_EQ(board.hardware_trace(), calls) << "nothing is asked of the nodes that did open";
    EXPECT_EQ(board.now().count(), 0) << "nothing waits";
    EXPECT_EQ(board.open_nodes(), open);
    EXPECT_EQ(gpiofd > 0, !open.empty()) << "gpiofd stays with its node";
  }

  const Variant& variant = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Of, AlarmNodesTest, ::testing::ValuesIn(kVariants),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(AlarmNodesTest, AMissingNodeEndsTheTestAndWhatIsOpenStaysOpenAndTheNextRunPasses) {
  const std::string device = variant.device;
  const Missing nodes[] = {
      {"/dev/qznio", "打开/dev/qznio失败\n", "Open /dev/qznio: No such device\n", "打开/dev/qznio失败",
       variant.io_code},
      {"/dev/qznitc", "打开/dev/qznitc失败\n", "Open /dev/qznitc: No such device\n", "打开/dev/qznitc失败",
       variant.control_code},
      {device, "Open " + device + " error." + variant.device_line, "", variant.device_reply,
       variant.device_code},
  };
  Lines open;
  for (const Missing& missing : nodes) {
    next_board(variant.family);
    board.fault("open " + missing.node + " #1");
    expect_failure(missing, open);

    station.forget();
    variant.run();
    expect_pass(kCode);
    EXPECT_EQ(gpiofd, -1);
    expect_open(board.open_nodes());
    open.push_back(missing.node);
  }
}

TEST_P(AlarmNodesTest, OnTheConsoleTheReasonStandsBeforeTheTextAndTheSummaryBehindAnEmptyLine) {
  next_board(variant.family);
  console.join();
  board.fault("open /dev/qznio #1");
  variant.run();
  EXPECT_EQ(console.out(), std::string(variant.banner) +
                               "\nOpen /dev/qznio: No such device\n打开/dev/qznio失败\nfail num = " +
                               std::to_string(variant.io_code) + "\n");
  variant.run();
  EXPECT_NE(console.out().find("\n\n报警I/O口完成"), std::string::npos);
  expect_open(board.open_nodes());
}

}  // namespace
