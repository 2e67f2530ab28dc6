// The table of tests, and looking things up in it.
#include "station/codes.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "station/document.h"
#include "station/errors.h"
#include "station/suggest.h"

namespace t1station {
namespace {

// clang-format off
constexpr TestKind tests[] = {
  //  code    name                     title                                        seconds  voltages
  {    -16,  "rs485-ptz",             "RS485 pan and tilt port",                        10, {}},
  {    -15,  "restart",               "Restart into the application",                    1, {}},
  {  0x201,  "alarm-1in1out",         "Alarm, 1 input and 1 output",                     5, {}},
  {  0x206,  "alarm-4in5out",         "Alarm, 4 inputs and 5 outputs",                  11, {}},
  {  0x207,  "alarm-4in7out",         "Alarm, 4 inputs and 7 outputs",                  11, {}},
  {  0x208,  "alarm-5in3out",         "Alarm, 5 inputs and 3 outputs",                   7, {}},
  {  0x209,  "alarm-5in4out",         "Alarm, 5 inputs and 4 outputs",                   7, {}},
  {  0x210,  "alarm-5in5out",         "Alarm, 5 inputs and 5 outputs",                   7, {}},
  {  0x212,  "alarm-8in9out",         "Alarm, 8 inputs and 9 outputs",                  11, {}},
  {  0x213,  "alarm-10in10out-switch","Alarm, 10 inputs and 10 outputs, switched",       6, {}},
  {  0x214,  "alarm-10in10out-level", "Alarm, 10 inputs and 10 outputs, levels",         6, {}},
  {  0x216,  "alarm-3in2out",         "Alarm, 3 inputs and 2 outputs",                   8, {}},
  {  0x217,  "alarm-2in4out",         "Alarm, 2 inputs and 4 outputs",                  26, {}},
  {  0x400,  "rs485",                 "RS485 ports",                                    75, {}},
  {  0x600,  "rtc",                   "RTC clock",                                       6, {}},
  {  0x700,  "ircut",                 "IR-cut filter",                                  20, {}},
  { 0x1100,  "sd",                    "SD card",                                        15, {}},
  { 0x1200,  "usb",                   "USB stick",                                      20, {}},
  { 0x1D02,  "temp",                  "Temperature sensor",                              1, {}},
  { 0x2500,  "iris",                  "Auto-iris",                                       9, {}},
  { 0x2600,  "set-sub-6455",          "Set substrate voltage, 6455",                     2, {600, 1019}},
  { 0x2700,  "set-sub-6485",          "Set substrate voltage, 6485",                     2, {600, 1019}},
  { 0x2800,  "set-sub-6484",          "Set substrate voltage, 6484",                     2, {810, 1389}},
  { 0x2900,  "set-tg",                "Set timing generator parameters",                 2, {}},
  { 0x2A00,  "get-tg",                "Show timing generator parameters",                1, {}},
  { 0x2A10,  "abf",                   "Auto back focus motor",                           1, {}},
  { 0x2A11,  "ma",                    "MA application self-test",                        1, {}},
  { 0x2B01,  "add-sub-6455",          "Raise substrate voltage one step, 6455",          2, {}},
  { 0x2B02,  "dec-sub-6455",          "Lower substrate voltage one step, 6455",          2, {}},
  { 0x2B03,  "save-sub-6455",         "Save substrate voltage, 6455",                    2, {}},
  { 0x2C01,  "add-sub-6485",          "Raise substrate voltage one step, 6485",          2, {}},
  { 0x2C02,  "dec-sub-6485",          "Lower substrate voltage one step, 6485",          2, {}},
  { 0x2C03,  "save-sub-6485",         "Save substrate voltage, 6485",                    2, {}},
  { 0x2D01,  "add-sub-6484",          "Raise substrate voltage one step, 6484",          2, {}},
  { 0x2D02,  "dec-sub-6484",          "Lower substrate voltage one step, 6484",          2, {}},
  { 0x2D03,  "save-sub-6484",         "Save substrate voltage, 6484",                    2, {}},
  { 0x2E00,  "auto-sub",              "Sweep substrate voltage",                         5, {}},
  { 0x2F00,  "print-sub",             "Show substrate voltage",                          1, {}},
  { 0x3500,  "dead-pixels",           "Dead pixel records",                              1, {}},
  { 0x3600,  "flat-field",            "Flat-field correction records",                   1, {}},
  { 0x3900,  "light",                 "Built-in light",                                 10, {}},
  {0x11001,  "in-light",              "Built-in steady light",                          10, {}},
  {0x11002,  "alarm-1in3out",         "Alarm, 1 input and 3 outputs",                   26, {}},
};
// clang-format on

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

// Words of titles count as much as names: who types "clock" means "rtc".
std::vector<std::string> similar_names(std::string_view word) {
  std::vector<std::string> names, found;
  for (const TestKind& test : tests) {
    names.emplace_back(test.name);
    const std::string title = " " + lower_case(test.title) + " ";
    if (title.find(" " + lower_case(word) + " ") != std::string::npos) found.emplace_back(test.name);
  }
  if (found.empty() || found.size() > 3) found = nearest(lower_case(word), names);
  return found;
}

std::string volts(int hundredths) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%d.%02d V", hundredths / 100, hundredths % 100);
  return text.data();
}

bool parse_number(std::string_view word, std::int64_t& number) {
  const bool is_negative = word.starts_with('-');
  if (is_negative) word.remove_prefix(1);
  int base = 10;
  if (word.starts_with("0x") || word.starts_with("0X")) {
    word.remove_prefix(2);
    base = 16;
  }
  if (word.starts_with('-')) return false;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number, base);
  if (error == std::errc::result_out_of_range && stop == end) {
    number = std::numeric_limits<std::int64_t>::max();
  } else if (error != std::errc() || stop != end) {
    return false;
  }
  if (is_negative) number = -number;
  return true;
}

}  // namespace

