// boardrec show: recordings as text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/boardrec/tool/session.h"
#include "tests/e2e/board_under_test.h"

namespace {

using boardrec::Call;
using testing::HasSubstr;

std::string shown(const std::string& recording, std::vector<std::string> words = {}) {
  const Desk desk;
  words.insert(words.begin(), {"show", desk.put("session.rec", recording)});
  const Said said = Desk::run(words);
  EXPECT_EQ(said.status, 0) << said.err;
  return said.out;
}

/// The text of one call behind an opened node, which is descriptor 5.
std::string shown_on(const std::string& node, const Written& call) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {node, 2, 0}, .result = 5}).add(call);
  const std::string text = shown(session.bytes(), {"--node", node});
  return text.substr(text.find('\n') + 1);
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

// Streams are recorded where the program calls them, and traced where the board answers.
bool is_of_stream(const std::string& line) {
  return line.find("/devinfo/TG.bin") != std::string::npos;
}

TEST(Show, ARecordedSessionIsTheTraceOfTheBoardThatAnswered) {
  const Desk desk;
  std::vector<std::string> trace;
  {
    BoardUnderTest board({"--record", desk.file("session.rec")});
    Station station = board.greeted_station();
    for (const int code : {1536, 7426, 1792, 10496, 14592, 4608}) {
      station.request(code);
      board.settle();
      board.advance(std::chrono::seconds(90));
    }
    station.request(62208);
    board.settle();
    board.advance(std::chrono::seconds(5));
    trace = board.trace();
  }
  std::vector<std::string> lines = lines_of(Desk::run({"show", desk.file("session.rec")}).out);
  ASSERT_GT(lines.size(), 300U);
  std::erase_if(trace, is_of_stream);
  std::erase_if(lines, is_of_stream);
  // What two threads do at the same moment has no order.
  std::ranges::sort(trace);
  std::ranges::sort(lines);
  EXPECT_EQ(lines, trace);
}

TEST(Show, ASessionIsALineACall) {
  EXPECT_EQ(shown(clock_session().bytes()),
            "0.000000 socket = ok\n"
            "0.000000 bind 10.20.30.40:36001 = 0\n"
            "0.000000 listen listener 128 = 0\n"
            "0.000000 accept listener = ok\n"
            "2.000000 recv station 4 = 4\n"
            "2.000000 recv station 46 = 46\n"
            "2.000000 open /dev/rtc = ok\n"
            "2.000000 ioctl /dev/rtc 0x80247009 {} = 0\n"
            "2.001000 sleep 1\n"
            "3.001000 ioctl /dev/rtc 0x80247009 {} = 0\n"
            "3.002000 close /dev/rtc = 0\n"
            "3.002000 send station 188 = 188\n");
}

TEST(Show, AFailedCallNamesItsError) {
  EXPECT_EQ(
      shown_on(
          "/dev/qznio",
          {.call = Call::ioctl, .in = {5, 0x40044d02, words({0, 10000, 70000})}, .result = -1, .error = 5}),
      "0.000000 ioctl /dev/qznio 0x40044d02 {0, 10000, 0x00011170} = -1 EIO\n");
}

TEST(Show, ARequestThatNobodyKnowsShowsAllItsWords) {
  EXPECT_EQ(shown_on("/dev/qznio", {.call = Call::ioctl, .in = {5, 0x7fff, words({1, 2, 3, 4})}}),
            "0.000000 ioctl /dev/qznio 0x00007fff {1, 2, 3, 4} = 0\n");
}

TEST(Show, AMotorsConfigurationShowsTheEntryThatItsCountNames) {
  std::vector<std::uint32_t> record(161);
  record[0] = 3;
  record[1 + 30 + 5] = 3;
  EXPECT_EQ(shown_on("/dev/motor", {.call = Call::ioctl, .in = {5, 0x40044301, words(record)}}),
            "0.000000 ioctl /dev/motor 0x40044301 {3, 3, 0} = 0\n");
}

TEST(Show, ACallThatNeverReturnedHasNoResult) {
  RecordingWriter session;
  session.add({.call = Call::reboot, .in = {0x1234567}, .flags = boardrec::kBegan});
  EXPECT_EQ(shown(session.bytes()), "0.000000 reboot 0x1234567 = ?\n");
  session.add({.call = Call::reboot, .in = {0x1234567}, .result = -1, .error = 1});
  EXPECT_EQ(shown(session.bytes()), "0.000000 reboot 0x1234567 = -1 EPERM\n");
}

