// The tables of the RS485 fixtures.
#include "boardsim/jigs/rs485_fixtures.h"

#include <algorithm>
#include <optional>

#include "boardsim/families/board_types.h"

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
  std::span<const std::uint32_t> types;
  std::optional<unsigned> not_with_alarm_outputs;
  std::string_view fixture;
};
constexpr std::uint32_t k6444Boards[] = {0x96C0};
constexpr std::uint32_t kRkd1Boards[] = {0xA60A0};
constexpr Choice kChoices[] = {
    {k6444Boards, 7,  "ring3"},
    {kMaBoards,   {}, "ring3"},
    {kKBoards,    {}, "ring5"},
    {k65xxBoards, {}, "ring5"},
    {kRkd1Boards, {}, "ring2"},
};
constexpr std::string_view kOtherBoards = "partner";
// clang-format on

}  // namespace

std::span<const Rs485Fixture> rs485_fixtures() {
  return kFixtures;
}

const Rs485Fixture& rs485_fixture_for(std::uint32_t type, unsigned alarm_outputs) {
  const auto* const choice = std::ranges::find_if(kChoices, [&](const Choice& row) {
    return is_one_of(row.types, type) && row.not_with_alarm_outputs != alarm_outputs;
  });
  const std::string_view name = choice == std::end(kChoices) ? kOtherBoards : choice->fixture;
  return *std::ranges::find(kFixtures, name, &Rs485Fixture::name);
}

}  // namespace boardsim
