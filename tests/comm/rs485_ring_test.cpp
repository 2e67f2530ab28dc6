// Boards whose RS485 ports are wired to one another: what passes, what is said of each pair that fails, and
// of ports that do not open.
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "tests/comm/rs485_run.h"

namespace {

using namespace rs485;

/// One pair of ports, and what is said when it fails.
struct Pair {
  unsigned from, to;
  std::array<int, 2> codes;              ///< in the first and in the second group
  std::string error;                     ///< printed
  std::array<std::string, 2> described;  ///< to the station, in either group
};

/// One variant. Its steps are the pairs in the first group, then the same in the second.
struct Ring {
  const char* name;
  void (*run)();
  const char* family;   ///< a board that is given it
  const char* fixture;  ///< what wires its ports so
  unsigned ports;
  std::vector<Pair> pairs;
  std::string opened, completed;
  std::vector<std::string> open_errors;  ///< printed when a port does not open, after the port's own line
  std::string open_error;                ///< to the station then
  bool tells_success = true;             ///< whether each checksum that is right is printed

  std::size_t steps() const { return 2 * pairs.size(); }
  std::size_t group(std::size_t step) const { return step / pairs.size(); }
  const Pair& pair(std::size_t step) const { return pairs[step % pairs.size()]; }
  const std::string& frame(std::size_t step) const { return group(step) == 0 ? kFrameA : kFrameB; }
};

void PrintTo(const Ring& ring, std::ostream* out) {
  *out << ring.name;
}

// Texts that name another port than the one that failed, and codes that leave one out, are the board's own.
const std::vector<Ring>& rings() {
  // clang-format off
  static const std::vector<Ring> all = {
      {"Ex", rs485_test_Ex, "k", "ring5", 5,
       {{1, 2, {3, 8},  "<t1>ERROR RS485_1/RS485_2测试不通过。", {"<t1>ERROR RS485_1/RS485_2测试不通过.", "<t1>ERROR RS485_1/RS485_2测试不通过."}},
        {2, 3, {4, 9},  "<t1>ERROR RS485_2/RS485_3测试不通过。", {"<t1>ERROR RS485_2/RS485_3测试不通过.", "<t1>ERROR RS485_2/RS485_3测试不通过."}},
        {3, 4, {5, 10}, "<t1>ERROR RS485_3/RS485_4测试不通过。", {"<t1>ERROR RS485_3/RS485_4测试不通过.", "<t1>ERROR RS485_3/RS485_4测试不通过."}},
        {4, 5, {6, 11}, "<t1>ERROR RS485_4/RS485_5测试不通过。", {"<t1>ERROR RS485_4/RS485_5测试不通过.", "<t1>ERROR RS485_4/RS485_5测试不通过."}},
        {5, 1, {7, 12}, "<t1>ERROR RS485_1/RS485_5测试不通过。", {"<t1>ERROR RS485_1/RS485_5测试不通过.", "<t1>ERROR RS485_1/RS485_5测试不通过."}}},
       "打开五个485口成功。",
       "<t1>RS485测试完成，RS485_1、RS485_2、RS485_3、RS485_4、RS485_5、测试均通过.",
       {"<t1>打开RS485口错误."}, "<t1>打开RS485口错误."},
      {"u", rs485_test_u, "ma", "ring3", 3,
       {{1, 2, {3, 6}, "<t1>ERROR RS485_1/RS485_2测试不通过。", {"<t1>ERROR RS485_1/RS485_2测试不通过。", "<t1>ERROR RS485_1/RS485_2测试不通过。"}},
        {2, 3, {4, 7}, "<t1>ERROR RS485_2/RS485_3测试不通过。", {"<t1>ERROR RS485_2/RS485_3测试不通过。", "<t1>ERROR RS485_2/RS485_3测试不通过。"}},
        {3, 1, {5, 8}, "<t1>ERROR RS485_3/RS485_5测试不通过。", {"<t1>ERROR RS485_3/RS485_5测试不通过。", "<t1>ERROR RS485_3/RS485_5测试不通过。"}}},
       "打开3个485口成功。",
       "<t1>RS485测试完成，RS485_1、RS485_2、RS485_3测试均通过.",
       {"<t1>打开RS485口错误.", "<t1>打开RS485口错误"}, "<t1>打开RS485口错误"},
      {"rkd537", rs485_test_rkd537, "rkd1", "ring2", 2,
       {{1, 2, {3, 6}, "<t1>ERROR RS485_1/RS485_2测试不通过。", {"<t1>ERROR RS485_1/RS485_2测试不通过。", "<t1>ERROR RS485_1/RS485_2测试不通过。"}},
        {2, 1, {4, 7}, "<t1>ERROR RS485_2/RS485_1测试不通过。", {"<t1>ERROR RS485_2/RS485_1测试不通过。", "<t1>ERROR RS485_2/RS485_1测试不通过。"}}},
       "打开2个485口成功。",
       "<t1>RS485测试完成，RS485_1、RS485_2测试均通过.",
       {"<t1>打开RS485口错误.", "<t1>打开RS485口错误"}, "<t1>打开RS485口错误"},
      {"rkd037", rs485_test_rkd037, "normal", "self", 1,
       {{1, 1, {3, 4}, "<t1>ERROR RS485_1 第一组测试不通过。", {"<t1>ERROR RS485_1 第一组测试不通过测试不通过。", "<t1>ERROR RS485_1 第一组测试不通过"}}},
       "打开485口成功。",
       "<t1>RS485测试完成.",
       {"<t1>打开RS485口错误."}, "<t1>打开RS485_1 口错误", false},
  };
  // clang-format on
  return all;
}

// ---- what a variant prints -----------------------------------------------------------------------

/// Up to the opening of the ports.
std::string beginning(const Ring& ring) {
  return "rs485_test_" + std::string(ring.name) + "\n" + kAnswered + kWaiting;
}

std::string sent(const Ring& ring, std::size_t step) {
  const std::string from = "<" + port(ring.pair(step).from) + ">";
  return from + "开始发送数据:" + printed(ring.frame(step)) + "\n" + from + "发送完毕\n<" +
         port(ring.pair(step).to) + ">开始接收数据\n";
}

std::string heard(const Ring& ring, std::size_t step, const std::string& bytes) {
  const std::string to = "<" + port(ring.pair(step).to) + ">";
  return to + "完成接收数据:" + printed(bytes) + "\n" +
         (ring.tells_success ? to + "接收的数据校验正确!!!\n" : "");
}

/// From the start up to this step, with the starts of the groups.
std::string all_before(const Ring& ring, std::size_t step) {
  std::string text = beginning(ring) + ring.opened + "\n车检器检测线程已经停止，开始测试.\n";
  for (std::size_t i = 0; i < ring.steps() && i <= step; ++i) {
    if (i == 0) text += "RS485第一组测试数据[d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75]测试开始.\n";
    if (i == ring.pairs.size()) {
      text += "RS485第一组测试数据测试结束.\n" + std::string(53, '*') +
              "\nRS485第二组测试数据[d0 01 02 07 5a a5 d9]测试开始.\n";
    }
    if (i < step) text += sent(ring, i) + heard(ring, i, ring.frame(i));
  }
  return text;
}

std::string ending(const Ring& ring) {
  return "RS485第二组测试数据测试结束.\n" + ring.completed + "\n";
}

class Rs485RingTest : public Rs485Run, public ::testing::WithParamInterface<Ring> {
 protected:
  const Ring& ring = GetParam();

