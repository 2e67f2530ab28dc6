// The four loopback variants as their boards show them, and a board with a station to run them on.
#pragma once

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_reports.h"
#include "tests/peripheral/alarm_texts.h"

/// One variant, from outside.
struct Loopback {
  const char* name;
  const char* family;  ///< whose jig it is for
  const char* banner;
  void (*run)(unsigned mode, int code);
  const char* node;  ///< drives the outputs
  unsigned last_mode;
  std::vector<PortTexts> ports;
  bool names_modes;
  bool prints_words;    ///< the input word after each reading
  bool carries_errors;  ///< an error of the first cycle counts in the second too
  int cycle_ms;         ///< without the pause that follows
  int pause_ms;
};

inline std::vector<Loopback> loopbacks() {
  const std::vector<PortTexts> five(kFivePorts.begin(), kFivePorts.end());
  const std::vector<PortTexts> eight(kEightPorts.begin(), kEightPorts.end());
  // clang-format off
  return {
      {"Normal", "normal", "alarm_test_65xx",    alarm_test_64xx,    "/dev/fpga",  2, five,  true,  false, false, 2500, 500},
      {"K",      "k",      "alarm_test_65xx",    alarm_test_64xx_k,  "/dev/fpga",  3, eight, true,  false, false, 4300, 700},
      {"Ma",     "ma",     "alarm_test_64xx_19", alarm_test_64xx_19, "/dev/fpga",  3, five,  true,  true,  true,  2500, 500},
      {"Driver", "68xx",   "alarm_test_68xx",    alarm_test_68xx,    "/dev/alarm", 2, five,  false, false, false, 5000, 500},
  };
  // clang-format on
}

/// How a port fails.
enum class PortFault { open, shorted };
/// The ports that fail, by name.
using PortFaults = std::map<std::string, PortFault>;

/// What the test says about a port.
inline std::string port_console(const Loopback& variant, const PortTexts& port, const PortFaults& faults) {
  const auto fault = faults.find(port.port);
  if (fault == faults.end()) return port.success() + "\n";
  if (fault->second == PortFault::open) return std::string(port.open_console) + "\n";
  const bool without_end = variant.ports.size() == 8 && port.mask == 128;
  return std::string(port.short_console) + (without_end ? "" : "\n");
}

/// The name of the expansion board, with its line end.
inline std::string mode_console(const Loopback& variant, unsigned mode) {
  if (!variant.names_modes) return "";
  if (mode == 1) return "一路报警一路485扩展板..\n";
  if (mode == 2) return "两路报警输出扩展板..\n";
  if (mode == 3) return "九路报警输出无扩展板..\n";
  const bool with_dots = std::string_view(variant.name) == "Normal";
  return std::string("无扩展板..\n") + (with_dots ? "..............................ffff.....\n" : "");
}

/// The whole console of a run, without input words and without what follows the last cycle's empty line.
inline std::string run_console(const Loopback& variant, unsigned mode, const PortFaults& first,
                               const PortFaults& second) {
  std::string text = std::string(variant.banner) + "\n" + mode_console(variant, mode);
  for (const auto& [title, faults] :
       {std::pair{"\n第1次测试\n", first}, std::pair{"\n第2次测试\n", second}}) {
    text += title;
    for (const PortTexts& port : variant.ports) text += port_console(variant, port, faults);
  }
  return text + "\n";
}

/// The description of the last port that fails in one cycle.
inline std::string last_description(const Loopback& variant, const PortFaults& faults) {
  std::string description;
  for (const PortTexts& port : variant.ports) {
    const auto fault = faults.find(port.port);
    if (fault == faults.end()) continue;
    description = fault->second == PortFault::open ? port.open_description : port.short_description;
  }
  return description;
}

/// Runs variants for a station and looks at their replies.
class AlarmLoopbackBoard : public AlarmRun {
 protected:
  static constexpr int kCode = 4711;  ///< the code that replies carry

  using AlarmRun::AlarmRun;

  void expect_reply(const std::string& value, const std::string& description) {
    AlarmRun::expect_reply(kCode, value, description);
  }
  /// The line on standard error.
  static std::string summary(int errors) { return AlarmRun::summary(2, errors); }
  /// The console without the input words that some boards print.
  std::string console_without_words() const {
    std::string text;
    std::string rest = console.out();
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      const std::string line = rest.substr(0, end == std::string::npos ? end : end + 1);
      if (line.substr(0, 2) != "0x") text += line;
      rest.erase(0, line.size());
    }
    return text;
  }
};