TEST(Show, ADescriptorThatIsGivenAgainBeforeItsCloseReturnedHasBothNames) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = 5}).after(1);
  RecordingWriter overlapping = session;
  // The close begins at 1 s and ends at 3 s; meanwhile another thread gets the number.
  boardrec::Body close{};
  close.call = static_cast<std::uint16_t>(Call::close);
  close.began = 1'000'000'000;
  close.ended = 3'000'000'000;
  close.in = 1;
  const std::string fd = std::string(1, '\1') + RecordingWriter::raw(std::int64_t{5});
  overlapping.after(1).add({.call = Call::open, .in = {"/dev/led", 2, 0}, .result = 5, .thread = 1});
  overlapping.add_body(RecordingWriter::raw(close) + fd).after(2);
  overlapping.add({.call = Call::ioctl, .in = {5, 0x40044c01, words({2, 1})}, .thread = 1});
  EXPECT_EQ(shown(overlapping.bytes()),
            "0.000000 open /dev/rtc = ok\n"
            "2.000000 open /dev/led = ok\n"
            "1.000000 close /dev/rtc = 0\n"
            "4.000000 ioctl /dev/led 0x40044c01 {2, 1} = 0\n");
}

TEST(Show, SocketsAreCalledByWhatTheyBecame) {
  RecordingWriter session;
  session.add({.call = Call::socket, .in = {2, 1, 0}, .result = 6})
      .add({.call = Call::connect, .in = {6, "127.0.0.1:7001"}})
      .add({.call = Call::send, .in = {6, 3, "abc", 0}, .result = 3})
      .add({.call = Call::select, .in = {7, std::string(1, '\x40'), {}, {}, 1'500'000'000}, .result = 1})
      .add({.call = Call::close, .in = {6}})
      .add({.call = Call::close, .in = {-1}, .result = -1, .error = 9});
  EXPECT_EQ(shown(session.bytes()),
            "0.000000 socket = ok\n"
            "0.000000 connect 127.0.0.1:7001 = 0\n"
            "0.000000 send application 3 = 3\n"
            "0.000000 select application 1 500000 = 1\n"
            "0.000000 close application = 0\n"
            "0.000000 close -1 = -1 EBADF\n");
}

TEST(Show, AllRecordsStandBehindTheirNumbersAndThreads) {
  const std::string text = shown(clock_session().bytes(), {"--all"});
  EXPECT_THAT(
      text, testing::StartsWith("0 0 0.000000 start /usr/bin/boardtest boardtest\\x00\n1 0 0.000000 socket"));
  EXPECT_THAT(text, testing::EndsWith("13 0 3.002000 finish 0\n"));
}

TEST(Show, APartIsChosenByTimeThreadAndNode) {
  RecordingWriter session = clock_session();
  session.add({.call = Call::sleep, .in = {5}, .thread = 1, .took = 5});
  const std::string bytes = session.bytes();
  EXPECT_EQ(shown(bytes, {"--thread", "1"}), "3.002000 sleep 5\n");
  EXPECT_EQ(shown(bytes, {"--from", "2.5", "--to", "3.002"}), "3.001000 ioctl /dev/rtc 0x80247009 {} = 0\n");
  EXPECT_EQ(lines_of(shown(bytes, {"--node", "/dev/rtc"})).size(), 4U);
}

TEST(Show, APartThatNoCallIsInIsRefused) {
  const Desk desk;
  const std::string file = desk.put("session.rec", clock_session().bytes());
  const std::vector<std::pair<std::vector<std::string>, std::string>> parts{
      {{"--node", "/dev/rct"}, " on /dev/rct"},
      {{"--thread", "99"}, " of thread 99"},
      {{"--from", "10", "--to", "5"}, " from 10 s on before 5 s"}};
  for (const auto& [words, what] : parts) {
    std::vector<std::string> command{"show", file};
    command.insert(command.end(), words.begin(), words.end());
    const Said said = Desk::run(command);
    EXPECT_EQ(said.status, 64);
    EXPECT_EQ(said.out, "");
    EXPECT_EQ(said.err, "boardrec: the recording has no call" + what + "\n");
  }
}

TEST(Show, BytesAreHexadecimalAndABoardsTextsAreUtf8) {
  const std::string bytes = clock_session().bytes();
  EXPECT_THAT(shown(bytes, {"--bytes", "--node", "station"}),
              HasSubstr("<Name>测试结果</Name>\\r\\n<Value>Pass"));
  EXPECT_THAT(shown(bytes, {"--bytes", "--node", "station", "--text", "gbk"}),
              HasSubstr("<Name>\xb2\xe2\xca\xd4\xbd\xe1\xb9\xfb</Name>"));
  EXPECT_THAT(
      shown(bytes, {"--bytes", "--node", "/dev/rtc"}),
      HasSubstr("    out record: 36 bytes\n      0000  0c 00 00 00 1e 00 00 00 08 00 00 00 11 00 00 00\n"));
}

TEST(Show, ATextThatWouldSteerATerminalIsShownByItsNumbers) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {"/dev/\x1b[2J", 2, 0}, .result = -1, .error = 2});
  EXPECT_EQ(shown(session.bytes()), "0.000000 open /dev/\\x1b[2J = -1 ENOENT\n");
}

}  // namespace
