// What the families of the catalogue are built like, and the boards that differ from theirs.
#include "boardsim/families/families.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "catalogue/catalogue.h"

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

/// What the simulator adds to a family of the catalogue; one without a row has what a normal board has.
struct Build {
  std::string_view family;
  std::span<const std::uint32_t> types{};  ///< all its type codes, where it has several
  Hardware hardware{};
  bool level_inputs = false;
};

constexpr Build kBuilds[] = {
    {"k", kKTypes, kKHardware},
    {"63xx", k63xxTypes, {.iris = IrisDrive::shell}},
    {"68xx", k68xxTypes, k68xxHardware},
    {"6444-j", {}, {.rs485_fixture = "ring3"}},
    {"loop", kLoopTypes, {.iris = IrisDrive::shell, .alarms = Alarms::loop}},
    {"loop-c", kLoopCTypes, {.alarms = Alarms::loop}},
    {"ma", kMaTypes, {.alarms = Alarms::ma, .rs485_fixture = "ring3"}},
    {"65xx", {}, k65xxHardware},
    {"65xx-level", {}, k65xxHardware, true},
    {"rkd1", {}, {.iris = IrisDrive::gpio, .alarms = Alarms::rkd, .other_input_lines = true, .rs485_fixture = "ring2"}},
    {"rkd2", {}, {.iris = IrisDrive::gpio, .alarms = Alarms::rkd, .other_input_lines = true}},
    {"6484", {}, {.vsub_of_6484 = true}},
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

/// The catalogue's families, in its order, each with its hardware.
std::vector<Family> make_families() {
  std::vector<Family> all;
  for (const catalogue::Family& known : catalogue::families()) {
    Family family{known.name, known.type, known.alarm_outputs, known.description};
    const auto* const build = std::ranges::find(kBuilds, known.name, &Build::family);
    if (build != std::end(kBuilds)) {
      family.types = build->types;
      family.hardware = build->hardware;
      family.level_inputs = build->level_inputs;
    }
    all.push_back(family);
  }
  return all;
}

bool has_type(const Family& family, std::uint32_t type) {
  return family.type == type || std::ranges::find(family.types, type) != family.types.end();
}

}  // namespace

std::span<const Family> families() {
  static const std::vector<Family> all = make_families();
  return all;
}

const Family* find_family(std::string_view name) {
  const auto found = std::ranges::find(families(), name, &Family::name);
  return found == families().end() ? nullptr : &*found;
}

const Family* find_family(std::uint32_t type) {
  auto found = std::ranges::find(families(), type, &Family::type);
  if (found == families().end())
    found = std::ranges::find_if(families(), [type](const Family& family) { return has_type(family, type); });
  return found == families().end() ? nullptr : &*found;
}

std::span<const Variant> variants() {
  return kVariants;
}

const Hardware& hardware_of(std::uint32_t type, unsigned alarm_outputs) {
  const auto* const variant = std::ranges::find(kVariants, type, &Variant::type);
  if (variant != std::end(kVariants)) return variant->hardware;
  const Hardware* hardware = &kUsual;
  for (const Family& family : families()) {
    if (!has_type(family, type)) continue;
    hardware = &family.hardware;
    if (family.alarm_outputs == alarm_outputs) break;
  }
  return *hardware;
}

}  // namespace boardsim
