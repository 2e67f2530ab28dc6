// Every test code over the wire, on boards of every family that is given it: a healthy board passes, one
// fault each gives its diagnosis.
#include <chrono>
#include <ostream>

#include "tests/e2e/on_server.h"

namespace {

using namespace std::chrono_literals;

/// What a test came to.
struct Result {
  std::string value;
  std::string description;
  bool operator==(const Result&) const = default;
};

void PrintTo(const Result& result, std::ostream* out) {
  *out << result.value << " " << result.description;
}

/// A code on a healthy board, then with a fault.
struct Row {
  int code;
  std::chrono::milliseconds length;  ///< of the longer run
  const char* fault;
  Result result;     ///< with the fault
  const char* said;  ///< how a line on the console then starts; null: the description tells enough
  const char* success = "测试成功";  ///< the description of the healthy run
};

/// A family and its codes.
struct Family {
  const char* name;
  std::vector<Row> rows;
};

// clang-format off
const Row kNormal520{520, 6500ms, "wire T1 cut", {"Fail", "测试失败:T1不通或(F1+F1-)短路!!!"}, nullptr};
const Row kNormal521{521, 6500ms, "short T1 T2", {"Fail", "测试失败:(F2+F2-)或(T1T2)或(T2T4)短路!!!"}, "F1+、F1-短路或T1、T2短路或T1、T3短路"};
const Row kNormal528{528, 6500ms, "input SYNC stuck high", {"Fail", "测试失败:SYNC不通或(F3+F3-)短路!!!"}, nullptr};
const Row kDriver520{520, 11500ms, "output F2 dead", {"Fail", "测试失败:T2不通或(F2+F2-)短路!!!"}, nullptr};
const Row kRkd535{535, 25500ms, "wire T1 cut", {"Fail", ""}, "报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:1."};
const Row kRkd69634{69634, 25500ms, "output A1 dead", {"Fail", ""}, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1."};
const Row kMotor{1792, 50ms, "motor rejects move 5", {"Fail", "返回到光电开关位置失败"}, " back to e error, ret=-1, errno:5"};
const Row kRkdMotor{1792, 1000ms, "motor rejects move 1", {"Fail", "到光电开关位置失败"}, "1"};
const Row kMagnet{1792, 20s, "ioctl /dev/qznio 0x40044704 #1", {"Fail", "测试成功"}, "ICR切换失败"};
const Row kRkdLight{69633, 10s, "open /dev/qznio", {"Pass", ""}, "set_pwm_light open qznio error", ""};

const Family kFamilies[] = {
    {"normal", {kNormal520, kNormal521, kNormal528, kMotor,
                {1024, 7s, "rs485 partner flips 15", {"Fail", "第一次接收数据并且校验错误"}, "fail num = 5"},
                {1536, 6s, "rtc stopped", {"Fail", "测试成功"}, "fail num = 3"},
                {7426, 0s, "sensors none", {"Fail", "未发现温度传感器"}, "未发现温度传感器"},
                {14592, 10s, "open /dev/qznio", {"Pass", ""}, "board_test,pwm_set: open /dev/qznio error.", ""}}},
    {"6455",   {kNormal520, kNormal521, kNormal528}},
    {"6485",   {kNormal520, kNormal521, kNormal528}},
    {"6484",   {kNormal520, kNormal521, kNormal528}},
    {"k",      {{520, 6500ms, "wire T4 cut", {"Fail", "测试失败:T4不通或(F3+F3-)短路!!!"}, nullptr},
                {530, 10500ms, "wire T4 cut", {"Fail", "测试失败:T4不通或(F4+F4-)短路!!!"}, nullptr},
                {1024, 9s, "rs485 2 3 open", {"Fail", "<t1>ERROR RS485_2/RS485_3测试不通过."}, "fail num = 4"},
                {4352, 500ms, "medium /dev/mmc01 absent", {"Fail", "挂载失败"}, "fail num = 1"},
                {4608, 1s, "medium /dev/msb1 absent", {"Fail", "挂载失败"}, "fail num = 1"},
                kMotor}},
    {"63xx",   {{513, 5s, "wire T1 cut", {"Fail", "测试失败"}, "报警输入1,报警输出1测试失败,alarm_in.value:1."},
                {1792, 9s, "system #1", {"Pass", "测试成功"}, "icr向白天切换 failed!"}}},
    {"68xx",   {kDriver520, kMotor}},
    {"68xx-fpga", {{518, 10500ms, "wire T2 cut", {"Fail", "测试失败"},
                    "##1 0x1 0x1 0x1 0x1 0x0 0x80000018, 失败,trigger_in=0x0002,ref=0x0000"},
                   {520, 6500ms, "short T3 GND", {"Fail", "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!"}, nullptr}}},
    {"6444",   {{519, 10500ms, "output F5 dead", {"Fail", "测试失败"},
                 "##3 0x0 0x0 0x0 0x1 0x1 0x80000018, 失败,trigger_in=0x0008,ref=0x0000"}}},
    {"6444-j", {{534, 8s, "wire T3 cut", {"Fail", "测试失败"},
                 "##2 0x0 0x0 0x0 0x0 0x0 0xC0000018, 失败,trigger_in=0x0006,ref=0x0002"}}},
    {"loop",   {{518, 10500ms, "short T1 T3", {"Fail", "测试失败"},
                 "##1 0x1 0x1 0x1 0x1 0x0 0x80000018, 失败,trigger_in=0x0002,ref=0x0003"},
                kMagnet}},
    {"loop-c", {{518, 10500ms, "wire T4 cut", {"Fail", "测试失败"},
                 "##1 0x1 0x1 0x1 0x1 0x0 0x80000018, 失败,trigger_in=0x000b,ref=0x0003"},
                kMagnet}},
    {"ma",     {{520, 6500ms, "short SYNC GND", {"Fail", "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!"}, nullptr},
                kMotor}},
    {"65xx",   {{531, 5500ms, "wire T10 cut", {"Fail", "测试失败"}, "##有报警输入测试,失败,ret=0x0200,ref=0x0000"},
                {1792, 10210ms, "open /dev/qznio #2", {"Fail", "打开/dev/qznio失败"}, "打开/dev/qznio失败"}}},
    {"65xx-level", {{532, 5500ms, "short T1 T9", {"Fail", "测试失败"}, "##无报警输入测试,失败,ret=0x0200,ref=0x0300"}}},
    {"rkd1",   {kDriver520, kRkd535, kRkd69634, kRkdMotor, kRkdLight}},
    {"rkd2",   {kDriver520, kRkd535, kRkd69634, kRkdMotor, kRkdLight}},
};
// clang-format on

void PrintTo(const Family& family, std::ostream* out) {
  *out << family.name;
}

class CodesTest : public OnServer, public ::testing::WithParamInterface<Family> {
 protected:
  CodesTest() : OnServer({"--board", GetParam().name}), station(board.greeted_station()) {
    board.expect_complaint("报警I/O口完成");  // the summary of a run
    board.expect_complaint("Open /dev/qznio: No such device");
  }
  /// Requests a test, lets its usual time pass and takes its reply.
  Result run(const Row& row) {
    station.request(row.code);
    board.settle();
    if (row.length > 0ms) board.advance(row.length);
    const Reply reply = station.next_result();
    EXPECT_EQ(reply.code, row.code);
    board.lines_until(request_of(row.code));
    return {reply.value, reply.description};
  }

  Station station;
};

INSTANTIATE_TEST_SUITE_P(Of, CodesTest, ::testing::ValuesIn(kFamilies), [](const auto& row) {
  std::string name = row.param.name;
  for (char& letter : name) letter = letter == '-' ? '_' : letter;
  return name;
});

TEST_P(CodesTest, PassOnAHealthyBoardAndNameOneFaultEach) {
  for (const Row& row : GetParam().rows) {
    SCOPED_TRACE(row.code);
    EXPECT_EQ(run(row), (Result{"Pass", row.success}));
    board.fault(row.fault);
    EXPECT_EQ(run(row), row.result) << row.fault;
    if (row.said != nullptr) board.lines_until(row.said);
    board.clear_faults();
  }
}

// ---- restart --------------------------------------------------------------------------------------------

class ReturningRestartTest : public OnServer {
 protected:
  ReturningRestartTest() : OnServer({"--reboot", "return"}) {}
};

TEST_F(ReturningRestartTest, WhenTheRestartCallReturnsTheServerGoesOn) {
  Station station = board.greeted_station();
  station.request(-15);
  board.advance(1s);
  EXPECT_EQ(station.next_result().value, "Pass");
  EXPECT_EQ(board.trace_of(" reboot "), Lines{"1.000000 reboot 0x1234567 = 0"});
  expect_temperature(station);
}

}  // namespace
