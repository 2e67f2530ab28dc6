// The command channel to the camera's main application.
#include "t1_sdk/boardtest/platform/app_channel.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using namespace std::chrono_literals;
using boardsim::Board;
using Commands = std::vector<boardsim::Application::Command>;
using Lines = std::vector<std::string>;

constexpr int kPause = 0x31248;

/// Words as the board stores them, the lowest byte first.
std::string words(const std::vector<std::uint32_t>& values) {
  std::string bytes;
  for (const std::uint32_t value : values) {
    for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift & 0xFF);
  }
  return bytes;
}

/// A whole reply: these words, then others that tell their own place.
std::string reply(std::uint32_t cmd, std::uint32_t heart, std::uint32_t start) {
  std::vector<std::uint32_t> values{cmd, heart, start};
  while (values.size() < 129) values.push_back(static_cast<std::uint32_t>(0x1000 + values.size()));
  return words(values);
}

class AppChannelTest : public OnBoard {
 protected:
  Console console;

  AppChannelTest() { std::memset(&test_item, 0xAA, sizeof test_item); }
  ~AppChannelTest() override { std::memset(&test_item, 0, sizeof test_item); }

  /// Sends the pause command to an application that answers it so.
  void ask(std::vector<boardsim::Application::Reply> replies) {
    board->application.set_answer(kPause, std::move(replies));
    enableAPPCMD(kPause, 0);
  }
  static std::string stored() { return {reinterpret_cast<const char*>(&test_item), sizeof test_item}; }
  static bool nothing_stored() { return stored() == std::string(516, '\xAA'); }
  /// What is stored of a reply: the first 516 bytes, a shorter one followed by zeros.
  static std::string stored_of(std::string bytes) {
    bytes.resize(516, '\0');
    return bytes;
  }
  /// The names of the calls on sockets, one `recv` for several in a row.
  Lines socket_calls() const {
    Lines names;
    for (const boardsim::Call& call : board.trace()) {
      const bool repeated = !names.empty() && names.back() == call.name && call.name == "recv";
      if (!repeated) names.push_back(call.name);
    }
    return names;
  }
  /// Every socket that was made has been closed.
  void expect_all_closed() const {
    const std::vector<boardsim::Call> calls = board.trace();
    const auto count = [&](const char* name) {
      return std::ranges::count_if(
          calls, [&](const boardsim::Call& call) { return call.name == name && call.result >= 0; });
    };
    EXPECT_EQ(count("close"), count("socket"));
  }
};

// ---- records ------------------------------------------------------------------------------

TEST_F(AppChannelTest, TheCommandIsThreeWordsAndTheReplyA129) {
  static_assert(sizeof(TOOL_HEADER) == 12 && offsetof(TOOL_HEADER, length) == 0);
  static_assert(offsetof(TOOL_HEADER, code) == 4 && offsetof(TOOL_HEADER, argc) == 8);
  static_assert(sizeof(CMD_SERVER_TEST) == 516 && offsetof(CMD_SERVER_TEST, cmd) == 0);
  static_assert(offsetof(CMD_SERVER_TEST, test_data) == 4 && sizeof(CMD_SERVER_TEST::test_data) == 512);
}

// ---- a healthy application ----------------------------------------------------------------

