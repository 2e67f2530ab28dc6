// The storage media and the RS485 ports over the wire: what the station reads and what the hardware sees.
#include <chrono>
#include <memory>
#include <string>

#include "tests/e2e/on_server.h"
#include "tests/e2e/reply.h"

namespace {

using namespace std::chrono_literals;

// Whole records, made like those of golden.h.
constexpr char kUsbPasses[] =
    "fb0000003c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e0d0a3c5465737449"
    "74656d3e0d0a3c54657374436f64653e343630383c2f54657374436f64653e0d0a3c546573744e616d653eb2e2cad455"
    "53423c2f546573744e616d653e0d0a3c526573756c743e0d0a3c526573756c744974656d3e0d0a3c4e616d653eb2e2ca"
    "d4bde1b9fb3c2f4e616d653e0d0a3c56616c75653e506173733c2f56616c75653e0d0a3c4465736372697074696f6e3e"
    "b2e2cad4b3c9b9a63c2f4465736372697074696f6e3e0d0a3c2f526573756c744974656d3e0d0a3c2f526573756c743e"
    "0d0a3c2f546573744974656d3e0d0a";
constexpr char kCardPasses[] =
    "fc0000003c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e0d0a3c5465737449"
    "74656d3e0d0a3c54657374436f64653e343335323c2f54657374436f64653e0d0a3c546573744e616d653eb2e2cad453"
    "44bfa83c2f546573744e616d653e0d0a3c526573756c743e0d0a3c526573756c744974656d3e0d0a3c4e616d653eb2e2"
    "cad4bde1b9fb3c2f4e616d653e0d0a3c56616c75653e506173733c2f56616c75653e0d0a3c4465736372697074696f6e"
    "3eb2e2cad4b3c9b9a63c2f4465736372697074696f6e3e0d0a3c2f526573756c744974656d3e0d0a3c2f526573756c74"
    "3e0d0a3c2f546573744974656d3e0d0a";
constexpr char kRs485Passes[] =
    "fd0000003c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e0d0a3c5465737449"
    "74656d3e0d0a3c54657374436f64653e313032343c2f54657374436f64653e0d0a3c546573744e616d653e5253343835"
    "b2e2cad43c2f546573744e616d653e0d0a3c526573756c743e0d0a3c526573756c744974656d3e0d0a3c4e616d653eb2"
    "e2cad4bde1b9fb3c2f4e616d653e0d0a3c56616c75653e506173733c2f56616c75653e0d0a3c4465736372697074696f"
    "6e3eb2e2cad4b3c9b9a63c2f4465736372697074696f6e3e0d0a3c2f526573756c744974656d3e0d0a3c2f526573756c"
    "743e0d0a3c2f546573744974656d3e0d0a";

constexpr int kUsb = 4608;
constexpr int kCard = 4352;
constexpr int kRs485 = 1024;
constexpr int kPanAndTilt = -16;

/// A board of any family with a greeted station.
class CommTest : public ::testing::Test {
 protected:
  ~CommTest() override { station_.reset(); }

  void switch_on(const std::vector<std::string>& options) {
    box_ = std::make_unique<BoardUnderTest>(options);
    station_ = std::make_unique<Station>(*box_);
    station_->take_greeting();
    box_->lines_until("HeartBeatThread started");
  }
  BoardUnderTest& board() { return *box_; }
  Station& station() { return *station_; }
  /// Requests a test and lets its time pass.
  void run(int code, BoardUnderTest::Time time) {
    station().request(code);
    board().advance(time);
    board().lines_until(request_of(code));
  }
  /// The reply as it came.
  std::string record() {
    int prompts = 0;
    return station().next_reply(prompts);
  }
  /// The calls in the trace that contain a text, without their times.
  Lines calls_of(std::string_view text) {
    Lines calls = board().trace_of(text);
    for (std::string& call : calls) call.erase(0, call.find(' ') + 1);
    return calls;
  }

