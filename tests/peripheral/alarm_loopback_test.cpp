// What the four loopback variants have in common: console, reply, how errors are counted.
#include "tests/peripheral/alarm_loopback.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>

#include "tests/peripheral/alarm_room.h"

namespace {

using std::chrono::milliseconds;
using enum PortFault;

class AlarmLoopbackTest : public AlarmRoom, public ::testing::WithParamInterface<Loopback> {
 protected:
  static constexpr int kCode = 4711;  ///< the code that replies carry

  AlarmLoopbackTest() : AlarmRoom(GetParam().family) {}

  void run(unsigned mode = 0) { variant.run(mode, kCode); }
  /// Runs with faults in either cycle, and expects all that is said about it.
  void expect_failure(const PortFaults& first, const PortFaults& second, int errors,
                      const std::string& description) {
    run();
    EXPECT_EQ(without_words(variant, console.out()),
              run_console(variant, 0, first, second) + "fail num = 10\n");
    EXPECT_EQ(console.err(), summary(2, errors));
    expect_fail(kCode, description);
  }
  /// The same with faults in both cycles.
  void expect_failure(const PortFaults& faults, const std::string& description) {
    expect_failure(faults, faults, 2, description);
  }
  PortFaults all_ports(PortFault fault) const {
    PortFaults faults;
    for (const PortTexts& port : variant.ports) faults[port.port] = fault;
    return faults;
  }
  /// The time at which the check of a port begins in the first cycle.
  int begin_of(std::size_t port) const {
    return static_cast<int>(port) * (variant.first_ms + variant.second_ms);
  }
  void at_ms(int time, std::function<void()> event) { board.at(milliseconds(time), std::move(event)); }
  void in_pause(std::function<void()> event) {
    at_ms(variant.cycle_ms + variant.pause_ms / 2, std::move(event));
  }

