// A recorded session answers the program again, and every call that differs is named.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
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
using boardrec::Call;
using boardrec::Record;
using testing::ContainsRegex;
using testing::HasSubstr;

using Records = std::vector<Record>;

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
/// clock and light are tested, the station takes leave, the board is switched off.
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
      for (const int code : {1536, 14592}) {
        station.request(code);
        board.advance(20s);
      }
      station.request(62208);
      board.advance(2s);
    }
    board.settle();
  }
  static void TearDownTestSuite() { directory_.reset(); }

  static std::string recording() { return directory_->file("session.rec"); }

  static std::string changed(boardrec::Call call, std::string_view from, std::string_view to) {
    return put(changed_recording(bytes_of(recording()), call, from, to));
  }
  static std::string rewritten(const std::function<void(Records&)>& change) {
    return put(rewritten_recording(bytes_of(recording()), change));
  }

 private:
  static std::string put(const std::string& bytes) {
    write(directory_->file("changed.rec"), bytes);
    return directory_->file("changed.rec");
  }

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

TEST_F(ReplayTest, AnotherRequestOfADriverIsShownInBothVersions) {
  const Replayed replayed =
      replay(changed(Call::ioctl, number_in_recording(0x80247009), number_in_recording(0x80247008)));
  EXPECT_EQ(replayed.status, 1);
  EXPECT_THAT(replayed.said,
              ContainsRegex("\n  recorded: ioctl fd [0-9]+ \\(/dev/rtc\\), request 0x80247008, "
                            "record .* = 0\n  now:      ioctl fd [0-9]+ \\(/dev/rtc\\), "
                            "request 0x80247009, record "));
  EXPECT_THAT(replayed.said, HasSubstr("behind request 2 of the station (TestCode 1536)\n"));
}

TEST_F(ReplayTest, AWordOfADriversRecordIsShownInBothVersions) {
  const std::string file = rewritten([](Records& records) {
    const auto pulse = std::ranges::find_if(records, [](const Record& record) {
      return record.call == Call::ioctl && record.in.at(1).number == 0x40044D02;
    });
    ASSERT_NE(pulse, records.end());
    pulse->in.at(2).bytes.at(0) = 1;
  });
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 1);
  EXPECT_THAT(replayed.said,
              HasSubstr(" (/dev/qznio), request 0x40044d02, record {1, 10000, 5000} = 0\n  now:  "));
  EXPECT_THAT(replayed.said, HasSubstr(" (/dev/qznio), request 0x40044d02, record {0, 10000, 5000}\n"));
  EXPECT_THAT(replayed.said, HasSubstr("behind request 3 of the station (TestCode 14592)\n"));
}

TEST_F(ReplayTest, CallsInAnotherOrderAreShownWithThePlaceOfTheRecordedOne) {
  std::size_t at = 0;
  const std::string file = rewritten([&at](Records& records) {
    while (records.at(at).call != Call::open || records.at(at).in.at(0).bytes != "/dev/rtc") ++at;
    std::size_t next = at + 1;
    while (records.at(next).thread != 0) ++next;
    std::swap(records.at(at), records.at(next));
  });
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 1);
  EXPECT_THAT(replayed.said, HasSubstr("differs at record " + std::to_string(at) + " of "));
  EXPECT_THAT(replayed.said,
              ContainsRegex("\n  recorded: ioctl .*\n  now:      open path \"/dev/rtc\".*\n  the "
                            "recording has this call at record [0-9]+, .*, thread 0\n"));
}

// The heartbeat's thread has ended by then, so that nobody else is at work.
TEST_F(ReplayTest, ACallOfAnotherThreadIsShownWithTheRecordedOnesThread) {
  const std::string file = rewritten([](Records& records) {
    const auto last = std::find_if(records.rbegin(), records.rend(),
                                   [](const Record& record) { return record.call == Call::close; });
    ASSERT_NE(last, records.rend());
    last->thread = 1;
  });
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 1);
  EXPECT_THAT(replayed.said,
              ContainsRegex("thread 0, behind request 4 of the station \\(TestCode 62208\\)\n  "
                            "recorded: .*\n  now:      close fd [0-9]+ \\(station\\)\n  the "
                            "recording has this call at record [0-9]+, .*, thread 1\n"));
}

bool is_ordered(const Record& record) {
  return record.call == Call::thread_ended || record.call >= Call::pthread_create;
}

TEST_F(ReplayTest, ThreadsOfWhichNobodyWaitedForTheOtherMayInterleaveOtherwise) {
  const std::string file = rewritten([](Records& records) {
    const auto place = std::ranges::adjacent_find(records, [](const Record& one, const Record& other) {
      return one.thread != other.thread && !is_ordered(one) && !is_ordered(other);
    });
    ASSERT_NE(place, records.end());
    std::swap(place[0], place[1]);
  });
  EXPECT_EQ(replay(file).status, 0);
}

// The PC's clock can only be late: whoever comes before the recorded moment has not waited for it.
TEST_F(ReplayTest, InRealTimeNoAnswerComesBeforeItsMoment) {
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(replay(recording(), {"--speed", "200"}).status, 0);
  const auto took = std::chrono::steady_clock::now() - began;
  EXPECT_GE(200 * took, std::chrono::nanoseconds(boardrec::read_recording(recording()).records.back().ended));
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

TEST_F(ReplayTest, WhereTheBytesOfABlockAreMissingTheReplayCannotGoOnAndSaysSo) {
  const std::string file = rewritten([](Records& records) {
    const auto temperature = std::ranges::find_if(
        records, [](const Record& record) { return record.call == Call::read && record.result > 0; });
    ASSERT_NE(temperature, records.end());
    temperature->out.at(0) = {.type = boardrec::ValueType::digest, .size = 5000, .digest = 1};
  });
  const Replayed replayed = replay(file);
  EXPECT_EQ(replayed.status, 64);
  EXPECT_THAT(replayed.said,
              ContainsRegex(" cannot go on at record [0-9]+ of [0-9]+, thread 0, behind request 1 of the "
                            "station \\(TestCode 7426\\)\n  the recording does not have the bytes of a "
                            "block of 5000\n"));
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