  /// Plays what arrives in one step. The ports are open by then, and every step ends where the next begins.
  void hear(std::size_t step, const std::string& bytes) {
    arrive(6000ms + step * 10ms, ring.pair(step).to, bytes);
  }
  /// Plays the wires: what is sent over each pair arrives at its receiver, for `steps` pairs in all.
  void wire(std::size_t steps) {
    for (std::size_t step = 0; step < steps; ++step) hear(step, ring.frame(step));
  }
  /// The test stopped with what this step has for its failure; `said` is what the step itself printed last.
  void expect_failure(std::size_t step, const std::string& said) {
    const Pair& pair = ring.pair(step);
    EXPECT_EQ(console.out(), all_before(ring, step) + sent(ring, step) + said + pair.error + "\n" +
                                 failed(pair.codes.at(ring.group(step))));
    EXPECT_EQ(console.err(), "");
    expect_fail(pair.described.at(ring.group(step)));
    EXPECT_EQ(gpiofd, -1);
    EXPECT_EQ(calls("write"), step + 1) << "nothing is sent behind a failure";
  }
  /// Runs with these ports missing. The ports that do open are left open.
  void run_without(const std::vector<unsigned>& missing) {
    Lines open;
    std::string said = beginning(ring);
    for (unsigned number = 1; number <= ring.ports; ++number) {
      if (std::ranges::find(missing, number) == missing.end()) {
        open.push_back(port(number));
      } else {
        board.fault("open " + port(number));
        said += "<t1>打开RS485口【" + port(number) + "】错误\n";
      }
    }
    for (const std::string& line : ring.open_errors) said += line + "\n";
    expect_open(open);
    ring.run();
    EXPECT_EQ(console.out(), said + failed(2));
    EXPECT_EQ(console.err(), "");
    expect_fail(ring.open_error);
    EXPECT_EQ(board.open_nodes(), open);
    EXPECT_EQ(gpiofd, -1);
    EXPECT_EQ(calls("write"), 0U);
  }
};

INSTANTIATE_TEST_SUITE_P(By, Rs485RingTest, ::testing::ValuesIn(rings()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485RingTest, AHealthyRunFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  for (unsigned number = 1; number <= ring.ports; ++number) open_port(script, number);
  for (std::size_t step = 0; step < ring.steps(); ++step) {
    const Pair& pair = ring.pair(step);
    const std::size_t size = ring.frame(step).size();
    if (ring.tells_success) script.call("ioctl " + port(pair.to) + " 0x00005503 {} = 0");
    send(script, pair.from, size);
    script.wait(step == 0 ? 980ms : 10ms);
    receive(script, pair.to, 4);
    receive(script, pair.to, size - 4);
  }
  for (unsigned number = 1; number <= ring.ports; ++number) script.close(port(number));
  script.close("/dev/qznio");

  gpiofd = -1;
  for (const auto time : {2000ms, 6005ms}) board.at(time, [] { EXPECT_GE(gpiofd, 0); });
  wire(ring.steps());
  ring.run();
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(console.out(), all_before(ring, ring.steps()) + ending(ring));
  EXPECT_EQ(console.err(), "");
  expect_pass();
  EXPECT_EQ(gpiofd, -1);
  for (unsigned number = 1; number <= 5; ++number) {
    EXPECT_EQ(board->uart(number).sent(), number <= ring.ports ? kFrameA + kFrameB : "") << number;
  }
  expect_detector_stopped_and_nodes_opened_both_ways();
}

TEST_P(Rs485RingTest, NamesEachPairThatIsSilentOrCarriesAWrongFrame) {
  for (std::size_t step = 0; step < ring.steps(); ++step) {
    const std::string to = "<" + port(ring.pair(step).to) + ">";
    const std::string& good = ring.frame(step);
    const std::string wrong = with_byte(good, 4, '\x44');
    const std::pair<std::string, std::string> rows[] = {
        {"", to + "接收数据错误.\n"},
        {sealed(with_byte(good, 0, '\xD1')), to + "接收数据错误.\n"},
        {wrong, to + "完成接收数据:" + printed(wrong) + "\n" + to + "接收的数据校验失败!!!\n"}};
    for (const auto& [bytes, said] : rows) {
      SCOPED_TRACE(std::to_string(step) + ": " + printed(bytes));
      next_board();
      wire(step);
      if (!bytes.empty()) hear(step, bytes);
      ring.run();
      expect_failure(step, said);
    }
  }
}

TEST_P(Rs485RingTest, AHeaderAloneInTheSecondGroupIsFollowedByWhatThePairHeardInTheFirst) {
  const auto first_frame = [](std::size_t pair) { return frame_of(15, static_cast<char>(0x41 + pair)); };
  const std::size_t pairs = ring.pairs.size();
  const std::size_t last = ring.steps() - 1;
  for (std::size_t step = 0; step < last; ++step) hear(step, step < pairs ? first_frame(step) : kFrameB);
  hear(last, first_frame(pairs - 1).substr(0, 4));
  ring.run();
  if (!ring.tells_success) {  // the port wired to itself has its whole buffer cleared
    expect_fail(ring.pair(last).described[1]);
    return;
  }
  expect_pass();
  EXPECT_TRUE(console.out().ends_with(heard(ring, last, first_frame(pairs - 1)) + ending(ring)));
}

TEST_P(Rs485RingTest, OnItsFixtureNamesThePairOfEachBrokenWireOrDriver) {
  for (const Pair& pair : ring.pairs) {
    const std::string from = std::to_string(pair.from);
    const std::pair<std::string, std::size_t> faults[] = {
        {"rs485 " + from + " " + std::to_string(pair.to) + " open", 0},
        {"rs485 " + from + " flips 16", 1},
        {"rs485 " + from + " loses 10", 0},
        {"uart " + from + " driver dead", 0}};
    for (const auto& [fault, group] : faults) {
      SCOPED_TRACE(fault);
      next_board_on(ring.family, ring.fixture, fault);
      ring.run();
      expect_fail(pair.described.at(group));
      EXPECT_TRUE(console.out().ends_with(pair.error + "\n" + failed(pair.codes.at(group))));
    }
  }
}

// ---- ports that do not open -------------------------------------------------------------------------

TEST_P(Rs485RingTest, EachPortThatDoesNotOpenIsNamedAndTheOthersStayOpen) {
  for (unsigned number = 1; number <= ring.ports; ++number) {
    SCOPED_TRACE(number);
    next_board();
    run_without({number});
  }
}

TEST_P(Rs485RingTest, AllPortsAreTriedBeforeAnyResultIsLookedAt) {
  std::vector<unsigned> all;
  for (unsigned number = 1; number <= ring.ports; ++number) all.push_back(number);
  run_without(all);
  EXPECT_EQ(count("close /dev/qznio = 0"), 1U);
  EXPECT_EQ(count("close -1 = -1 EBADF"), all.size()) << "by each further port, and by the test itself";
  for (const unsigned number : all) EXPECT_EQ(count("open " + port(number) + " = -1 ENODEV"), 1U) << number;
}

}  // namespace
