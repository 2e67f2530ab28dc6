// The auto-iris: its four drives, which board has which, and drives that do not play along.
#include "t1_sdk/boardtest/peripheral/iris.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_script.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using Iris = boardsim::Iris::State;
using Commands = std::vector<boardsim::Application::Command>;
using Lines = std::vector<std::string>;

/// One drive, from outside.
struct IrisTest {
  const char* name;
  const char* family;  ///< a board that has it
  void (*run)();
  std::string banner;
  const char* node;       ///< what it opens, empty for the shell
  const char* configure;  ///< the call that configures it, null when none does
  const char* prepare;    ///< the call before the first cycle, null when there is none
  const char* close;      ///< the call that closes the iris
  const char* open;       ///< the call that opens it
  std::chrono::milliseconds after_close;
  std::chrono::milliseconds after_open;       ///< in the first cycle
  std::chrono::milliseconds after_last_open;  ///< in the second
  unsigned off_command, on_command;           ///< for the camera's application

  std::string off_line() const { return line(off_command, 0); }
  std::string on_line() const { return line(on_command, 1); }
  /// The commands that the application is sent.
  Commands commands() const { return {{12, off_command, 0}, {12, on_command, 1}}; }

 private:
  /// What the program prints of the application's answer.
  static std::string line(unsigned command, unsigned value) {
    return "MAtest:CMD:" + std::to_string(command) + ", maHeart:" + std::to_string(value) +
           ", maStartOK:0x0\n";
  }
};

void PrintTo(const IrisTest& test, std::ostream* out) {
  *out << test.name;
}

// clang-format off
const IrisTest kFpgaIris = {"Fpga", "normal", auto_iris_test, "auto_iris_test_65xx\n", "/dev/fpga",
    nullptr,                                          "ioctl /dev/fpga 0x40044603 {8193, 639} = 0",
    "ioctl /dev/fpga 0x40044603 {8193, 3327} = 0",    "ioctl /dev/fpga 0x40044603 {8193, 3072} = 0",
    1500ms, 3500ms, 2000ms, 201288, 201288};
const IrisTest kShellIris = {"Shell", "63xx", auto_iris_test_63xx, "auto_iris_test_63xx\n", "",
    nullptr,                                          nullptr,
    "system closeIRIS = 0",                           "system openIRIS = 0",
    1500ms, 3500ms, 2000ms, 40, 39};
const IrisTest kChipIris = {"Chip", "65xx", auto_iris_test_65xx, "auto_iris_test_65xx\n", "/dev/motor",
    "ioctl /dev/motor 0x40044301 {3, 3, 0} = 0",      "ioctl /dev/motor 0x40046901 {639} = 0",
    "ioctl /dev/motor 0x40046901 {3327} = 0",         "ioctl /dev/motor 0x40046901 {3072} = 0",
    3000ms, 2000ms, 2000ms, 201288, 201288};
const IrisTest kGpioIris = {"Gpio", "68xx", auto_iris_test_68xx, "auto_iris_test_68xx\n", "/dev/motor1",
    "ioctl /dev/motor1 0x40044301 {1, 3, 0} = 0",     nullptr,
    "ioctl /dev/motor1 0x40046901 {512} = 0",         "ioctl /dev/motor1 0x40046901 {767} = 0",
    1500ms, 3500ms, 2000ms, 201288, 201288};
// clang-format on

/// How long the healthy application takes to answer, and the pause behind that.
constexpr auto kAppAnswer = 20ms;
constexpr auto kPause = 50ms;

constexpr const char* kEnd = "自动光圈测试结束.\n";

/// What a run says of its two cycles, with this behind each line.
std::string cycles(const std::string& behind = "") {
  return "第1次测试开始:关闭光圈...\n" + behind + "打开光圈...\n" + behind + "第2次测试开始:关闭光圈...\n" +
         behind + "打开光圈...\n" + behind;
}