std::span<const TestKind> all_tests() {
  return tests;
}

const TestKind* find_test(std::int32_t code) {
  for (const TestKind& test : tests) {
    if (test.code == code) return &test;
  }
  return nullptr;
}

std::string title_of(std::int32_t code) {
  const TestKind* test = find_test(code);
  return test ? std::string(test->title) : "test " + std::to_string(code);
}

std::string name_of(std::int32_t code) {
  const TestKind* test = find_test(code);
  return test ? std::string(test->name) : std::to_string(code);
}

std::int32_t parse_code(const std::string& word) {
  for (const TestKind& test : tests) {
    if (test.name == word) return test.code;
  }
  std::int64_t number = 0;
  if (!parse_number(word, number)) {
    throw UsageError("there is no test \"" + word + "\"; \"t1station list\" shows them all" +
                     did_you_mean(similar_names(word)));
  }
  if (number < std::numeric_limits<std::int32_t>::min() ||
      number > std::numeric_limits<std::int32_t>::max()) {
    throw UsageError("the test code " + word + " does not fit into 32 bits");
  }
  if (number == service_code) throw UsageError("255 is the code of the board's own messages, not of a test");
  if (number == quit_code)
    throw UsageError("62208 is the quit request, not a test; it is sent at the end anyway");
  return static_cast<std::int32_t>(number);
}

std::int32_t parse_parameter(const std::string& word) {
  std::int32_t number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error == std::errc() && stop == end) return number;
  double meant = 0;
  const bool is_voltage =
      std::from_chars(word.data(), end, meant).ec == std::errc() && meant > 0 && meant < 1000;
  const int hundredths = is_voltage ? static_cast<int>(std::lround(meant * 100)) : 650;
  throw UsageError("\"" + word + "\" is no whole number of hundredths of a volt: write " +
                   std::to_string(hundredths) + " for " + volts(hundredths));
}

void check_parameter(std::int32_t code, std::optional<std::int32_t> parameter) {
  const TestKind* test = find_test(code);
  if (!test) return;  // nobody knows what it takes
  const std::string name(test->name);
  const VoltageRange& range = test->voltages;
  if (!test->takes_parameter()) {
    if (parameter)
      throw UsageError(name + " takes no parameter; only the set-sub tests do, and codes outside the list");
    return;
  }
  const std::string possible = std::to_string(range.lowest) + " to " + std::to_string(range.highest) +
                               " hundredths of a volt (" + volts(range.lowest) + " to " +
                               volts(range.highest) + ")";
  if (!parameter) {
    const std::string lowest = std::to_string(range.lowest);
    throw UsageError(name + " needs a voltage, " + possible + ": " + name + "=" + lowest + ", or --param " +
                     lowest);
  }
  if (*parameter < range.lowest || *parameter > range.highest) {
    throw UsageError(name + " takes " + possible + ", not " + std::to_string(*parameter) +
                     ", for which the board would set a voltage of its own");
  }
}

std::int32_t reply_code(std::int32_t code) {
  constexpr std::int32_t pan_and_tilt_port = -16, rs485 = 0x400;
  return code == pan_and_tilt_port ? rs485 : code;
}

double default_timeout(std::int32_t code) {
  const TestKind* test = find_test(code);
  return (test ? test->usual_seconds * 3 : 0) + 30;
}

}  // namespace t1station