TEST_F(AppChannelTest, ACommandIsSentAndItsAnswerStoredAndShown) {
  enableAPPCMD(kPause, 1);
  EXPECT_EQ(board->application.commands(), (Commands{{12, 0x31248, 1}}));
  EXPECT_EQ(test_item.cmd, 0x31248);
  EXPECT_EQ(test_item.test_data[0], 1U);
  EXPECT_EQ(test_item.test_data[1], 0U);
  EXPECT_EQ(test_item.test_data[127], 0U);
  EXPECT_EQ(console.out(), "MAtest:CMD:201288, maHeart:1, maStartOK:0x0\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board.now(), 20ms);
}

TEST_F(AppChannelTest, CommandsAndValuesHaveAll32Bits) {
  for (const std::uint32_t code : {0xFFFFFFFFU, 0x01020304U}) board->application.set_answer(code, {});
  enableAPPCMD(-1, 0xFFFFFFFF);
  enableAPPCMD(0x01020304, 0x05060708);
  EXPECT_EQ(board->application.commands(),
            (Commands{{12, 0xFFFFFFFF, 0xFFFFFFFF}, {12, 0x01020304, 0x05060708}}));
}

TEST_F(AppChannelTest, OneConnectionIsMadeForEachCommandAndClosed) {
  board.clear_trace();
  enableAPPCMD(kPause, 0);
  EXPECT_EQ(socket_calls(), (Lines{"socket", "connect", "send", "recv", "close"}));
  for (const boardsim::Call& call : board.trace()) {
    if (call.name != "connect") continue;
    EXPECT_EQ(call.node, "127.0.0.1:7001");
  }
  EXPECT_EQ(board.hardware_trace(), Lines{});
  enableAPPCMD(kPause, 0);
  expect_all_closed();
}

// ---- replies ------------------------------------------------------------------------------

TEST_F(AppChannelTest, OfALongerReplyTheFirst516BytesAreStored) {
  for (const std::size_t size : {517U, 1000U, 1032U, 4095U, 4096U}) {
    SCOPED_TRACE(size);
    console.clear();
    std::string bytes = reply(5, 6, 7);
    bytes.resize(size, 'x');
    ask({{0ms, bytes}});
    EXPECT_EQ(stored(), reply(5, 6, 7));
    EXPECT_EQ(console.out(), "MAtest:CMD:5, maHeart:6, maStartOK:0x7\n");
  }
}

TEST_F(AppChannelTest, AShorterReplyCountsAsFollowedByZeros) {
  const std::string whole = reply(0x11121314, 0x21222324, 0x31323334);
  for (const std::size_t size : {1U, 2U, 3U, 4U, 5U, 8U, 11U, 12U, 13U, 100U, 515U}) {
    SCOPED_TRACE(size);
    std::memset(&test_item, 0xAA, sizeof test_item);
    ask({{0ms, whole.substr(0, size)}});
    EXPECT_EQ(stored(), stored_of(whole.substr(0, size)));
  }
}

TEST_F(AppChannelTest, EachReplyIsShownAndTheLastOneStays) {
  std::string longest = reply(5, 6, 7);
  longest.resize(4096, 'x');
  struct {
    std::vector<boardsim::Application::Reply> replies;
    const char* shown;
    std::string stored;
  } const rows[] = {
      {{{0ms, reply(5, 6, 0x7F)}}, "MAtest:CMD:5, maHeart:6, maStartOK:0x7f\n", reply(5, 6, 0x7F)},
      {{{0ms, reply(0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFD)}},  // with their sign, the start in hexadecimal
       "MAtest:CMD:-2, maHeart:-1, maStartOK:0xfffffffd\n",
       reply(0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFD)},
      {{{0ms, longest + words({8, 9, 10})}},  // what lies behind 4096 bytes counts as another reply
       "MAtest:CMD:5, maHeart:6, maStartOK:0x7\nMAtest:CMD:8, maHeart:9, maStartOK:0xa\n",
       stored_of(words({8, 9, 10}))},
      {{{0ms, reply(5, 6, 7)}, {10ms, words({8})}},  // nothing of the one before is left
       "MAtest:CMD:5, maHeart:6, maStartOK:0x7\nMAtest:CMD:8, maHeart:0, maStartOK:0x0\n",
       stored_of(words({8}))},
      {{{0ms, reply(1, 10, 100)}, {100ms, reply(2, 20, 200)}, {100ms, reply(3, 30, 300)}},
       "MAtest:CMD:1, maHeart:10, maStartOK:0x64\nMAtest:CMD:2, maHeart:20, maStartOK:0xc8\n"
       "MAtest:CMD:3, maHeart:30, maStartOK:0x12c\n",
       reply(3, 30, 300)},
      {{{0ms, reply(1, 10, 100) + reply(2, 20, 200)}},  // together they count as one
       "MAtest:CMD:1, maHeart:10, maStartOK:0x64\n",
       reply(1, 10, 100)}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.shown);
    console.clear();
    ask(row.replies);
    EXPECT_EQ(console.out(), row.shown);
    EXPECT_EQ(stored(), row.stored);
  }
}

