#include "boardsim/jigs/rs485_fixtures.h"

#include <algorithm>

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
// clang-format on

}  // namespace

std::span<const Rs485Fixture> rs485_fixtures() {
  return kFixtures;
}

const Rs485Fixture& rs485_fixture_for(const Hardware& board) {
  return *std::ranges::find(kFixtures, board.rs485_fixture, &Rs485Fixture::name);
}

}  // namespace boardsim
