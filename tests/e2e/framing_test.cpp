// Requests as bytes: lengths at their limits, halves, and what stays in the buffer.
#include <chrono>
#include <limits>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

constexpr char kInvalid[] = "testCode is invalid";

/// A greeted station.
class FramingTest : public OnServer {
 protected:
  FramingTest() : station(board) {
    station.take_greeting();
    board.expect_lines({"HeartBeatThread started"});
  }

  /// The server still answers this station.
  void expect_service() {
    station.request(7426);
    int prompts = 0;
    EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
    board.lines_until("温度传感器测得当前温度");
  }
  /// The station is dropped and the next one is served.
  void expect_drop() {
    EXPECT_EQ(station.records_until_close(), Records());
    Station next(board);
    next.take_greeting();
    next.request(7426);
    EXPECT_EQ(next.next_record(), golden::kTemperature);
  }
  /// The temperature request, filled up to a size with blanks.
  static std::string request_of_size(std::size_t size) {
    std::string xml = request_of(7426);
    xml.resize(size, ' ');
    return xml;
  }

  Station station;
};

TEST_F(FramingTest, ARequestOf512BytesIsAccepted) {
  const std::string xml = request_of_size(512);
  station.send_record(xml);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  board.expect_lines({"RECV COMMANDS:", xml, "T1_TESTCODE_TEMP"});
}

TEST_F(FramingTest, ALengthOf513ClosesTheConnectionWithItsText) {
  station.send(length_field(513));
  board.expect_lines({kClosing, kClosing});
  expect_drop();
}

TEST_F(FramingTest, ARequestOf513BytesIsNotRead) {
  station.send(length_field(513) + request_of_size(513));
  board.expect_lines({kClosing, kClosing});
  Station next(board);
  next.take_greeting();
  board.expect_lines({"HeartBeatThread started"});
}

TEST_F(FramingTest, TheLargestLengthClosesTheConnection) {
  station.send(length_field(std::numeric_limits<std::int32_t>::max()));
  board.expect_lines({kClosing, kClosing});
  expect_drop();
}

TEST_F(FramingTest, ALengthOf0RunsWhatTheBufferHolds) {
  station.send(length_field(0));
  board.expect_lines({"RECV COMMANDS:", "", kInvalid});
  expect_service();
  station.send(length_field(0));
  expect_request(7426, {"T1_TESTCODE_TEMP"});
  EXPECT_EQ(station.next_record(), golden::kTemperature);
}

TEST_F(FramingTest, ALengthOfMinus1ClosesTheConnection) {
  station.send(length_field(-1));
  board.expect_lines({"RECV COMMANDS:", "", kClosing});
  expect_drop();
}

TEST_F(FramingTest, ALengthOfMinus2IsIgnored) {
  station.send(length_field(-2));
  board.expect_lines({"RECV COMMANDS:", ""});
  expect_service();
}

TEST_F(FramingTest, ALengthOfMinus5RunsWhatTheBufferHolds) {
  station.send(length_field(-5));
  board.expect_lines({"RECV COMMANDS:", "", kInvalid});
  expect_service();
  station.send(length_field(-5));
  EXPECT_EQ(station.next_record(), golden::kTemperature);
}

TEST_F(FramingTest, TheSmallestLengthRunsWhatTheBufferHolds) {
  station.send(length_field(std::numeric_limits<std::int32_t>::min()));
  board.expect_lines({"RECV COMMANDS:", "", kInvalid});
  expect_service();
  station.send(length_field(std::numeric_limits<std::int32_t>::min()));
  EXPECT_EQ(station.next_record(), golden::kTemperature);
}

/// The first bytes of the length field of a request of three bytes.
class HalfLengthTest : public FramingTest, public ::testing::WithParamInterface<std::size_t> {
 protected:
  void send_half() { station.send(length_field(3).substr(0, GetParam())); }
};

TEST_P(HalfLengthTest, FollowedBySilenceIsTakenForTheWholeLength) {
  send_half();
  board.advance(99999999us);
  station.expect_prompts(19);
  board.advance(1us);
  station.expect_prompts(1);
  board.advance(100s);  // the three bytes do not come either
  board.expect_lines({"RECV COMMANDS:", "", kInvalid});
  station.expect_prompts(20);
  expect_service();
}

