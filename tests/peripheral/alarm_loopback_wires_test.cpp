// What the loopback variants say about one bad wire, one bad output, one pair of shorted lines.
#include <cctype>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/peripheral/alarm_loopback_board.h"

namespace {

using enum PortFault;

/// A fault on a variant's board, and the ports that fail for it.
struct WireFault {
  const char* variant;
  std::uint32_t type;  ///< 0: that of the family
  const char* fault;
  PortFaults ports;
};

// clang-format off
const WireFault kWireFaults[] = {
    // The third output serves T3, T4 and SYNC.
    {"Normal", 0, "output F1 dead",   {{"T1", open}}},
    {"Normal", 0, "output F2 dead",   {{"T2", open}}},
    {"Normal", 0, "output F3 dead",   {{"T3", open}, {"T4", open}, {"SYNC", open}}},
    {"Normal", 0, "output F1 closed", {{"T1", shorted}}},
    {"Normal", 0, "output F2 closed", {{"T2", shorted}}},
    {"Normal", 0, "output F3 closed", {{"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T1 T2",      {{"T1", shorted}, {"T2", shorted}}},
    // T3, T4 and SYNC hang on one contact, so what is shorted to one of them is shorted to all.
    {"Normal", 0, "short T1 T3",      {{"T1", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T1 T4",      {{"T1", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T1 SYNC",    {{"T1", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T2 T3",      {{"T2", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T2 T4",      {{"T2", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T2 SYNC",    {{"T2", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T1 GND",     {{"T1", shorted}}},
    {"Normal", 0, "short T2 GND",     {{"T2", shorted}}},
    {"Normal", 0, "short T3 GND",     {{"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short T4 GND",     {{"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0, "short SYNC GND",   {{"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    // The short values say the same.
    {"Normal", 0x27202, "output F3 dead",   {{"T3", open}, {"T4", open}, {"SYNC", open}}},
    {"Normal", 0x27203, "output F1 closed", {{"T1", shorted}}},
    {"Normal", 0x27204, "short T1 T2",      {{"T1", shorted}, {"T2", shorted}}},
    {"Normal", 0x27205, "short T2 T4",      {{"T2", shorted}, {"T3", shorted}, {"T4", shorted}, {"SYNC", shorted}}},
    {"Normal", 0x970E,  "wire T2 cut",      {{"T2", open}}},

    {"K", 0, "output F1 dead",   {{"T1", open}}},
    {"K", 0, "output F2 dead",   {{"T2", open}}},
    {"K", 0, "output F3 dead",   {{"T3", open}}},
    {"K", 0, "output F4 dead",   {{"T4", open}}},
    {"K", 0, "output F5 dead",   {{"T5", open}}},
    {"K", 0, "output F6 dead",   {{"T6", open}}},
    {"K", 0, "output F7 dead",   {{"T7", open}}},
    {"K", 0, "output F8 dead",   {{"SYNC", open}}},
    {"K", 0, "output F9 dead",   {{"SYNC", open}}},
    {"K", 0, "output F1 closed", {{"T1", shorted}}},
    {"K", 0, "output F2 closed", {{"T2", shorted}}},
    {"K", 0, "output F3 closed", {{"T3", shorted}}},
    {"K", 0, "output F4 closed", {{"T4", shorted}}},
    {"K", 0, "output F5 closed", {{"T5", shorted}}},
    {"K", 0, "output F6 closed", {{"T6", shorted}}},
    {"K", 0, "output F7 closed", {{"T7", shorted}}},
    {"K", 0, "short T1 T2",      {{"T1", shorted}, {"T2", shorted}}},
    {"K", 0, "short T3 T4",      {{"T3", shorted}, {"T4", shorted}}},
    {"K", 0, "short T3 T5",      {{"T3", shorted}, {"T5", shorted}}},
    {"K", 0, "short T4 T6",      {{"T4", shorted}, {"T6", shorted}}},
    {"K", 0, "short T5 T6",      {{"T5", shorted}, {"T6", shorted}}},
    {"K", 0, "short T5 T7",      {{"T5", shorted}, {"T7", shorted}}},
    {"K", 0, "short T7 SYNC",    {{"T7", shorted}, {"SYNC", shorted}}},
    {"K", 0x97C2, "output F7 dead",   {{"T7", open}}},
    {"K", 0x9615, "output F4 closed", {{"T4", shorted}}},
    {"K", 0x97C2, "output F8 dead",   {{"SYNC", open}}},
    {"K", 0x9615, "short T5 T7",      {{"T5", shorted}, {"T7", shorted}}},
    // With short values the outputs are released before SYNC is looked at, so that T7 alone notices.
    {"K", 0x97C2, "short T7 SYNC",    {{"T7", shorted}}},

    {"Ma", 0, "output F1 dead",   {{"T1", open}}},
    {"Ma", 0, "output F2 dead",   {{"T2", open}}},
    {"Ma", 0, "output F3 dead",   {{"T3", open}}},
    {"Ma", 0, "output F4 dead",   {{"T4", open}}},
    {"Ma", 0, "output F1 closed", {{"T1", shorted}}},
    {"Ma", 0, "output F2 closed", {{"T2", shorted}}},
    {"Ma", 0, "output F3 closed", {{"T3", shorted}}},
    {"Ma", 0, "output F4 closed", {{"T4", shorted}}},
    {"Ma", 0, "output F5 dead",   {{"SYNC", open}}},
    {"Ma", 0, "output F6 dead",   {{"SYNC", open}}},
    {"Ma", 0, "short T1 T2",      {{"T1", shorted}, {"T2", shorted}}},
    {"Ma", 0, "short T3 T4",      {{"T3", shorted}, {"T4", shorted}}},
    {"Ma", 0, "short T2 SYNC",    {{"T2", shorted}, {"SYNC", shorted}}},

    {"Driver", 0, "output F1 dead",   {{"T1", open}}},
    {"Driver", 0, "output F2 dead",   {{"T2", open}}},
    {"Driver", 0, "output F3 dead",   {{"T3", open}}},
    {"Driver", 0, "output F4 dead",   {{"T4", open}}},
    {"Driver", 0, "output F5 dead",   {{"SYNC", open}}},
    {"Driver", 0, "output F1 closed", {{"T1", shorted}}},
    {"Driver", 0, "output F2 closed", {{"T2", shorted}}},
    {"Driver", 0, "output F3 closed", {{"T3", shorted}}},
    {"Driver", 0, "output F4 closed", {{"T4", shorted}}},
    {"Driver", 0, "output F5 closed", {{"SYNC", shorted}}},
    {"Driver", 0, "short T1 T2",      {{"T1", shorted}, {"T2", shorted}}},
    {"Driver", 0, "short T3 T4",      {{"T3", shorted}, {"T4", shorted}}},
    {"Driver", 0xA60A0, "wire T1 cut",      {{"T1", open}}},
    {"Driver", 0xA60A3, "output F5 dead",   {{"SYNC", open}}},
    {"Driver", 0xA6005, "short T2 T4",      {{"T2", shorted}, {"T4", shorted}}},
};
// clang-format on

Loopback variant_of(const WireFault& fault) {
  for (const Loopback& variant : loopbacks()) {
    if (std::string_view(variant.name) == fault.variant) return variant;
  }
  throw std::invalid_argument(fault.variant);
}

std::string name_of(const WireFault& fault) {
  std::string name = fault.variant;
  if (fault.type != 0) name += "Type" + std::to_string(fault.type);
  bool capital = true;
  for (const char* c = fault.fault; *c != '\0'; ++c) {
    if (*c != ' ') name += static_cast<char>(capital ? std::toupper(*c) : *c);
    capital = *c == ' ';
  }
  return name;
}

class AlarmWireFaultTest : public AlarmLoopbackBoard, public ::testing::WithParamInterface<WireFault> {
 protected:
  AlarmWireFaultTest() : AlarmLoopbackBoard(variant_of(GetParam()).family) {
    if (GetParam().type != 0) board.set_type(GetParam().type);
  }
  const Loopback variant = variant_of(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Faults, AlarmWireFaultTest, ::testing::ValuesIn(kWireFaults),
                         [](const auto& test) { return name_of(test.param); });

TEST_P(AlarmWireFaultTest, AFaultFailsItsPortsInBothCyclesAndNoOther) {
  const PortFaults& ports = GetParam().ports;
  board.fault(GetParam().fault);
  variant.run(0, kCode);
  EXPECT_EQ(console_without_words(), run_console(variant, 0, ports, ports) + "fail num = 10\n");
  EXPECT_EQ(console.err(), summary(2));
  expect_reply("Fail", last_description(variant, ports));
}

// ---- what no port can find -------------------------------------------------------------------------------

class AlarmHiddenFaultTest : public AlarmLoopbackBoard {};

TEST_F(AlarmHiddenFaultTest, InputsOfOneOutputMayBeShortedUnnoticed) {
  for (const char* fault : {"short T3 T4", "short T3 SYNC", "short T4 SYNC"}) {
    board.clear_faults();
    board.fault(fault);
    station.forget();
    alarm_test_64xx(0, kCode);
    expect_reply("Pass", "测试成功");
  }
}

TEST_F(AlarmHiddenFaultTest, OneOfTwoOutputsBehindSyncMayBeStuckClosedUnnoticed) {
  with_family("ma");
  for (const char* fault : {"output F5 closed", "output F6 closed"}) {
    board.clear_faults();
    board.fault(fault);
    station.forget();
    alarm_test_64xx_19(0, kCode);
    expect_reply("Pass", "测试成功");
  }
  with_family("k");
  for (const char* fault : {"output F8 closed", "output F9 closed"}) {
    board.clear_faults();
    board.fault(fault);
    station.forget();
    alarm_test_64xx_k(3, kCode);
    expect_reply("Pass", "测试成功");
  }
}

class AlarmKShortSyncTest : public AlarmLoopbackBoard, public ::testing::WithParamInterface<std::uint32_t> {
 protected:
  AlarmKShortSyncTest() : AlarmLoopbackBoard("k") { board.set_type(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Types, AlarmKShortSyncTest, ::testing::Values(0x97C2, 0x9615));

TEST_P(AlarmKShortSyncTest, WithShortValuesThePortsButNotSyncNoticeAShortBetweenThem) {
  const Loopback variant = loopbacks()[1];
  for (const char* port : {"T1", "T2", "T3", "T4", "T5", "T6", "T7"}) {
    SCOPED_TRACE(port);
    board.clear_faults();
    board.fault(std::string("short ") + port + " SYNC");
    station.forget();
    console.clear();
    alarm_test_64xx_k(3, kCode);
    const PortFaults only_the_port = {{port, shorted}};
    EXPECT_EQ(console.out(), run_console(variant, 3, only_the_port, only_the_port) + "fail num = 10\n");
    expect_reply("Fail", last_description(variant, only_the_port));
  }
}

}  // namespace
