// A board that starts from what a recording told is like the one that was recorded.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/boardrec/changed_recording.h"
#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"

namespace {

constexpr int kTemperature = 7426, kSdCard = 4352, kRaiseVoltage = 11521, kStoreTg = 10496, kQuit = 62208;

/// A line of a station's script: at this second it asks for a test.
std::string asks(int second, int code) {
  const std::string document = "<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>";
  const auto size = static_cast<unsigned char>(document.size());
  std::string bytes{static_cast<char>(size), '\0', '\0', '\0'};
  bytes += document;
  std::string line = std::to_string(second) + " send ";
  for (const char letter : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(letter));
    line += digits;
  }
  return line + "\n";
}

struct Ended {
  int status;
  std::string said;
};

Ended boardsim(std::vector<std::string> words) {
  words.insert(words.begin(), BOARDSIM_PROGRAM);
  words.insert(words.end(), {"--", BOARDTEST_PROGRAM});
  Child launcher(words);
  const int status = launcher.exit_status();
  return {status, launcher.rest() + launcher.err()};
}

/// Every file below a folder, with its bytes.
std::map<std::string, std::string> bytes_below(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files[entry.path().string()] = bytes_of(entry.path().string());
  }
  return files;
}

/// A board of the 6484 family that differs from a simulated one: another temperature, other parameters of the
/// timing generator, a slow card, a register of the FPGA.
class LearnTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    recorded_ = std::make_unique<OwnDirectory>();
    std::ofstream(recorded_->file("station"))
        << "1 connect\n"
        << asks(2, kTemperature) << asks(5, kSdCard) << asks(20, kRaiseVoltage) << asks(25, kStoreTg)
        << asks(40, kQuit) << "45 end\n";
    std::filesystem::create_directory(recorded_->file("devinfo"));
    // A sound file, of which the program reads up to the last register that counts.
    std::ofstream(recorded_->file("devinfo/TG.bin"))
        << "[QN-5RX6484A]\n[TF2V1][TS3V1][VER3.7][2]\n{0x10 0x99 0}\n{0x11 0x98 100}\n[QN-5RX6454]\n";
    const Ended ended =
        boardsim({"--board", "6484", "--pace", "virtual", "--station", recorded_->file("station"), "--record",
                  recording(), "--devinfo", recorded_->file("devinfo"), "--fault", "sensor 1 text 61250",
                  "--fault", "medium /dev/mmc01 slow 40", "--fault", "fpga 0xB0 stuck 1234"});
    ASSERT_EQ(ended.status, 0) << ended.said;
  }
  static void TearDownTestSuite() { recorded_.reset(); }

  static std::string recording() { return recorded_->file("session.rec"); }
  Ended learn() const { return boardsim({"--compare", recording(), "--board", "6484", "--learn", learned_}); }

  OwnDirectory directory_;
  std::string learned_ = directory_.file("learned");

 private:
  static inline std::unique_ptr<OwnDirectory> recorded_;
};

TEST_F(LearnTest, ABoardFromWhatWasLearnedAnswersLikeTheRecordedOne) {
  const Ended first = learn();
  EXPECT_EQ(first.status, 1) << first.said;
  const Ended second = boardsim({"--compare", recording(), "--state", learned_, "--board", "6484"});
  EXPECT_EQ(second.status, 0) << second.said;
}

// What a healthy board answers to one command must not become its answer to another.
TEST_F(LearnTest, ABoardThatLearnedFromAHealthyOneStillAgrees) {
  for (const auto& [file, family] : std::map<std::string, std::string>{
           {"simulated-k.rec", "k"}, {"simulated-rkd2.rec", "rkd2"}, {"emulated-arm-normal.rec", "normal"}}) {
    const std::string folder = directory_.file(family);
    const std::vector<std::string> compare{"--compare", RECORDINGS "/" + file, "--board", family};
    std::vector<std::string> words = compare;
    words.insert(words.end(), {"--learn", folder});
    const Ended first = boardsim(words);
    EXPECT_EQ(first.status, 0) << first.said;
    EXPECT_NE(first.said.find("boardsim: learned into " + folder + ": 1 boot block, "), std::string::npos)
        << first.said;
    words = compare;
    words.insert(words.end(), {"--state", folder});
    const Ended second = boardsim(words);
    EXPECT_EQ(second.status, 0) << file << second.said;
  }
}

// The session stores parameters: the board that is compared does, too.
TEST_F(LearnTest, AComparisonLeavesABoardsFolderAsItWas) {
  ASSERT_EQ(learn().status, 1);
  const auto before = bytes_below(learned_);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(boardsim({"--compare", recording(), "--state", learned_, "--board", "6484"}).status, 0);
    EXPECT_TRUE(bytes_below(learned_) == before);
  }
}

