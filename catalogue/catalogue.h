// Tests and board families as the PC side knows them, from catalogue.toml.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace catalogue {

/// The voltages that a test can set, in hundredths of a volt.
struct Voltages {
  std::int32_t lowest = 0;   ///< the lowest that a board tells apart from others
  std::int32_t highest = 0;  ///< the highest; 0: the test sets no voltage
};

/// One test that boards know.
struct Test {
  std::int32_t code;                           ///< the number in the request
  std::string_view name;                       ///< short and stable, for command lines and reports
  std::string_view title;                      ///< for people
  int seconds;                                 ///< what it usually takes on a healthy board
  bool is_for_all;                             ///< whether every family is given it
  std::span<const std::string_view> families;  ///< else who is given it
  Voltages voltages;                           ///< what it sets, where it sets a voltage
};

/// One family of boards.
struct Family {
  std::string_view name;         ///< for command lines
  std::uint32_t type;            ///< device type code in the boot block; two families may share one
  std::uint8_t alarm_outputs;    ///< number of alarm outputs in the boot block
  std::string_view description;  ///< one line for people
  std::int32_t voltage;  ///< for its set command when nobody said otherwise, hundredths of a volt; 0: none
};

/// All tests, in the order in which a family goes through them: the restart last.
std::span<const Test> tests();

/// All families, in the order in which lists name them.
std::span<const Family> families();

/// The test with this code or this name, or null.
const Test* find_test(std::int32_t code);
const Test* find_test(std::string_view name);

/// The family of this name, or null.
const Family* find_family(std::string_view name);

/// The first family with this device type code, or null.
const Family* find_family_of_type(std::uint32_t type);

/// Whether a family is given a test.
bool is_given(const Test& test, std::string_view family);

/// The tests that a family is given, in their order.
std::vector<const Test*> tests_of(std::string_view family);

}  // namespace catalogue