 private:
  std::unique_ptr<BoardUnderTest> box_;
  std::unique_ptr<Station> station_;
};

// ---- storage media --------------------------------------------------------------------------------------

using BoardStorageTest = CommTest;

TEST_F(BoardStorageTest, BothSticksOfAKBoardPass) {
  switch_on({"--board", "k"});
  run(kUsb, 1s);
  EXPECT_EQ(record(), kUsbPasses);
  board().lines_until("**********USB1[/dev/msbd1]测试开始**********");
  board().lines_until("USB1完成25(M)读写数据测试,错误数据0(8bit)");
  board().lines_until("**********USB2[/dev/msb1]测试开始**********");
  board().lines_until("USB2完成25(M)读写数据测试,错误数据0(8bit)");
  board().lines_until("**********USB2[/dev/msb1]测试完毕**********");
  EXPECT_EQ(calls_of("mount "), (Lines{"mount /dev/msbd1 /mnt/test vfat 0 = 0", "umount /mnt/test = 0",
                                       "mount /dev/msb1 /mnt/test vfat 0 = 0", "umount /mnt/test = 0"}));
  EXPECT_EQ(calls_of("write /mnt/test/usbtest.dat 1048576 = 1048576").size(), 50U);
}

TEST_F(BoardStorageTest, AStickThatIsMissingFails) {
  switch_on({"--board", "k", "--fault", "medium /dev/msb1 absent"});
  run(kUsb, 500ms);
  EXPECT_EQ(take_reply(station(), kUsb), (Result{"Fail", "挂载失败"}));
  board().lines_until("fail num = 1");
}

TEST_F(BoardStorageTest, TheCardOfAKBoardPasses) {
  switch_on({"--board", "k"});
  run(kCard, 500ms);
  EXPECT_EQ(record(), kCardPasses);
  board().lines_until("SD[/dev/mmc01]测试开始.");
  board().lines_until("SD卡完成25(M)读写数据测试,错误数据0(8bit)");
  EXPECT_EQ(calls_of("mount "), (Lines{"mount /dev/mmc01 /mnt/test vfat 0 = 0", "umount /mnt/test = 0"}));
}

// ---- RS485 ports ----------------------------------------------------------------------------------------

using BoardRs485Test = CommTest;

TEST_F(BoardRs485Test, TheRingOfAKBoardPasses) {
  switch_on({"--board", "k"});
  run(kRs485, 6s);
  EXPECT_EQ(record(), kRs485Passes);
  board().lines_until("打开五个485口成功。");
  board().lines_until("<t1>RS485测试完成，RS485_1、RS485_2、RS485_3、RS485_4、RS485_5、测试均通过.");
  Lines expected;
  for (const char* const end : {" 15 = 15", " 7 = 7"}) {
    for (int port = 1; port <= 5; ++port) {
      expected.push_back("write /dev/uart" + std::to_string(port) + end);
    }
  }
  EXPECT_EQ(calls_of("write /dev/uart"), expected);
  EXPECT_EQ(board().open_nodes(), Lines{});
}

TEST_F(BoardRs485Test, ARingThatIsCutFails) {
  switch_on({"--board", "k", "--fault", "rs485 2 3 open"});
  run(kRs485, 9s);
  EXPECT_EQ(take_reply(station(), kRs485), (Result{"Fail", "&lt;t1&gt;ERROR RS485_2/RS485_3测试不通过."}))
      << "as it stands in the record";
  board().lines_until("fail num = 4");
}

TEST_F(BoardRs485Test, TheEchoOfANormalBoardPassesWithThePartner) {
  switch_on({});
  run(kRs485, 7s);
  EXPECT_EQ(record(), kRs485Passes);
  board().lines_until("<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75");
  board().lines_until("<t1>第二次接收数据并且校验正确。测试完成");
}

TEST_F(BoardRs485Test, AFrameThatTheLineDisturbsFailsTheEcho) {
  switch_on({"--fault", "rs485 partner flips 15"});
  run(kRs485, 7s);
  EXPECT_EQ(take_reply(station(), kRs485), (Result{"Fail", "第一次接收数据并且校验错误"}));
  board().lines_until("fail num = 5");
}

TEST_F(BoardRs485Test, APanAndTiltPortPassesAndAnswersAsTheRs485Test) {
  switch_on({});
  run(kPanAndTilt, 10s);
  EXPECT_EQ(record(), kRs485Passes);
  board().lines_until("!!!485测试全部成功!!!");
  EXPECT_EQ(calls_of("write /dev/ttyS1"), Lines(5, "write /dev/ttyS1 16 = 16"));
}

TEST_F(BoardRs485Test, AStationPlaysThePartnerOnASerialDeviceOfThePc) {
  const OwnDirectory directory;
  const std::string device = directory.file("uart1");
  switch_on({"--uart1", device});
  run(kRs485, 6s);
  board().lines_until("车检器检测线程已经停止，请在60秒内输入485测试数据");
  Child partner({T1STATION_PROGRAM, "rs485-echo", device, "--timeout", "60"});
  board().lines_until("<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75");
  board().advance(10ms);  // in which the echo's bits go over the line
  board().lines_until("<t1>第二次接收数据并且校验正确。测试完成");
  EXPECT_EQ(record(), kRs485Passes);
  EXPECT_EQ(partner.exit_status(), 0);
  EXPECT_TRUE(partner.rest().ends_with("the echo is right\n"));
}

}  // namespace