TEST_F(LearnTest, AComparisonTakesNoFolderThatIsNoneOfABoard) {
  const std::vector<std::pair<std::string, std::string>> wrong{
      {directory_.file("mistyped"), " is not there: nothing to compare"},
      {directory_.path().string(), " is no folder of a board"},
      {recording(), " is no folder"}};
  for (const auto& [folder, why] : wrong) {
    const Ended ended = boardsim({"--compare", recording(), "--board", "6484", "--state", folder});
    EXPECT_EQ(ended.status, 64);
    EXPECT_NE(ended.said.find("--state: " + folder + why + " (boardsim --help"), std::string::npos)
        << ended.said;
  }
  EXPECT_TRUE(std::filesystem::is_empty(directory_.path()));
  ASSERT_EQ(learn().status, 1);
  const Ended other = boardsim({"--compare", recording(), "--board", "k", "--state", learned_});
  EXPECT_EQ(other.status, 70);
  EXPECT_NE(other.said.find(learned_ + " belongs to a board \"6484\", not \"k\""), std::string::npos)
      << other.said;
}

TEST_F(LearnTest, WhatWasLearnedGoesIntoAFolderThatIsThere) {
  const std::string nowhere = directory_.file("none");
  const Ended ended =
      boardsim({"--compare", recording(), "--board", "6484", "--learn", nowhere + "/learned"});
  EXPECT_EQ(ended.status, 64);
  EXPECT_NE(ended.said.find("--learn: there is no folder " + nowhere + " for it"), std::string::npos)
      << ended.said;
  EXPECT_FALSE(std::filesystem::exists(nowhere));
}

TEST_F(LearnTest, AFolderThatIsThereIsNotWrittenInto) {
  std::filesystem::create_directory(learned_);
  const Ended ended = learn();
  EXPECT_EQ(ended.status, 64);
  EXPECT_NE(ended.said.find("--learn: " + learned_ + " is there already"), std::string::npos) << ended.said;
  EXPECT_TRUE(std::filesystem::is_empty(learned_));
}

// A board whose partition is larger than the simulated one's: half of it is nothing to start from.
TEST_F(LearnTest, ABoardThatDoesNotFitLeavesNoFolder) {
  constexpr std::int64_t kVoltage = 0x30000, kFar = std::int64_t{1} << 40;
  std::ofstream(directory_.file("far.rec"), std::ios::binary) << changed_recording(
      bytes_of(recording()), boardrec::Call::lseek, number_in_recording(kVoltage), number_in_recording(kFar));
  const Ended ended =
      boardsim({"--compare", directory_.file("far.rec"), "--board", "6484", "--learn", learned_});
  EXPECT_EQ(ended.status, 70);
  EXPECT_NE(ended.said.find("the partition has only "), std::string::npos) << ended.said;
  EXPECT_FALSE(std::filesystem::exists(learned_));
}

TEST_F(LearnTest, AMediumThatTheSimulatedBoardDoesNotHaveIsLeftOutAndSaid) {
  const std::string file = directory_.file("medium.rec");
  std::ofstream(file, std::ios::binary)
      << changed_recording(bytes_of(recording()), boardrec::Call::mount, "/dev/mmc01", "/dev/sdb99");
  const Ended first = boardsim({"--compare", file, "--board", "6484", "--learn", learned_});
  EXPECT_EQ(first.status, 1);
  EXPECT_NE(first.said.find("boardsim: there is no storage medium behind \"/dev/sdb99\": not learned\n"),
            std::string::npos)
      << first.said;
  const Ended second = boardsim({"--compare", recording(), "--board", "6484", "--state", learned_});
  EXPECT_EQ(second.status, 1) << second.said;
}

TEST_F(LearnTest, ASessionThatTellsNothingOfItsBoardLeavesNoFolder) {
  std::ofstream(directory_.file("station")) << "1 connect\n20 end\n";
  const std::string file = directory_.file("idle.rec");
  ASSERT_EQ(boardsim({"--board", "6484", "--pace", "virtual", "--station", directory_.file("station"),
                      "--record", file})
                .status,
            0);
  const Ended ended = boardsim({"--compare", file, "--board", "6484", "--learn", learned_});
  EXPECT_EQ(ended.status, 0);
  EXPECT_NE(ended.said.find("boardsim: nothing was learned: " + learned_ + " is not made\n"),
            std::string::npos)
      << ended.said;
  EXPECT_FALSE(std::filesystem::exists(learned_));
}

TEST_F(LearnTest, WhatWasLearnedAndDamagedStartsNothing) {
  ASSERT_EQ(learn().status, 1);
  std::ofstream(learned_ + "/learned.json") << "{\"format\": 2, \"boot_block\": \"00\"}";
  const std::string file = directory_.file("session.rec");
  const Ended ended = boardsim({"--board", "6484", "--state", learned_, "--record", file});
  EXPECT_EQ(ended.status, 70);
  EXPECT_FALSE(std::filesystem::exists(file));  // nothing was recorded
  EXPECT_NE(ended.said.find("learned.json: its boot block has another size"), std::string::npos)
      << ended.said;
}

}  // namespace
