// Calibration over the wire: a Vsub session by hand, and what the board keeps of it.
#include <chrono>
#include <cstdint>
#include <fstream>

#include "tests/e2e/on_server.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::uint32_t>;

/// Little-endian words that a file holds from an offset on.
Words words_of(const std::string& path, std::streamoff offset, std::size_t count) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(offset);
  Words words;
  for (std::size_t i = 0; i < count; ++i) {
    std::string bytes(4, '\0');
    file.read(bytes.data(), 4);
    words.push_back(length_in(bytes));
  }
  EXPECT_TRUE(file.good()) << path;
  return words;
}

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

TEST(CalibrationTest, AVoltageIsSetShownRaisedSavedShownSweptAndShown) {
  const OwnDirectory directory;
  const std::string state = directory.file("state");
  {
    BoardUnderTest board({"--board", "6455", "--state", state});
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
  EXPECT_EQ(words_of(state + "/mtd4", 0x15FC00, 5), (Words{0xA83, 0xA86, 0x362E37, 0, 0x565A514E})) << "7.6";
  const Words sweep = words_of(state + "/mtd4", 0x15FC40, 2 + 2 * 20);
  EXPECT_EQ(Words(sweep.begin(), sweep.begin() + 2), (Words{0x565A514E, 19}));
  for (std::size_t pair = 0; pair < 19; ++pair) EXPECT_EQ(sweep[2 + 2 * pair], 0xA86 - 18 + 2 * pair);
  EXPECT_EQ(Words(sweep.end() - 2, sweep.end()), (Words{0, 0})) << "no 20th pair";
  EXPECT_EQ(words_of(state + "/mmcblk0p7", 0x30000, 2), (Words{0xA86, 0xA86})) << "as the factory left it";
}

}  // namespace
