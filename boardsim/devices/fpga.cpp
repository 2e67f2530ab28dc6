#include "boardsim/devices/fpga.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kFpgaRequests[] = {
    {0x40044603, Request::Argument::record, "{address, value}", 2, "writes a register"},
    {0x80044602, Request::Argument::record, "{address, value}", 2, "reads it into the second word"},
};
// clang-format on

}  // namespace

Fpga::Fpga() : RegisterDevice("fpga", kFpgaRequests) {}

}  // namespace boardsim