TEST_P(HalfLengthTest, FollowedByACloseIsTakenForTheWholeLength) {
  send_half();
  station.shut_down();
  board.expect_lines({"RECV COMMANDS:", "", kInvalid, empty_wait(0)});
  board.lines_until(kHalfHourOver);
  station.records_until_close();
  EXPECT_EQ(board.now(), 0s);
}

TEST_P(HalfLengthTest, FollowedByItsRestInTimeIsWhole) {
  send_half();
  board.advance(99s);
  station.send(length_field(3).substr(GetParam()) + "abc");
  board.expect_lines({"RECV COMMANDS:", "abc", kInvalid});
  station.expect_prompts(19);
  expect_service();
}

INSTANTIATE_TEST_SUITE_P(OneToThreeBytes, HalfLengthTest, ::testing::Values(1, 2, 3));

TEST_F(FramingTest, TwoBytesThatAlreadySayTooMuchCloseTheConnection) {
  station.send("\xff\xff");
  board.advance(99999999us);
  station.expect_prompts(19);
  board.advance(1us);
  board.expect_lines({kClosing, kClosing});
}

TEST_F(FramingTest, ARecordThatBreaksOffIsFollowedByTheRestOfThePreviousOne) {
  expect_service();
  station.send(length_field(46) + "<TestItem><TestCode>1");
  board.advance(100s);
  board.expect_lines({"RECV COMMANDS:", request_of(1426), kInvalid});
  station.expect_prompts(20);
  expect_service();
}

TEST_F(FramingTest, ARecordThatACloseCutsShortRunsWithTheRestOfThePreviousOne) {
  expect_service();
  station.send(length_field(46) + "<TestItem>");
  station.shut_down();
  expect_request(7426, {"T1_TESTCODE_TEMP"});
  EXPECT_EQ(station.next_record(), golden::kTemperature);
}

TEST_F(FramingTest, AShorterRequestIsFollowedByTheRestOfTheLongerOneBefore) {
  expect_service();
  station.send_record("<TestItem><TestCode>8");
  expect_request(8426, {kInvalid});
  station.send_record("<");
  expect_request(8426, {kInvalid});
}

TEST_F(FramingTest, ARequestOf512BytesWithoutAnEndIsPrintedAsFarAsItGoes) {
  const std::string bytes(512, 'x');
  station.send_record(bytes);
  board.expect_lines({"RECV COMMANDS:", bytes, kInvalid});
  expect_service();
}

TEST_F(FramingTest, ARequestFullOfNestedTagsIsAnUnknownOne) {
  std::string tags;
  while (tags.size() + 3 <= 512) tags += "<a>";
  station.send_record(tags);
  board.expect_lines({"RECV COMMANDS:", tags, kInvalid});
  expect_service();
}

TEST_F(FramingTest, ARequestOf511OpeningBracketsIsAnUnknownOne) {
  const std::string brackets(511, '<');
  station.send_record(brackets);
  board.expect_lines({"RECV COMMANDS:", brackets, kInvalid});
  expect_service();
}

TEST_F(FramingTest, RequestsMayArriveByteByByte) {
  const std::string record = record_of(request_of(7426));
  for (const char byte : record) {
    station.send({&byte, 1});
    board.settle();
  }
  EXPECT_EQ(station.next_record(), golden::kTemperature);
}

TEST_F(FramingTest, RequestsThatArriveTogetherAreAnsweredInTheirOrder) {
  const std::string clock = record_of(request_of(1536));
  const std::string temperature = record_of(request_of(7426));
  station.send(temperature + clock + temperature);
  board.advance(6s);
  int prompts = 0;
  EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
  EXPECT_EQ(station.next_reply(prompts), golden::kClockPasses);
  EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
  EXPECT_EQ(prompts, 1);
}

TEST_F(FramingTest, AnUnknownCodeHasNoReply) {
  station.request(1);
  expect_request(1, {kInvalid});
  board.settle();
  EXPECT_EQ(station.pending(), Records());
  expect_service();
}

TEST_F(FramingTest, TheQuitRequestClosesTheConnectionAfterOneSecondWithoutAReply) {
  station.request(62208);
  expect_request(62208, {"recv q command"});
  board.advance(999999us);
  EXPECT_FALSE(station.is_closed());
  board.advance(1us);
  EXPECT_EQ(station.records_until_close(), Records());
}

}  // namespace
