// Calibration over the wire: what a board keeps from run to run, a Vsub session by hand, a silent
// application.
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/on_server.h"
#include "tests/e2e/reply.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::uint32_t>;

const Result kPassed{"Pass", "测试成功"};
/// The parameters that the factory left on the eMMC.
const Result kOfTheFactory{"Pass",
                           "\nTG param OK. num = [3] TGVer[10002]\n\n"
                           "{0x00000010, 0x00000001} [0us]\n"
                           "{0x00000011, 0x00000022} [100us]\n"
                           "{0x0000002f, 0x0000abcd} [5000us]\n\n"};
/// Those of /devinfo/TG.bin.
const Result kOfTheFile{"Pass",
                        "\nTG param OK. num = [4] TGVer[20001]\n\n"
                        "{0x00000010, 0x00000001} [0us]\n"
                        "{0x00000011, 0x00000022} [100us]\n"
                        "{0x00000012, 0x00000333} [200us]\n"
                        "{0x0000002f, 0x0000abcd} [5000us]\n\n"};

/// A board that is switched on and off, its factory data in one folder.
class KeptBoardTest : public ::testing::Test {
 protected:
  /// For another station than that of run().
  BoardUnderTest& switch_on_alone(const std::string& family) {
    return board_.emplace(std::vector<std::string>{"--board", family, "--state", directory_.file("state")});
  }
  void switch_on(const std::string& family) {
    station_ = std::make_unique<Station>(switch_on_alone(family));
    station_->take_greeting();
  }
  void switch_off() {
    station_.reset();
    board_.reset();
  }
  ~KeptBoardTest() override { switch_off(); }

  /// A test that takes no time.
  Result run(int code) {
    station_->request(code);
    return take_reply(*station_, code);
  }
  /// Little-endian words that the folder keeps of a partition.
  Words kept(const std::string& partition, std::streamoff offset, std::size_t count) const {
    std::ifstream file(directory_.file("state/" + partition), std::ios::binary);
    file.seekg(offset);
    Words words;
    for (std::size_t i = 0; i < count; ++i) {
      std::uint32_t word = 0;
      for (unsigned shift = 0; shift < 32; shift += 8) {
        word |= static_cast<std::uint32_t>(file.get() & 0xFF) << shift;
      }
      words.push_back(word);
    }
    EXPECT_TRUE(file.good()) << partition;
    return words;
  }

 private:
  OwnDirectory directory_;
  std::optional<BoardUnderTest> board_;
  std::unique_ptr<Station> station_;
};

TEST_F(KeptBoardTest, AnMaBoardShowsInItsNextRunTheParametersThatItStored) {
  switch_on("ma");
  EXPECT_EQ(run(10752), kOfTheFactory);
  EXPECT_EQ(run(10496), kPassed);
  switch_off();
  switch_on("ma");
  EXPECT_EQ(run(10752), kOfTheFile);
}

TEST_F(KeptBoardTest, ABoardWithFlashShowsInItsNextRunTheParametersOfTheFactoryStill) {
  switch_on("6455");
  EXPECT_EQ(run(10496), kPassed);
  switch_off();
  EXPECT_EQ(kept("mtd4", 0x13F800, 3), (Words{0x565A514E, 4, 0x20001})) << "stored all the same";
  switch_on("6455");
  EXPECT_EQ(run(10752), kOfTheFactory);
}

TEST(FactoryDataTest, The6484sOfEveryTypeComeWithTheVoltageOfTheirModel) {
  for (const char* type : {"0x9604", "0x960f", "0x9702", "0x9709"}) {
    BoardUnderTest board({"--board", type});
    Station station(board);
    station.take_greeting();
    station.request(12032);
    EXPECT_EQ(take_reply(station, 12032), (Result{"Fail", "read vsub luma from flash error"}));
    board.expect_complaint("blkNum 21 offset : 64576 error");
    board.expect_complaint("simulated as a normal board of that type");
    board.lines_until("real vsub: 0xab8, original vsub: 0xab8, original voltage: 9.5");
  }
}

// ---- a session by hand ----------------------------------------------------------------------------------