  const Loopback& variant = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Variants, AlarmLoopbackTest, ::testing::ValuesIn(loopbacks()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(AlarmLoopbackTest, AHealthyBoardPassesInEveryModeAndSaysSoToTheLastLine) {
  for (unsigned mode = 0; mode <= variant.last_mode; ++mode) {
    forget();
    run(mode);
    EXPECT_EQ(without_words(variant, console.out()), run_console(variant, mode, {}, {})) << "mode " << mode;
    EXPECT_EQ(console.err(), summary(2, 0));
    expect_pass(kCode);
    EXPECT_EQ(gpiofd, -1);
  }
}

TEST_P(AlarmLoopbackTest, AModeBehindTheLastIsAnErrorBeforeAnyNodeIsOpened) {
  for (const unsigned mode : {variant.last_mode + 1, variant.last_mode + 2, 0x80000000U, 0xFFFFFFFFU}) {
    forget();
    run(mode);
    EXPECT_EQ(console.out(), std::string(variant.banner) + "\n扩展板模式出错\nfail num = 1\n");
    EXPECT_EQ(console.err(), "");
    expect_fail(kCode, "扩展板模式出错");
  }
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(board.now(), milliseconds(0));
}

TEST_P(AlarmLoopbackTest, TheReplyComesAfterTheLastPause) {
  const int end = 2 * (variant.cycle_ms + variant.pause_ms) + 500;
  bool looked = false;
  at_ms(end - 1, [&] {
    looked = true;
    EXPECT_EQ(station.bytes(), "");
  });
  run();
  EXPECT_TRUE(looked);
  EXPECT_EQ(board.now(), milliseconds(end));
  expect_pass(kCode);
}

TEST_P(AlarmLoopbackTest, WhatIsSaidOfAPortIsFlushedAtOnce) {
  std::string said = head_console(variant, 0) + cycle_head(1);
  std::size_t looked = 0;
  for (std::size_t i = 0; i < variant.ports.size(); ++i) {
    said += port_console(variant, variant.ports[i], {});
    const int end = i + 1 < variant.ports.size() ? begin_of(i + 1) : variant.cycle_ms;
    at_ms(end + 1, [this, said, &looked] {
      ++looked;
      EXPECT_EQ(without_words(variant, console.flushed()), said);
    });
  }
  run();
  EXPECT_EQ(looked, variant.ports.size());
}

// ---- ports -----------------------------------------------------------------------------------------------

TEST_P(AlarmLoopbackTest, AWrongInputIsFoundByItsOwnPortAlone) {
  for (const PortTexts& port : variant.ports) {
    SCOPED_TRACE(port.port);
    forget();
    board.clear_faults();
    board.fault(std::string("input ") + port.port + " stuck high");
    expect_failure({{port.port, open}}, port.open_description);

    forget();
    board.clear_faults();
    board.fault(std::string("input ") + port.port + " stuck low");
    expect_failure({{port.port, shorted}}, port.short_description);
  }
}

TEST_P(AlarmLoopbackTest, AnInputThatFollowsItsOutputUpsideDownPassesToo) {
  const auto from = [this](int time, const std::string& fault) {
    at_ms(time, [this, fault] {
      board.clear_faults();
      board.fault(fault);
    });
  };
  const bool is_k = variant.ports.size() == 8;
  const std::size_t ports = is_k ? 7 : 5;  // on K boards SYNC must be set first
  for (std::size_t i = 0; i < ports; ++i) {
    const std::string input = std::string("input ") + variant.ports[i].port;
    from(begin_of(i) + 1, input + " stuck low");
    from(begin_of(i) + variant.first_ms + 1, input + " stuck high");
  }
  at_ms(begin_of(ports) + 1, [this] { board.clear_faults(); });
  run();
  EXPECT_EQ(without_words(variant, console.out()), run_console(variant, 0, {}, {}));
  expect_pass(kCode);
}

TEST_P(AlarmLoopbackTest, InputsThatCannotBeReadCountAsShorted) {
  board.fault("ioctl /dev/qznio 0x80044703");
  expect_failure(all_ports(shorted), variant.ports.back().short_description);
}

TEST_P(AlarmLoopbackTest, WithoutTestControlNoOutputReachesItsInput) {
  board.fault("ioctl /dev/qznitc 0x888b #1");
  expect_failure(all_ports(open), variant.ports.back().open_description);
}

TEST_P(AlarmLoopbackTest, TestControlThatCannotBeSwitchedOffGoesUnnoticed) {
  board.fault("ioctl /dev/qznitc 0x888b #2");
  run();
  expect_pass(kCode);
  EXPECT_TRUE(board->test_control.is_on());
}

TEST_P(AlarmLoopbackTest, OneReadingThatFailsMakesItsPortLookShorted) {
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  expect_failure({{"T1", shorted}}, {}, variant.carries_errors ? 2 : 1, variant.ports[0].short_description);
}

TEST_P(AlarmLoopbackTest, OneWriteThatFailsMakesItsPortLookOpen) {
  // The write that should close the first output, counted from the first on the node.
  const std::map<std::string, int> number = {{"Normal", 7}, {"K", 11}, {"Ma", 8}, {"Driver", 2}};
  board.fault(std::string("ioctl ") + variant.node + " #" + std::to_string(number.at(variant.name)));
  expect_failure({{"T1", open}}, {}, variant.carries_errors ? 2 : 1, variant.ports[0].open_description);
}

TEST_P(AlarmLoopbackTest, AReplyThatCannotBeSentLeavesNothingOpen) {
  board.fault("send #1 EPIPE");
  run();
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(gpiofd, -1);
  EXPECT_FALSE(board->test_control.is_on());
}

// ---- counting --------------------------------------------------------------------------------------------

TEST_P(AlarmLoopbackTest, ManyFailedPortsInACycleCountOneAndTheLastIsDescribed) {
  in_pause([this] {
    board.fault("input T1 stuck high");
    board.fault("input T3 stuck low");
    board.fault("input T4 stuck high");
  });
  expect_failure({}, {{"T1", open}, {"T3", shorted}, {"T4", open}}, 1, variant.ports[3].open_description);
}

TEST_P(AlarmLoopbackTest, AFailureInTheFirstCycleOnlyCountsOneOrIsCarriedOver) {
  board.fault("input T2 stuck low");
  in_pause([this] { board.clear_faults(); });
  expect_failure({{"T2", shorted}}, {}, variant.carries_errors ? 2 : 1, variant.ports[1].short_description);
}

TEST_P(AlarmLoopbackTest, TheDescriptionIsThatOfTheLastFailingCycle) {
  board.fault("input T4 stuck high");
  in_pause([this] {
    board.clear_faults();
    board.fault("input T1 stuck low");
  });
  expect_failure({{"T4", open}}, {{"T1", shorted}}, 2, variant.ports[0].short_description);
}

TEST_P(AlarmLoopbackTest, AFailureIsForgottenByTheNextRun) {
  board.fault("input SYNC stuck low");
  run();
  board.clear_faults();
  forget();
  run();
  expect_pass(kCode);
  EXPECT_EQ(console.err(), summary(2, 0));
}

}  // namespace
