// The tables of the RS485 fixtures.
#include "boardsim/jigs/rs485_fixtures.h"

#include <algorithm>
#include <optional>

namespace boardsim {
namespace {

// clang-format off
constexpr Rs485Pair kRingOfFive[]  = {{1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 1}};
constexpr Rs485Pair kRingOfThree[] = {{1, 2}, {2, 3}, {3, 1}};
constexpr Rs485Pair kRingOfTwo[]   = {{1, 2}, {2, 1}};
constexpr Rs485Pair kToItself[]    = {{1, 1}};
constexpr Rs485Pair kToTheDevice[] = {{1, kRs485Device}, {kRs485Device, 1}};

constexpr Rs485Fixture kFixtures[] = {
    {"ring5",    kRingOfFive},
    {"ring3",    kRingOfThree},
    {"ring2",    kRingOfTwo},
    {"self",     kToItself},
    {"partner",  kToTheDevice, Rs485Peer::partner},
    {"terminal", kToTheDevice, Rs485Peer::terminal},
    {"none",     {}},
};

// The first row that fits decides.
struct Choice {
  std::uint32_t type;
  std::optional<unsigned> not_with_alarm_outputs;
  std::string_view fixture;
};
constexpr Choice kChoices[] = {
    {0x96C0, 7, "ring3"},
    {0xA6001, {}, "ring3"}, {0xA6002, {}, "ring3"}, {0xA6003, {}, "ring3"}, {0xA6004, {}, "ring3"},
    {0x960B, {}, "ring5"}, {0x9B05, {}, "ring5"}, {0x960F, {}, "ring5"}, {0x960E, {}, "ring5"}, {0x9B08, {}, "ring5"},
    {0x9B09, {}, "ring5"}, {0x9B0A, {}, "ring5"}, {0x970F, {}, "ring5"}, {0x9715, {}, "ring5"}, {0x9713, {}, "ring5"},
    {0x9614, {}, "ring5"}, {0x9615, {}, "ring5"}, {0x9716, {}, "ring5"}, {0x9725, {}, "ring5"}, {0x9726, {}, "ring5"},
    {0x9C0A, {}, "ring5"},
    {0xA60A0, {}, "ring2"},
};
constexpr std::string_view kOtherBoards = "partner";
// clang-format on

}  // namespace

std::span<const Rs485Fixture> rs485_fixtures() {
  return kFixtures;
}

const Rs485Fixture& rs485_fixture_for(std::uint32_t type, unsigned alarm_outputs) {
  const auto* const choice = std::ranges::find_if(kChoices, [&](const Choice& row) {
    return row.type == type && row.not_with_alarm_outputs != alarm_outputs;
  });
  const std::string_view name = choice == std::end(kChoices) ? kOtherBoards : choice->fixture;
  return *std::ranges::find(kFixtures, name, &Rs485Fixture::name);
}

}  // namespace boardsim
