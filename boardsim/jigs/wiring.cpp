// The tables of the factory jigs. Where several tests of a board drive the same outputs and expect other
// inputs, each has a jig of its own.
#include "boardsim/jigs/wiring.h"

namespace boardsim {
namespace {

using enum Driver;
using enum Sign;

// FPGA registers that hold outputs. Relays have one register each, from 81 on.
constexpr std::uint32_t kLow = 0x2002;
constexpr std::uint32_t kHigh = 0x2018;

constexpr std::uint32_t bit(unsigned number) {
  return std::uint32_t{1} << number;
}

// clang-format off

// ---- five inputs, three outputs: the third relay serves T3, T4 and SYNC -------------------------------------
constexpr JigInput kFiveInputs[] = {{"T1", 74, 25}, {"T2", 76, 26}, {"T3", 77, 27}, {"T4", 78, 28}, {"SYNC", 94, 29}};
constexpr JigWire kFiveWires[] = {{"T1", {"F1"}}, {"T2", {"F2"}}, {"T3", {"F3"}}, {"T4", {"F3"}}, {"SYNC", {"F3"}}};

constexpr JigOutput kThreeOutputs[]      = {{"F1", fpga, kLow, bit(10)}, {"F2", fpga, kLow, bit(11)}, {"F3", fpga, kLow, bit(12)}};
constexpr JigOutput kShortThreeOutputs[] = {{"F1", fpga, kLow, bit(0)},  {"F2", fpga, kLow, bit(1)},  {"F3", fpga, kLow, bit(2)}};

constexpr Jig kFive{"5in3out", kFiveInputs, kThreeOutputs, kFiveWires};
constexpr Jig kShortFive{"5in3out", kFiveInputs, kShortThreeOutputs, kFiveWires};

// ---- five inputs behind the alarm driver: an output each -----------------------------------------------------
constexpr JigOutput kDriverOutputs[] = {
    {"F1", alarm, 0, bit(0)}, {"F2", alarm, 0, bit(1)}, {"F3", alarm, 0, bit(2)}, {"F4", alarm, 0, bit(3)}, {"F5", alarm, 0, bit(4)}};
constexpr JigWire kDriverFiveWires[] = {{"T1", {"F1"}}, {"T2", {"F2"}}, {"T3", {"F3"}}, {"T4", {"F4"}}, {"SYNC", {"F5"}}};

constexpr Jig kDriverFive{"5in3out", kFiveInputs, kDriverOutputs, kDriverFiveWires};

// ---- five inputs of MA boards: SYNC behind two relays that must both close -----------------------------------
constexpr JigInput kMaInputs[] = {{"T1", 17}, {"T2", 18}, {"T3", 19}, {"T4", 20}, {"SYNC", 114}};
constexpr JigOutput kMaOutputs[] = {
    {"F1", fpga, kHigh, bit(10)}, {"F2", fpga, kLow, bit(25)}, {"F3", fpga, kLow, bit(10)},
    {"F4", fpga, kLow, bit(11)},  {"F5", fpga, kLow, bit(12)}, {"F6", fpga, kLow, bit(26)}};
constexpr JigWire kMaWires[] = {
    {"T1", {"F1"}}, {"T2", {"F2"}}, {"T3", {"F3"}}, {"T4", {"F4"}}, {"SYNC", {"F5", "F6"}}};

constexpr Jig kMa{"5in3out", kMaInputs, kMaOutputs, kMaWires};

// ---- eight inputs, nine outputs: SYNC behind the two that are no FPGA bits -----------------------------------
constexpr JigInput kEightInputs[] = {
    {"T1", 74, 25}, {"T2", 76, 26}, {"T3", 77, 27}, {"T4", 78, 28}, {"T5", 20}, {"T6", 17}, {"T7", 15}, {"SYNC", 94, 29}};
constexpr JigOutput kNineOutputs[] = {
    {"F1", fpga, kLow, bit(10)}, {"F2", fpga, kLow, bit(11)},  {"F3", fpga, kLow, bit(12)},
    {"F4", fpga, kLow, bit(25)}, {"F5", fpga, kLow, bit(26)},  {"F6", fpga, kHigh, bit(10)}, {"F7", fpga, kHigh, bit(11)},
    {"F8", fpga, 81, 1},         {"F9", fpga, 82, 1}};
constexpr JigOutput kShortNineOutputs[] = {
    {"F1", fpga, kLow, bit(0)}, {"F2", fpga, kLow, bit(1)}, {"F3", fpga, kLow, bit(2)},
    {"F4", fpga, kLow, bit(3)}, {"F5", fpga, kLow, bit(4)}, {"F6", fpga, kLow, bit(5)}, {"F7", fpga, kLow, bit(6)},
    {"F8", fpga, 81, 1},        {"F9", fpga, 82, 1}};
constexpr JigWire kEightWires[] = {
    {"T1", {"F1"}}, {"T2", {"F2"}}, {"T3", {"F3"}}, {"T4", {"F4"}}, {"T5", {"F5"}}, {"T6", {"F6"}}, {"T7", {"F7"}},
    {"SYNC", {"F8", "F9"}}};

constexpr Jig kEight{"8in9out", kEightInputs, kNineOutputs, kEightWires};
constexpr Jig kShortEight{"8in9out", kEightInputs, kShortNineOutputs, kEightWires};

// ---- four inputs: two outputs that work when bit 30 is clear, and relays -------------------------------------
constexpr JigInput kFourInputs[] = {{"T1", 74, 25}, {"T2", 76, 26}, {"T3", 77, 27}, {"T4", 78, 28}};

constexpr JigOutput kSevenOutputs[] = {
    {"F1", fpga, 81, 1}, {"F2", fpga, 82, 1}, {"F3", fpga, 83, 1}, {"F4", fpga, 84, 1}, {"F5", fpga, 85, 1},
    {"F6", fpga, kLow, bit(30), true}, {"F7", fpga, kLow, bit(30), true}};
constexpr JigWire kSevenWires[] = {
    {"T1", {"F6"}}, {"T2", {"F7"}}, {"T3", {"F4"}}, {"T4", {"F1", "F2", "F3"}}, {"T4", {"F5"}}};
constexpr Jig kFourSeven{"4in7out", kFourInputs, kSevenOutputs, kSevenWires};

constexpr JigOutput kFiveOutputs[] = {
    {"F1", fpga, 81, 1}, {"F2", fpga, 82, 1}, {"F3", fpga, 83, 1},
    {"F4", fpga, kLow, bit(30), true}, {"F5", fpga, kLow, bit(30), true}};
constexpr JigWire kFiveOutWires[] = {
    {"T1", {"F4"}}, {"T2", {"F5"}}, {"T3", {"F1"}}, {"T4", {"F2"}}, {"T4", {"F3"}}};
constexpr Jig kFourFive{"4in5out", kFourInputs, kFiveOutputs, kFiveOutWires};

// The same behind the alarm driver; here the relays open what they otherwise close.
constexpr JigWire kDriverFourWires[] = {
    {"T1", {"F1"}}, {"T2", {"F2"}}, {"T3", {"/F4"}}, {"T4", {"/F3", "/F5"}}};
constexpr Jig kDriverFour{"4in5out", kFourInputs, kDriverOutputs, kDriverFourWires};

// ---- three inputs, two outputs: T2 is there as on every board with four inputs, but nothing is wired to it ----
constexpr JigOutput kTwoOutputs[] = {{"F1", alarm, 0, bit(0)}, {"F2", alarm, 0, bit(1)}};
constexpr JigWire kThreeWires[] = {{"T1", {"F1"}}, {"T3", {"F2"}}, {"T4", {"F2"}}};
constexpr Jig kThreeTwo{"3in2out", kFourInputs, kTwoOutputs, kThreeWires};

// ---- ten inputs, ten outputs ---------------------------------------------------------------------------------
constexpr JigInput kTenInputs[] = {
    {"T1", 74}, {"T2", 76}, {"T3", 77}, {"T4", 78}, {"T5", 20}, {"T6", 17}, {"T7", 15}, {"T8", 8}, {"T9", 59}, {"T10", 94}};
constexpr JigOutput kTenOutputs[] = {
    {"F1", fpga, kLow, bit(30)}, {"F2", fpga, kLow, bit(30)}, {"F3", fpga, kLow, bit(30)}, {"F4", fpga, kLow, bit(30)},
    {"F5", fpga, kLow, bit(30)}, {"F6", fpga, kLow, bit(30)}, {"F7", fpga, kLow, bit(30)}, {"F8", fpga, kLow, bit(30)},
    {"F9", fpga, 81, 1},         {"F10", fpga, 82, 1}};
constexpr JigWire kSwitchWires[] = {
    {"T1", {"F1"}}, {"T2", {"F2"}}, {"T3", {"F3"}}, {"T4", {"F4"}}, {"T5", {"F5"}}, {"T6", {"F6"}}, {"T7", {"F7"}},
    {"T8", {"F8"}}, {"T9", {"F9"}}, {"T10", {"F10"}}};
constexpr JigWire kLevelWires[] = {
    {"T1", {"/F1"}}, {"T2", {"/F2"}}, {"T3", {"/F3"}}, {"T4", {"/F4"}}, {"T5", {"/F5"}}, {"T6", {"/F6"}}, {"T7", {"/F7"}},
    {"T8", {"/F8"}}, {"T9", {"F9"}}, {"T10", {"F10"}}};
constexpr Jig kTenSwitch{"10in10out-switch", kTenInputs, kTenOutputs, kSwitchWires};
constexpr Jig kTenLevel{"10in10out-level", kTenInputs, kTenOutputs, kLevelWires};

// ---- outputs that are GPIO lines -----------------------------------------------------------------------------
constexpr JigInput kRkdInputs[] = {{"T1", 18}, {"T2", 19}};
constexpr JigInput kRkdInput[] = {{"T1", 18}};
constexpr JigOutput kRkdOutputs[] = {{"F1", gpio, 76, 1}, {"F2", gpio, 77, 1}, {"A1", gpio, 78, 1}, {"A2", gpio, 79, 1}};
constexpr JigOutput kRkdThreeOutputs[] = {{"F1", gpio, 76, 1}, {"A1", gpio, 78, 1}, {"A2", gpio, 79, 1}};
constexpr JigWire kTwoFourWires[] = {{"T1", {"A1", "/F1"}}, {"T2", {"A2", "/F2"}}};
constexpr JigWire kOneThreeWires[] = {{"T1", {"A1", "/F1"}}, {"T1", {"A2", "/F1"}}};
constexpr Jig kTwoFour{"2in4out", kRkdInputs, kRkdOutputs, kTwoFourWires};
constexpr Jig kOneThree{"1in3out", kRkdInput, kRkdThreeOutputs, kOneThreeWires};

constexpr JigInput kLoopInput[] = {{"T1", 20}};
constexpr JigOutput kLoopOutput[] = {{"F1", gpio, 21, 1}};
constexpr JigWire kLoopWire[] = {{"T1", {"F1"}}};
constexpr Jig kOneOne{"1in1out", kLoopInput, kLoopOutput, kLoopWire, false};

// ---- which boards --------------------------------------------------------------------------------------------
constexpr std::optional<Alarms> kAny{};

constexpr JigChoice kChoices[] = {
    {kAny,                line_driven,   21,    kOneOne},
    {Alarms::rkd,         line_driven,   77,    kTwoFour},
    {Alarms::rkd,         line_driven,   79,    kOneThree},
    {Alarms::driver,      alarm_set,     0,     kDriverFive},
    {Alarms::rkd,         alarm_set,     0,     kDriverFive},
    {Alarms::loop,        alarm_set,     0,     kDriverFour},
    {kAny,                alarm_set,     0,     kThreeTwo},
    {Alarms::ma,          fpga_written,  kHigh, kMa},
    {Alarms::ten,         level_written, kHigh, kTenLevel},
    {Alarms::ten,         fpga_written,  kHigh, kTenSwitch},
    {Alarms::short_eight, fpga_written,  kHigh, kShortEight},
    {kAny,                fpga_written,  kHigh, kEight},
    {kAny,                relay_driven,  84,    kFourSeven},
    {kAny,                relay_driven,  81,    kFourFive},
    {Alarms::short_five,  fpga_written,  kLow,  kShortFive},
    {kAny,                fpga_written,  kLow,  kFive},
    {Alarms::rkd,         always,        0,     kTwoFour},
    {Alarms::driver,      always,        0,     kDriverFive},
    {Alarms::ma,          always,        0,     kMa},
    {Alarms::ten,         always,        0,     kTenSwitch},
    {Alarms::short_five,  always,        0,     kShortFive},
    {kAny,                always,        0,     kFive},
};
// clang-format on

}  // namespace

std::span<const JigChoice> jig_choices() {
  return kChoices;
}

bool fits(const JigChoice& choice, const Hardware& board) {
  return !choice.alarms || *choice.alarms == board.alarms;
}

unsigned line_of(const JigInput& input, const Hardware& board) {
  return input.other_line != 0 && board.other_input_lines ? input.other_line : input.line;
}

}  // namespace boardsim