TEST_F(KeptBoardTest, AVoltageIsSetShownRaisedSavedShownSweptAndShown) {
  struct Step {
    int code;
    const char* result;
    const char* description;
    std::vector<std::string> said;  ///< lines of the console among others, in this order
  };
  const char* const kNoPairs = "read vsub luma from flash error";
  // What is set and saved goes to the flash; what is shown and applied is the factory's on the eMMC.
  const std::string shown = "real vsub: 0xa86, original vsub: 0xa86, original voltage: 7.6";
  const std::string no_pairs = "read vsub luma from flash error ret = -1";
  const std::vector<Step> steps = {
      {9728, "passed", "设置成功", {"g_sub_value = 650", "temp_sub_value = 65您输入的数字为 0xa86 "}},
      {12032, "failed", kNoPairs, {shown, no_pairs}},
      {11009, "passed", "测试成功", {"vsub = 0xa86", "只能微调上下24档", "after trim vsub: 0xa85"}},
      {11009, "passed", "测试成功", {"只能微调上下24档", "after trim vsub: 0xa84"}},
      {11009, "passed", "测试成功", {"只能微调上下24档", "after trim vsub: 0xa83"}},
      {11011, "passed", "测试成功", {"success trim vsub success: 0xa86"}},
      {12032, "failed", kNoPairs, {shown, no_pairs}},
      {11776, "passed", "测试成功", {"flash vsub: 0xa86", no_pairs}},
      {12032, "failed", kNoPairs, {shown, no_pairs}},
  };

  BoardUnderTest& board = switch_on_alone("6455");
  board.expect_complaint("blkNum 21 offset : 64576 error");
  board.settle();
  StationClient client(board.address(),
                       {"--param", "650", "set-sub-6455", "print-sub", "add-sub-6455", "add-sub-6455",
                        "add-sub-6455", "save-sub-6455", "print-sub", "auto-sub", "print-sub"});
  for (const Step& step : steps) {
    if (step.code == 11776) {
      board.lines_until("t1_sdk_autoCCDLevel");
      board.advance(19 * 200ms + 50ms + 2 * 20ms);  // readings, a pause, the application's two answers
    }
    for (const std::string& line : step.said) board.lines_until(line);
  }
  pass_leave(board);
  EXPECT_EQ(client.exit_status(), 1) << "showing fails on every board";

  const nlohmann::json tests = client.report().at("tests");
  ASSERT_EQ(tests.size(), steps.size());
  for (std::size_t i = 0; i < steps.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(tests[i].at("code"), steps[i].code);
    EXPECT_EQ(tests[i].at("result"), steps[i].result);
    EXPECT_EQ(tests[i].at("description"), steps[i].description);
  }
  switch_off();
  EXPECT_EQ(kept("mtd4", 0x15FC00, 5), (Words{0xA83, 0xA86, 0x362E37, 0, 0x565A514E})) << "7.6";
  const Words sweep = kept("mtd4", 0x15FC40, 2 + 2 * 20);
  EXPECT_EQ(Words(sweep.begin(), sweep.begin() + 2), (Words{0x565A514E, 19}));
  for (std::size_t pair = 0; pair < 19; ++pair) EXPECT_EQ(sweep[2 + 2 * pair], 0xA86 - 18 + 2 * pair);
  EXPECT_EQ(Words(sweep.end() - 2, sweep.end()), (Words{0, 0})) << "no 20th pair";
  EXPECT_EQ(kept("mmcblk0p7", 0x30000, 2), (Words{0xA86, 0xA86})) << "as the factory left it";
}

// ---- a silent application -------------------------------------------------------------------------------

TEST(SilentApplicationTest, AnMaTestWaitsForItWithoutEndWhileHeartbeatsGoOn) {
  BoardUnderTest board({"--board", "ma", "--fault", "app silent"});
  Station station(board);
  station.take_greeting();
  station.request(10769);
  board.lines_until("T1_TESTCODE_MA");
  board.expect_lines({"t1_sdk_ma", "t1_sdk_ma will begin"});
  for (int i = 0; i < 36; ++i) {
    board.advance(100s);
    station.expect_prompts(20);
  }
  EXPECT_EQ(board.now(), 1h);
  EXPECT_FALSE(station.is_closed());
  EXPECT_EQ(board.trace_of(" recv application "), Lines()) << "the call has not returned";
  board.switch_off();
  board.exit_status();
  EXPECT_EQ(board.remaining_lines(), Lines()) << "nothing more was said";
}

}  // namespace