class IrisRun : public StationRun {
 protected:
  void expect_iris(const std::string& value, const std::string& description) {
    expect_reply(station, 9472, "自动光圈测试", value, description);
  }
  void expect_pass() { expect_iris("Pass", "测试成功"); }
  void expect_console(const std::string& out) {
    EXPECT_EQ(console.out(), out);
    EXPECT_EQ(console.err(), "");
  }
};

// ---- the drives -------------------------------------------------------------------------------

class IrisDriveTest : public IrisRun, public ::testing::WithParamInterface<IrisTest> {
 protected:
  IrisDriveTest() { next_board(GetParam().family); }

  const IrisTest& test = GetParam();
  /// When the first cycle begins, and how long both take.
  static constexpr auto kStart = kAppAnswer + kPause;
  const std::chrono::milliseconds both_cycles = 2 * test.after_close + test.after_open + test.after_last_open;
};

INSTANTIATE_TEST_SUITE_P(By, IrisDriveTest, ::testing::Values(kFpgaIris, kShellIris, kChipIris, kGpioIris),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IrisDriveTest, IsTakenFromTheApplicationClosedAndOpenedTwiceWithTheseWaitsAndGivenBack) {
  HardwareScript expected;
  if (*test.node != '\0') expected.open(test.node);
  if (test.configure != nullptr) expected.call(test.configure);
  expected.wait(kStart);
  if (test.prepare != nullptr) expected.call(test.prepare);
  for (const auto after_open : {test.after_open, test.after_last_open}) {
    expected.call(test.close);
    expected.wait(test.after_close);
    expected.call(test.open);
    expected.wait(after_open);
  }
  if (*test.node != '\0') expected.close(test.node);
  test.run();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board->iris.state(), Iris::open);
  expect_console(test.banner + test.off_line() + cycles() + test.on_line() + kEnd);
  expect_pass();
  EXPECT_EQ(board->application.commands(), test.commands());
  std::vector<boardsim::Time> connected;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "connect") connected.push_back(call.at);
  }
  EXPECT_EQ(connected, (std::vector<boardsim::Time>{0ms, kStart + both_cycles}));
  EXPECT_EQ(board.now(), kStart + both_cycles + kAppAnswer);
}

TEST_P(IrisDriveTest, AnnouncesEachMoveAsItBegins) {
  const std::string start = test.banner + test.off_line();
  const std::string all = cycles();
  const std::size_t third = all.find("第2次");
  const std::size_t second = all.find("打开");
  const auto say = [&](auto when, const std::string& said) {
    board.at(kStart + when + 1ms, [this, said] { EXPECT_EQ(console.out(), said); });
  };
  say(0ms, start + all.substr(0, second));
  say(test.after_close, start + all.substr(0, third));
  say(test.after_close + test.after_open, start + all.substr(0, all.rfind("打开")));
  test.run();
}

TEST_P(IrisDriveTest, PassesWhenNoApplicationListens) {
  board.fault("app refused");
  test.run();
  const std::string refused = "connect failre errno=111";
  expect_console(test.banner + refused + cycles() + refused + kEnd);
  EXPECT_EQ(board.now(), kPause + both_cycles);
  EXPECT_EQ(board->iris.state(), Iris::open);
  expect_pass();
}

// ---- drives that do not play along ------------------------------------------------------------

class IrisFaultTest : public IrisRun {};

