// The table of families, and of the boards that differ from theirs.
#include "boardsim/families/families.h"

#include <algorithm>
#include <iterator>

namespace boardsim {
namespace {

// clang-format off
constexpr std::uint32_t kKTypes[] = {
    0x960B, 0x9B05, 0x960F, 0x960E, 0x9B08, 0x9B09, 0x9B0A, 0x970F, 0x9715, 0x9713, 0x9614, 0x9615, 0x9716, 0x9725,
    0x9726};
constexpr std::uint32_t k63xxTypes[] = {0x27201, 0x97C0};
constexpr std::uint32_t k68xxTypes[] = {0x27252, 0x27254, 0x9A01, 0x9A03, 0xA6005, 0xA6006};
constexpr std::uint32_t kLoopTypes[] = {0x96C1, 0x96C2, 0x96C3};
constexpr std::uint32_t kLoopCTypes[] = {0x96C4, 0x96C5};
constexpr std::uint32_t kMaTypes[] = {0xA6001, 0xA6002, 0xA6003, 0xA6004};

constexpr Hardware kKHardware{.rs485_fixture = "ring5"};
constexpr Hardware k68xxHardware{.iris = IrisDrive::gpio, .alarms = Alarms::driver};
constexpr Hardware k65xxHardware{.iris = IrisDrive::chip, .alarms = Alarms::ten, .rs485_fixture = "ring5",
                                 .stepped_filter = true, .vsub_by_io = true};

constexpr Family kFamilies[] = {
    {"normal",    0x9601,  2, "any board that belongs to no other family"},
    {"k",         0x960B,  2, "K series", kKTypes, kKHardware},
    {"63xx",      0x27201, 2, "63xx", k63xxTypes, {.iris = IrisDrive::shell}},
    {"68xx",      0x27252, 2, "68xx, alarm driver of its own", k68xxTypes, k68xxHardware},
    {"68xx-fpga", 0x27251, 2, "68xx with an FPGA"},
    {"6444",      0x96C0,  7, "6444 with 7 alarm outputs"},
    {"6444-j",    0x96C0,  2, "6444 with another number of alarm outputs", {}, {.rs485_fixture = "ring3"}},
    {"loop",      0x96C1,  2, "loop board", kLoopTypes, {.iris = IrisDrive::shell, .alarms = Alarms::loop}},
    {"loop-c",    0x96C4,  2, "loop board, variant c", kLoopCTypes, {.alarms = Alarms::loop}},
    {"ma",        0xA6001, 2, "MA, 61xx", kMaTypes, {.alarms = Alarms::ma, .rs485_fixture = "ring3"}},
    {"65xx",      0x9C0A,  2, "65xx", {}, k65xxHardware},
    {"65xx-level", 0x9C0A, 2, "65xx with level inputs", {}, k65xxHardware, true},
    {"rkd1",      0xA60A0, 2, "RKD, first variant, close to 68xx", {},
     {.iris = IrisDrive::gpio, .alarms = Alarms::rkd, .other_input_lines = true, .rs485_fixture = "ring2"}},
    {"rkd2",      0xA60A3, 2, "RKD, second variant, close to 68xx, with an LED", {},
     {.iris = IrisDrive::gpio, .alarms = Alarms::rkd, .other_input_lines = true}},
    {"6455",      0x9603,  2, "CCD model 6455"},
    {"6485",      0x9605,  2, "CCD model 6485"},
    {"6484",      0x9604,  2, "CCD model 6484", {}, {.vsub_of_6484 = true}},
};

constexpr Hardware kOtherLines68xx{.iris = IrisDrive::gpio, .alarms = Alarms::driver, .other_input_lines = true};
constexpr Hardware kShortFive{.alarms = Alarms::short_five};

constexpr Variant kVariants[] = {
    {0x960F,  {.rs485_fixture = "ring5", .vsub_of_6484 = true}},
    {0x9615,  {.alarms = Alarms::short_eight, .rs485_fixture = "ring5"}},
    {0xA6005, kOtherLines68xx},
    {0xA6006, kOtherLines68xx},
    {0x27202, kShortFive},
    {0x27203, kShortFive},
    {0x27204, kShortFive},
    {0x27205, kShortFive},
    {0x970E,  kShortFive},
    {0x97C2,  {.alarms = Alarms::short_eight}},
    {0x9702,  {.vsub_of_6484 = true}},
    {0x9709,  {.vsub_of_6484 = true}},
};

// clang-format on

constexpr Hardware kUsual{};

bool has_type(const Family& family, std::uint32_t type) {
  return family.type == type || std::ranges::find(family.types, type) != family.types.end();
}

}  // namespace

std::span<const Family> families() {
  return kFamilies;
}

const Family* find_family(std::string_view name) {
  const auto* found = std::ranges::find(kFamilies, name, &Family::name);
  return found == std::end(kFamilies) ? nullptr : found;
}

const Family* find_family(std::uint32_t type) {
  const auto* found = std::ranges::find(kFamilies, type, &Family::type);
  if (found != std::end(kFamilies)) return found;
  found = std::ranges::find_if(kFamilies, [type](const Family& family) { return has_type(family, type); });
  return found == std::end(kFamilies) ? nullptr : found;
}

std::span<const Variant> variants() {
  return kVariants;
}

const Hardware& hardware_of(std::uint32_t type, unsigned alarm_outputs) {
  const auto* const variant = std::ranges::find(kVariants, type, &Variant::type);
  if (variant != std::end(kVariants)) return variant->hardware;
  const Hardware* hardware = &kUsual;
  for (const Family& family : kFamilies) {
    if (!has_type(family, type)) continue;
    hardware = &family.hardware;
    if (family.alarm_outputs == alarm_outputs) break;
  }
  return *hardware;
}

}  // namespace boardsim
