// A recorded session answers the program again, and every call that differs is named.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "boardrec/session/recording.h"
#include "tests/boardrec/changed_recording.h"
#include "tests/e2e/board_under_test.h"
#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"

namespace {

using namespace std::chrono_literals;

void write(const std::string& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

/// How a replay ended.
struct Replayed {
  int status;
  std::string said;
};

Replayed replay(const std::string& recording, const std::vector<std::string>& options = {}) {
  std::vector<std::string> command{BOARDSIM_PROGRAM, "--replay", recording};
  command.insert(command.end(), options.begin(), options.end());
  command.insert(command.end(), {"--", BOARDTEST_PROGRAM});
  Child launcher(command);
  const int status = launcher.exit_status();
  return {status, launcher.err()};
}

/// A session on a K board, recorded once for all tests: the temperature is asked for, six heartbeats pass,
/// the RS485 ports are tested, the station takes leave, the board is switched off.
class ReplayTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory_ = std::make_unique<OwnDirectory>();
    BoardUnderTest board({"--board", "k", "--record", recording()});
    {
      Station station = board.greeted_station();
      station.request(7426);
      board.settle();
      board.advance(30s);
      station.request(1536);
      board.advance(20s);
      station.request(62208);
      board.advance(2s);
    }
    board.settle();
  }
  static void TearDownTestSuite() { directory_.reset(); }

  static std::string recording() { return directory_->file("session.rec"); }

  static std::string changed(boardrec::Call call, std::string_view from, std::string_view to) {
    write(directory_->file("changed.rec"), changed_recording(bytes_of(recording()), call, from, to));
    return directory_->file("changed.rec");
  }

 private:
  static inline std::unique_ptr<OwnDirectory> directory_;
};

TEST_F(ReplayTest, TheProgramMeetsTheRecordedBoardCallByCall) {
  const Replayed replayed = replay(recording());
  EXPECT_EQ(replayed.status, 0) << replayed.said;
  const std::size_t records = boardrec::read_recording(recording()).records.size();
  EXPECT_NE(replayed.said.find("replayed " + std::to_string(records) + " of " + std::to_string(records)),
            std::string::npos)
      << replayed.said;
}

TEST_F(ReplayTest, AReplyThatDiffersInOneByteIsShownInBothVersions) {
  const Replayed replayed = replay(changed(boardrec::Call::send, "<Value>Pass", "<Value>Pasz"));
  EXPECT_EQ(replayed.status, 1);
  EXPECT_NE(replayed.said.find("behind request 1 of the station (TestCode 7426)"), std::string::npos)
      << replayed.said;
  EXPECT_NE(replayed.said.find("from byte "), std::string::npos) << replayed.said;
  EXPECT_NE(replayed.said.find("Pasz<"), std::string::npos) << replayed.said;
  EXPECT_NE(replayed.said.find("Pass<"), std::string::npos) << replayed.said;
}

TEST_F(ReplayTest, AProgramThatWasBuiltAtAnotherTimeIsTheSameProgram) {
  EXPECT_EQ(replay(changed(boardrec::Call::send, "BUILD: ", "BUILD: Dec")).status, 0);
}

TEST_F(ReplayTest, ACallOnAnotherNodeEndsItWhereItHappens) {
  const Replayed replayed = replay(changed(boardrec::Call::open, "/dev/rtc", "/dev/rtd"));
  EXPECT_EQ(replayed.status, 1);
  EXPECT_NE(replayed.said.find("recorded: open path \"/dev/rtd\""), std::string::npos) << replayed.said;
  EXPECT_NE(replayed.said.find("now:      open path \"/dev/rtc\""), std::string::npos) << replayed.said;
  EXPECT_NE(replayed.said.find("behind request 2 of the station (TestCode 1536)"), std::string::npos)
      << replayed.said;
}