TEST_F(IrisFaultTest, ADriveThatCannotBeHadFailsAndTheIrisIsNeverAskedFor) {
  const struct {
    const IrisTest& test;
    const char* fault;
    const char* lines;
    const char* description;  ///< another node's for the chip, that of success for the GPIO iris
  } rows[] = {
      {kFpgaIris, "open /dev/fpga", "Open /dev/fpga error.\nfail num = 1\n", "打开/dev/fpga失败"},
      {kChipIris, "open /dev/motor", "Open /dev/motor error.\nfail num = 1\n", "打开/dev/qznio失败"},
      {kChipIris, "ioctl /dev/motor 0x40044301",
       "MOTORS_SET_CONFIG, ret=-1\nAA83477_init失败\nfail num = 2\n", "AA83477_init失败"},
      {kGpioIris, "open /dev/motor1", "Open /dev/motor1 error.\nfail num = 1\n", "测试成功"},
      {kGpioIris, "ioctl /dev/motor1 0x40044301", "MOTORS_SET_CONFIG, ret=-1\nfail num = 2\n", "测试成功"},
  };
  for (const auto& [test, fault, lines, description] : rows) {
    SCOPED_TRACE(fault);
    next_board(test.family);
    board.fault(fault);
    test.run();
    expect_console(test.banner + lines);
    expect_iris("Fail", description);
    EXPECT_EQ(board->application.commands(), Commands{});
    EXPECT_EQ(board.now(), 0s);
    EXPECT_EQ(board->iris.state(), Iris::unset);
  }
}

TEST_F(IrisFaultTest, AnIrisThatNeverMovesPasses) {
  const std::string refused = "IRIS_OUT failed, ret=-1\n";
  const struct {
    const IrisTest& test;
    const char* fault;
    std::string lines;
  } rows[] = {{kFpgaIris, "ioctl /dev/fpga", cycles()},
              {kShellIris, "system", cycles()},
              {kChipIris, "ioctl /dev/motor 0x40046901", refused + cycles(refused)},
              {kGpioIris, "ioctl /dev/motor1 0x40046901", cycles(refused)}};
  for (const auto& [test, fault, lines] : rows) {
    SCOPED_TRACE(fault);
    next_board(test.family);
    board.fault(fault);
    test.run();
    EXPECT_EQ(board->iris.state(), Iris::unset);
    expect_console(test.banner + test.off_line() + lines + test.on_line() + kEnd);
    EXPECT_EQ(board->application.commands(), test.commands());
    expect_pass();
  }
}

// ---- which drive a board has ------------------------------------------------------------------

class IrisEntryTest : public IrisRun {
 protected:
  /// Runs the entry on the board and expects it to do what this drive's test does.
  void expect_drive(const IrisTest& test, const std::string& first = "") {
    t1_sdk_auto_iris_test();
    expect_console(first + test.banner + test.off_line() + cycles() + test.on_line() + kEnd);
    EXPECT_EQ(board->application.commands(), test.commands());
    Lines calls;
    for (const boardsim::Call& call : board.trace()) calls.push_back(call.text());
    EXPECT_EQ(std::count(calls.begin(), calls.end(), test.close), 2);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), test.open), 2);
    EXPECT_EQ(board->iris.state(), Iris::open) << "the simulated board has the same drive";
    expect_pass();
  }
};

TEST_F(IrisEntryTest, EveryFamilyHasItsDrive) {
  const std::vector<std::pair<const char*, const IrisTest*>> drives = {
      {"normal", &kFpgaIris},    {"k", &kFpgaIris},    {"63xx", &kShellIris},  {"68xx", &kGpioIris},
      {"68xx-fpga", &kFpgaIris}, {"6444", &kFpgaIris}, {"6444-j", &kFpgaIris}, {"loop", &kShellIris},
      {"loop-c", &kFpgaIris},    {"ma", &kFpgaIris},   {"65xx", &kChipIris},   {"65xx-level", &kChipIris},
      {"rkd1", &kGpioIris},      {"rkd2", &kGpioIris}, {"6455", &kFpgaIris},   {"6485", &kFpgaIris},
      {"6484", &kFpgaIris}};
  for (const boardsim::Family& family : boardsim::families()) {
    const auto is_its = [&family](const auto& row) { return row.first == family.name; };
    EXPECT_TRUE(std::ranges::any_of(drives, is_its)) << family.name << " has no row here";
  }
  for (const auto& [family, test] : drives) {
    SCOPED_TRACE(family);
    next_board(family);
    expect_drive(*test);
  }
}

