#include "boardsim/devices/stm8.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kStm8Requests[] = {
    {0x40045402, Request::Argument::record, "{address, value}", 2, "writes a register"},
    {0x80045401, Request::Argument::record, "{address, value}", 1, "reads it into the second word"},
};
// clang-format on

}  // namespace

Stm8::Stm8() : RegisterDevice("stm8", kStm8Requests) {}

}  // namespace boardsim