// Which mutex and which thread a call means is known only when its turn has come.
TEST_F(ReplayTest, AnotherMutexThanTheRecordedOneIsNamedWithItsPlace) {
  const Replayed replayed =
      replay(changed(boardrec::Call::pthread_mutex_lock, number_in_recording(1), number_in_recording(2)));
  EXPECT_EQ(replayed.status, 1);
  EXPECT_NE(replayed.said.find("differs at record "), std::string::npos) << replayed.said;
  EXPECT_NE(replayed.said.find("the program means mutex 1 where the recorded one had 2"), std::string::npos)
      << replayed.said;
}

// What the board answered otherwise leads the program elsewhere: the call that shows it is named.
TEST_F(ReplayTest, AnotherRequestOfTheStationShowsInWhatTheProgramDoes) {
  const Replayed replayed = replay(changed(boardrec::Call::recv, "<TestCode>1536", "<TestCode>7426"));
  EXPECT_EQ(replayed.status, 1);
  EXPECT_NE(replayed.said.find("recorded: open path \"/dev/rtc\""), std::string::npos) << replayed.said;
}

TEST_F(ReplayTest, ARecordingThatWasCutOffIsReplayedUpToThere) {
  const std::string bytes = bytes_of(recording());
  const std::string cut = std::filesystem::path(recording()).replace_filename("cut.rec");
  write(cut, bytes.substr(0, bytes.size() / 2));
  const Replayed replayed = replay(cut);
  EXPECT_EQ(replayed.status, 0) << replayed.said;
  EXPECT_NE(replayed.said.find("the recording ends here"), std::string::npos) << replayed.said;
}

TEST_F(ReplayTest, AFileThatIsNoRecordingStartsNothing) {
  const std::string file = std::filesystem::path(recording()).replace_filename("text.rec");
  write(file, "no recording");
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 64);
  EXPECT_EQ(replayed.said,
            "boardsim: --replay: " + file + " is no recording (boardsim --help shows the options)\n");
  EXPECT_EQ(replay(std::filesystem::path(recording()).replace_filename("missing.rec")).status, 64);
}

TEST_F(ReplayTest, ARecordingWithoutACallProvesNothingAndStartsNothing) {
  const std::string file = std::filesystem::path(recording()).replace_filename("header.rec");
  write(file, bytes_of(recording()).substr(0, sizeof(boardrec::Header)));
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 64);
  EXPECT_EQ(replayed.said, "boardsim: --replay: " + file +
                               " has no call of a program (boardsim --help shows the options)\n");
}

TEST_F(ReplayTest, ThatARecordingIsDamagedBeforeItsFirstCallIsSaid) {
  const std::string file = std::filesystem::path(recording()).replace_filename("damaged.rec");
  write(file, bytes_of(recording()).substr(0, sizeof(boardrec::Header)) + "damaged, and no record");
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 64);
  EXPECT_EQ(replayed.said, "boardsim: --replay: " + file +
                               " is damaged at byte 64, behind 0 records: no call of a program stands before "
                               "(boardsim --help shows the options)\n");
}

TEST_F(ReplayTest, AFileThatIsThereIsNotRecordedInto) {
  const std::string before = bytes_of(recording());
  Child launcher({BOARDSIM_PROGRAM, "--record", recording(), "--", BOARDTEST_PROGRAM});
  EXPECT_EQ(launcher.exit_status(), 64);
  EXPECT_EQ(launcher.err(),
            "boardsim: --record: " + recording() + " is there already (boardsim --help shows the options)\n");
  EXPECT_TRUE(bytes_of(recording()) == before);
}

TEST_F(ReplayTest, AFaultBesideARecordingHasNoEffectAndIsRefused) {
  const Replayed replayed = replay(recording(), {"--fault", "rtc stopped"});
  EXPECT_EQ(replayed.status, 64);
  EXPECT_NE(replayed.said.find("--fault: it has no effect beside --replay"), std::string::npos)
      << replayed.said;
}

}  // namespace