TEST_F(IrisEntryTest, EveryCodeOfTheSpecialBoardsHasItsDrive) {
  const std::vector<std::pair<std::uint32_t, const IrisTest*>> drives = {
      {0x9C0A, &kChipIris},  {0x27201, &kShellIris}, {0x97C0, &kShellIris}, {0x96C1, &kShellIris},
      {0x96C2, &kShellIris}, {0x96C3, &kShellIris},  {0x27252, &kGpioIris}, {0x9A01, &kGpioIris},
      {0x27254, &kGpioIris}, {0x9A03, &kGpioIris},   {0xA6005, &kGpioIris}, {0xA6006, &kGpioIris},
      {0xA60A0, &kGpioIris}, {0xA60A3, &kGpioIris},  {0x27251, &kFpgaIris}, {0x96C4, &kFpgaIris},
      {0x96C5, &kFpgaIris},  {0x1234, &kFpgaIris}};
  for (const auto& [code, test] : drives) {
    SCOPED_TRACE(code);
    next_board("normal");
    board.set_type(code);
    expect_drive(*test);
  }
}

TEST_F(IrisEntryTest, ABoardThatCannotBeIdentifiedIsTestedThroughItsFpga) {
  board.fault("ioctl /dev/qznio 0x80044801");
  const std::string deaf = "ioctl error,ret = -1\n";  // to each of its four questions
  expect_drive(kFpgaIris, deaf + deaf + deaf + deaf);
}

// ---- requests ---------------------------------------------------------------------------------

class IrisRequestTest : public IrisRun {};

TEST_F(IrisRequestTest, ValuesGoToTheDriversThemselves) {
  const OpenNode chip(board, "/dev/motor");
  const OpenNode gpio(board, "/dev/motor1");
  AA83477_init(chip.fd());
  GPIO_IRIS_init(gpio.fd());
  board.clear_trace();
  EXPECT_EQ(set_AA83477_val(chip.fd(), 0xFFFFFFFF), 0);
  EXPECT_EQ(set_GPIO_IRIS_close(gpio.fd(), 512), 0);
  EXPECT_EQ(set_GPIO_IRIS_open(gpio.fd(), 100), 0);
  EXPECT_EQ(set_GPIO_IRIS_speed(gpio.fd(), 7), 0);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/motor 0x40046901 {-1} = 0", "ioctl /dev/motor1 0x40046901 {512} = 0",
                   "ioctl /dev/motor1 0x40046902 {100} = 0", "ioctl /dev/motor1 0x40046903 {7} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(IrisRequestTest, ARequestThatIsRefusedIsReportedAndAPositiveResultReturnedInSilence) {
  const OpenNode chip(board, "/dev/motor");
  const OpenNode gpio(board, "/dev/motor1");
  using Request = int (*)(int fd, unsigned value);
  const struct {
    Request send;
    const OpenNode& node;
    const char* refused;
  } requests[] = {
      {[](int fd, unsigned) { return AA83477_init(fd); }, chip, "MOTORS_SET_CONFIG, ret=-1\n"},
      {[](int fd, unsigned) { return GPIO_IRIS_init(fd); }, gpio, "MOTORS_SET_CONFIG, ret=-1\n"},
      {set_AA83477_val, chip, "IRIS_OUT failed, ret=-1\n"},
      {set_GPIO_IRIS_close, gpio, "IRIS_OUT failed, ret=-1\n"},
      {set_GPIO_IRIS_open, gpio, "IRIS_OUT failed, ret=-1\n"},
      {set_GPIO_IRIS_speed, gpio, "IRIS_SET_SPEED failed, ret=-1\n"},
  };
  for (const auto& [send, node, refused] : requests) {
    board.clear_faults();
    board.fault("ioctl /dev/motor");
    board.fault("ioctl /dev/motor1");
    console.clear();
    EXPECT_EQ(send(node.fd(), 1), -1);
    EXPECT_EQ(console.out(), refused);
    board.clear_faults();
    board.fault("ioctl /dev/motor result 5");
    board.fault("ioctl /dev/motor1 result 5");
    EXPECT_EQ(send(node.fd(), 1), 5);
    EXPECT_EQ(console.out(), refused);
  }
}

}  // namespace
