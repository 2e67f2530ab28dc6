// The tables of the factory jigs.
#include "boardsim/jigs/wiring.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <set>
#include <string_view>

namespace {

using namespace boardsim;

std::set<const Jig*> jigs() {
  std::set<const Jig*> all;
  for (const JigChoice& choice : jig_choices()) all.insert(&choice.jig);
  return all;
}

template <class Rows>
std::set<std::string_view> names(const Rows& rows) {
  std::set<std::string_view> result;
  for (const auto& row : rows) {
    EXPECT_FALSE(row.name.empty());
    EXPECT_TRUE(result.insert(row.name).second) << row.name << " stands there twice";
  }
  return result;
}

std::string_view output_of(std::string_view contact) {
  return contact.starts_with('/') ? contact.substr(1) : contact;
}

TEST(JigTest, EveryWireJoinsAnInputAndOutputsThatTheJigHas) {
  for (const Jig* jig : jigs()) {
    SCOPED_TRACE(jig->name);
    const auto inputs = names(jig->inputs);
    const auto outputs = names(jig->outputs);
    for (const JigWire& wire : jig->wires) {
      EXPECT_TRUE(inputs.contains(wire.input)) << wire.input;
      EXPECT_FALSE(wire.contacts[0].empty()) << wire.input << " is wired to ground";
      for (const std::string_view contact : wire.contacts) {
        EXPECT_TRUE(contact.empty() || outputs.contains(output_of(contact))) << contact;
      }
    }
  }
}

TEST(JigTest, EveryOutputReachesAnInput) {
  for (const Jig* jig : jigs()) {
    std::set<std::string_view> wired;
    for (const JigWire& wire : jig->wires) {
      for (const std::string_view contact : wire.contacts) wired.insert(output_of(contact));
    }
    wired.erase("");
    EXPECT_EQ(wired, names(jig->outputs)) << jig->name;
  }
}

TEST(JigTest, EveryInputHasAWireButT2OfTheThreeInputs) {
  for (const Jig* jig : jigs()) {
    std::set<std::string_view> wired;
    for (const JigWire& wire : jig->wires) wired.insert(wire.input);
    auto expected = names(jig->inputs);
    if (jig->name == "3in2out") expected.erase("T2");
    EXPECT_EQ(wired, expected) << jig->name;
  }
}

TEST(JigTest, NoTwoInputsShareALine) {
  for (const Jig* jig : jigs()) {
    for (const std::uint32_t type : {0x9601U, 0xA6005U}) {
      std::set<unsigned> lines;
      for (const JigInput& input : jig->inputs) {
        EXPECT_TRUE(lines.insert(line_of(input, hardware_of(type))).second) << jig->name << " " << input.name;
      }
    }
  }
}

TEST(JigTest, InputsHaveOtherLinesOnSomeBoards) {
  const JigInput input{"T1", 74, 25};
  for (const std::uint32_t type : {0xA6005U, 0xA6006U, 0xA60A0U, 0xA60A3U})
    EXPECT_EQ(line_of(input, hardware_of(type)), 25U);
  for (const std::uint32_t type : {0x9601U, 0x27252U, 0xA6001U, 0x9C0AU})
    EXPECT_EQ(line_of(input, hardware_of(type)), 74U);
  EXPECT_EQ(line_of({"T5", 20}, hardware_of(0xA6005)), 20U);
}

TEST(JigTest, EveryBoardHasAJigBeforeItsProgramDoesAnything) {
  for (const std::uint32_t type :
       {0x9601U, 0x960BU, 0x27202U, 0x27252U, 0x9615U, 0xA6001U, 0x96C1U, 0xA60A0U}) {
    EXPECT_TRUE(std::ranges::any_of(jig_choices(),
                                    [&](const JigChoice& choice) {
                                      return choice.sign == Sign::always && fits(choice, hardware_of(type));
                                    }))
        << std::hex << type;
  }
}

}  // namespace