TEST_F(AppChannelTest, ThePiecesOfASplitReplyCountAsRepliesOfTheirOwn) {
  const std::string whole = reply(5, 6, 7);
  const std::string shown =
      "MAtest:CMD:5, maHeart:6, maStartOK:0x0\nMAtest:CMD:7, maHeart:4099, maStartOK:0x1004\n";
  ask({{0ms, whole.substr(0, 8)}, {50ms, whole.substr(8)}});
  EXPECT_EQ(console.out(), shown);
  EXPECT_EQ(stored(), stored_of(whole.substr(8)));
  console.clear();
  board.fault("recv #1 short 8");
  ask({{0ms, whole}});
  EXPECT_EQ(console.out(), shown);
}

TEST_F(AppChannelTest, AnApplicationThatClosesWithoutAReplyChangesNothing) {
  board.fault("app closes");
  enableAPPCMD(kPause, 0);
  EXPECT_EQ(board->application.commands(), (Commands{{12, 0x31248, 0}}));
  EXPECT_EQ(console.out(), "");
  EXPECT_TRUE(nothing_stored());
  expect_all_closed();
}

TEST_F(AppChannelTest, ASilentApplicationHoldsTheBoardForAsLongAsItLikes) {
  ask({{1h, reply(1, 0, 0)}, {24h, reply(2, 0, 0)}, {1h, reply(3, 0, 0)}});
  EXPECT_EQ(board.now(), 26h);
  EXPECT_EQ(test_item.cmd, 3);
}

// ---- failures -----------------------------------------------------------------------------

TEST_F(AppChannelTest, ARefusedConnectionIsReportedWithoutALineEnd) {
  const std::pair<const char*, int> rows[] = {
      {"app refused", 111}, {"connect ETIMEDOUT", 110}, {"socket EMFILE", 24}};
  for (const auto& [fault, error] : rows) {
    SCOPED_TRACE(fault);
    console.clear();
    board.fault(fault);
    enableAPPCMD(kPause, 0);
    board.clear_faults();
    EXPECT_EQ(console.out(), "connect failre errno=" + std::to_string(error));
    EXPECT_EQ(board->application.commands(), Commands{});
    EXPECT_TRUE(nothing_stored());
    EXPECT_EQ(calls("send"), 0U);
    EXPECT_EQ(board.now(), 0s);
    expect_all_closed();
  }
  console.clear();
  enableAPPCMD(kPause, 0);
  EXPECT_EQ(console.out(), "MAtest:CMD:201288, maHeart:0, maStartOK:0x0\n")
      << "the next command goes through";
}

TEST_F(AppChannelTest, ACommandThatDoesNotGoOutWholeIsNotWaitedFor) {
  for (const char* const fault :
       {"send #1 ECONNRESET", "send #1 EINTR", "send #1 short 0", "send #1 short 11"}) {
    SCOPED_TRACE(fault);
    board.fault(fault);
    enableAPPCMD(kPause, 0);
    EXPECT_EQ(console.out(), "");
    EXPECT_TRUE(nothing_stored());
    EXPECT_EQ(board->application.commands(), Commands{});
    EXPECT_EQ(calls("recv"), 0U);
    expect_all_closed();
    board.clear_faults();
  }
}

TEST_F(AppChannelTest, AFailedReadEndsTheCommandAndKeepsTheReplyBeforeIt) {
  for (const char* const error : {"ECONNRESET", "EINTR"}) {
    SCOPED_TRACE(error);
    console.clear();
    board.fault(std::string("recv #2 ") + error);
    ask({{0ms, reply(5, 6, 7)}, {50ms, reply(8, 9, 10)}});
    EXPECT_EQ(stored(), reply(5, 6, 7));
    EXPECT_EQ(console.out(), "MAtest:CMD:5, maHeart:6, maStartOK:0x7\n");
    expect_all_closed();
    board.clear_faults();
  }
}

}  // namespace
