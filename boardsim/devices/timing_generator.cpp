#include "boardsim/devices/timing_generator.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kTimingGeneratorRequests[] = {
    {0x40045402, Request::Argument::record, "{address, value}", 2, "writes a register; there is no read"},
};
// clang-format on

}  // namespace

TimingGenerator::TimingGenerator() : RegisterDevice("afe", kTimingGeneratorRequests) {}

}  // namespace boardsim
