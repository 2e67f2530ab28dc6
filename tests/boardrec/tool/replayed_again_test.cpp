// What the tool makes of a recording, played again: a redacted one is still of the same session, a part is of
// its beginning.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "boardrec/session/encoding.h"
#include "boardrec/session/recording.h"
#include "tests/boardrec/tool/session.h"
#include "tests/e2e/board_under_test.h"

namespace {

using boardrec::Call;

/// What makes a recording one of a board in a factory's network: simulated boards have addresses of this PC.
void move_to(boardrec::Recording& recording, const std::string& dotted, const std::string& bytes) {
  for (boardrec::Record& record : recording.records) {
    if (record.call == Call::bind) record.in.at(1) = boardrec::bytes_value(dotted + ":36001");
    const bool asks = record.call == Call::ioctl && record.in.at(1).number == 0x8915;
    if (asks) record.out.at(0).bytes.replace(20, 4, bytes);
  }
}

/// A session of four tests: its file.
std::string recorded_session(const Desk& desk) {
  BoardUnderTest board({"--record", desk.file("board.rec")});
  Station station = board.greeted_station();
  for (const int code : {10496, 10752, 1792, 7426}) {
    station.request(code);
    board.settle();
    board.advance(std::chrono::seconds(30));
  }
  return desk.file("board.rec");
}

Said launch(const std::string& option, const std::string& file) {
  Child launcher({BOARDSIM_PROGRAM, option, file, "--", BOARDTEST_PROGRAM});
  std::string out = launcher.rest();
  std::string err = launcher.err();
  return {launcher.exit_status(), std::move(out), std::move(err)};
}

TEST(CutReplay, AProgramMeetsTheBeginningOfASessionUpToWhereItWasCutOff) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's own locks would stand between the program's";
#endif
  const Desk desk;
  ASSERT_EQ(Desk::run({"cut", recorded_session(desk), desk.file("part.rec"), "--to", "40s"}).out, "");
  const Said replayed = launch("--replay", desk.file("part.rec"));
  EXPECT_EQ(replayed.status, 0) << replayed.err;
  EXPECT_THAT(replayed.err, testing::HasSubstr(", every call as it was recorded: the recording ends here\n"));
}

TEST(CutReplay, APartWithoutTheSessionsBeginningIsRefusedWithWhatIsMissing) {
  const Desk desk;
  const std::string part = desk.file("part.rec");
  Desk::run({"cut", desk.put("session.rec", clock_session().bytes()), part, "--from", "2.0005s"});
  for (const std::string option : {"--replay", "--compare"}) {
    const Said refused = launch(option, part);
    EXPECT_EQ(refused.status, 64);
    EXPECT_EQ(refused.err, "boardsim: " + option + ": " + part +
                               " is a part of a session, before which 3 calls were cut away: a program makes "
                               "them again (boardsim --help shows the options)\n");
  }
}

TEST(RedactedReplay, AProgramMeetsTheRedactedBoardCallByCall) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's own locks would stand between the program's";
#endif
  const Desk desk;
  boardrec::Recording recording = boardrec::read_recording(recorded_session(desk));
  move_to(recording, "10.20.30.40", "\x0a\x14\x1e\x28");
  std::string bytes = boardrec::bytes_of(recording.header);
  for (const boardrec::Record& record : recording.records) bytes += boardrec::bytes_of(record);
  const std::string file = desk.put("session.rec", bytes);
  ASSERT_EQ(Desk::run({"redact", file, desk.file("redacted.rec")}).status, 0);
  EXPECT_THAT(Desk::run({"show", desk.file("redacted.rec")}).out,
              testing::AllOf(testing::HasSubstr("bind 10.10.10.10:36001 = 0\n"),
                             testing::Not(testing::HasSubstr("10.20"))));

  Child replay({BOARDSIM_PROGRAM, "--replay", desk.file("redacted.rec"), "--", BOARDTEST_PROGRAM});
  EXPECT_EQ(replay.exit_status(), 0) << replay.err();
  EXPECT_THAT(replay.err(), testing::HasSubstr("every call as it was recorded"));
}

}  // namespace
