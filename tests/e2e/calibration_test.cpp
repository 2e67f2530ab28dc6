// Calibration over the wire: what a board keeps from run to run, a Vsub session by hand, a silent
// application.
#include <chrono>
#include <cstdint>
#include <fstream>

#include "tests/e2e/on_server.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::uint32_t>;

/// The parameters that the factory left on the eMMC.
constexpr char kOfTheFactory[] =
    "\nTG param OK. num = [3] TGVer[10002]\n\n{0x00000010, 0x00000001} [0us]\n"
    "{0x00000011, 0x00000022} [100us]\n{0x0000002f, 0x0000abcd} [5000us]\n\n";
/// Those of /devinfo/TG.bin.
constexpr char kOfTheFile[] =
    "\nTG param OK. num = [4] TGVer[20001]\n\n{0x00000010, 0x00000001} [0us]\n"
    "{0x00000011, 0x00000022} [100us]\n{0x00000012, 0x00000333} [200us]\n{0x0000002f, 0x0000abcd} "
    "[5000us]\n\n";

/// A board that is switched on and off, its factory data in one folder.
class KeptBoardTest : public ::testing::Test {
 protected:
  std::vector<std::string> options(const std::string& family) const {
    return {"--board", family, "--state", directory_.file("state")};
  }
  /// What a board passes with that is asked for the parameters.
  static std::string parameters(Station& station) {
    station.request(10752);
    const Reply reply = station.next_result();
    EXPECT_EQ(reply.value, "Pass");
    return reply.description;
  }
  /// Little-endian words that the folder keeps of a partition.
  Words kept(const std::string& partition, std::streamoff offset, std::size_t count) const {
    std::ifstream file(directory_.file("state/" + partition), std::ios::binary);
    file.seekg(offset);
    Words words;
    for (std::size_t i = 0; i < count; ++i) {
      std::string bytes(4, '\0');
      file.read(bytes.data(), 4);
      words.push_back(length_in(bytes));
    }
    EXPECT_TRUE(file.good()) << partition;
    return words;
  }

 private:
  OwnDirectory directory_;
};

TEST_F(KeptBoardTest, ParametersThatWereStoredAreShownInTheNextRunOnMaBoardsOnly) {
  for (const std::string family : {"ma", "6455"}) {
    SCOPED_TRACE(family);
    {
      BoardUnderTest board(options(family));
      Station station = board.greeted_station();
      station.request(10496);
      EXPECT_EQ(station.next_result().value, "Pass");
    }
    {
      BoardUnderTest board(options(family));
      Station station = board.greeted_station();
      EXPECT_EQ(parameters(station), family == "ma" ? kOfTheFile : kOfTheFactory);
    }
    std::filesystem::remove_all(options(family).back());
  }
}

// ---- a session by hand ----------------------------------------------------------------------------------

/// One test of the session.
struct Step {
  int code;
  const char* result;
  const char* description;
  std::vector<std::string> said;  ///< lines of the console among others, in this order
};

constexpr char kNoPairs[] = "read vsub luma from flash error";
// What is set and saved goes to the flash; what is shown and applied is the factory's on the eMMC.
constexpr char kShown[] = "real vsub: 0xa86, original vsub: 0xa86, original voltage: 7.6";
constexpr char kNoPairsSaid[] = "read vsub luma from flash error ret = -1";

const std::vector<Step> kSession = {
    {9728, "passed", "设置成功", {"g_sub_value = 650", "temp_sub_value = 65您输入的数字为 0xa86 "}},
    {12032, "failed", kNoPairs, {kShown, kNoPairsSaid}},
    {11009, "passed", "测试成功", {"vsub = 0xa86", "只能微调上下24档", "after trim vsub: 0xa85"}},
    {11009, "passed", "测试成功", {"只能微调上下24档", "after trim vsub: 0xa84"}},
    {11009, "passed", "测试成功", {"只能微调上下24档", "after trim vsub: 0xa83"}},
    {11011, "passed", "测试成功", {"success trim vsub success: 0xa86"}},
    {12032, "failed", kNoPairs, {kShown, kNoPairsSaid}},
    {11776, "passed", "测试成功", {"flash vsub: 0xa86", kNoPairsSaid}},
    {12032, "failed", kNoPairs, {kShown, kNoPairsSaid}},
};

TEST_F(KeptBoardTest, AVoltageIsSetShownRaisedSavedShownSweptAndShown) {
  {
    BoardUnderTest board(options("6455"));
    board.expect_complaint("blkNum 21 offset : 64576 error");
    board.settle();
    StationClient client(board.address(),
                         {"--param", "650", "set-sub-6455", "print-sub", "add-sub-6455", "add-sub-6455",
                          "add-sub-6455", "save-sub-6455", "print-sub", "auto-sub", "print-sub"});
    for (const Step& step : kSession) {
      if (step.code == 11776) {
        board.lines_until("t1_sdk_autoCCDLevel");
        board.advance(19 * 200ms + 50ms + 2 * 20ms);  // readings, a pause, the application's two answers
      }
      for (const std::string& line : step.said) board.lines_until(line);
    }
    pass_leave(board);
    EXPECT_EQ(client.exit_status(), 1) << "showing fails on every board";
    const nlohmann::json tests = client.report().at("tests");
    ASSERT_EQ(tests.size(), kSession.size());
    for (std::size_t i = 0; i < kSession.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(tests[i].at("code"), kSession[i].code);
      EXPECT_EQ(tests[i].at("result"), kSession[i].result);
      EXPECT_EQ(tests[i].at("description"), kSession[i].description);
    }
  }
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
  Station station = board.greeted_station();
  station.request(10769);
  board.lines_until("t1_sdk_ma will begin");
  for (int i = 0; i < 36; ++i) {
    board.advance(100s);
    station.expect_prompts(20);
  }
  EXPECT_EQ(board.now(), 1h);
  EXPECT_FALSE(station.closed_by_board());
  EXPECT_EQ(board.trace_of(" recv application "), Lines()) << "the call has not returned";
}

}  // namespace
