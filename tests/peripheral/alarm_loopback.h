// The four loopback variants as their boards show them, and what they say about each port.
#pragma once

#include <array>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"

/// The texts of one port. Those of an open port belong to an input that never follows its output, those of a
/// shorted one to an input that is held active.
struct PortTexts {
  const char* port;
  const char* open_console;
  const char* open_description;
  const char* short_console;
  const char* short_description;
};

// clang-format off
/// Boards with five inputs: T4 and SYNC hang on the third output, so their texts name F3. T3 and T4 share the
/// texts of a short circuit. What is printed of a shorted SYNC lacks an "or"; what is reported has it.
inline constexpr std::array<PortTexts, 5> kFivePorts = {{
    {"T1", "T1口不通或F1+、F1-短路!!!", "测试失败:T1不通或(F1+F1-)短路!!!",
     "F1+、F1-短路或T1、T2短路或T1、T3短路", "测试失败:(F1+F1-)或(T1T2)或(T1T3)短路!!!"},
    {"T2", "T2口不通或F2+、F2-短路!!!", "测试失败:T2不通或(F2+F2-)短路!!!",
     "F2+、F2-短路或T1、T2短路或T2、T4短路", "测试失败:(F2+F2-)或(T1T2)或(T2T4)短路!!!"},
    {"T3", "T3口不通或F3+、F3-短路!!!", "测试失败:T3不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!"},
    {"T4", "T4口不通或F3+、F3-短路!!!", "测试失败:T4不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路", "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!"},
    {"SYNC", "SYNC口不通或F3+、F3-短路!!!", "测试失败:SYNC不通或(F3+F3-)短路!!!",
     "F3+、F3-短路或T1、T3短路或T2、T4短路SYNC、GND短路",
     "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!"},
}};

/// Boards with eight inputs. The console text of a shorted SYNC has no line end; that of an open one has.
inline constexpr std::array<PortTexts, 8> kEightPorts = {{
    kFivePorts[0],
    kFivePorts[1],
    {"T3", kFivePorts[2].open_console, kFivePorts[2].open_description,
     "F3+、F3-短路或T1、T3短路或T3、T4短路或T3、T5短路", "测试失败:(F3+F3-)或(T1T3)或(T3T4)或(T3T5)短路!!!"},
    {"T4", "T4口不通或F4+、F4-短路!!!", "测试失败:T4不通或(F4+F4-)短路!!!",
     "F4+、F4-短路或T2、T4短路或T3、T4短路或T4、T6短路", "测试失败:(F4+F4-)或(T2T4)或(T3T4)或(T4T6)短路!!!"},
    {"T5", "T5口不通或F5+、F5-短路!!!", "测试失败:T5不通或(F5+F5-)短路!!!",
     "F5+、F5-短路或T3、T5短路或T5、T6短路或T5、T7短路", "测试失败:(F5+F5-)或(T3T5)或(T5T6)或(T5T7)短路!!!"},
    {"T6", "T6口不通或F6+、F6-短路!!!", "测试失败:T6不通或(F6+F6-)短路!!!",
     "F6+、F6-短路或T4、T6短路或T5、T6短路", "测试失败:(F6+F6-)或(T4T6)或(T5T6)短路!!!"},
    {"T7", "T7口不通或F7+、F7-短路!!!", "测试失败:T7不通或(F7+F7-)短路!!!",
     "F7+、F7-短路或T5、T7短路或T7、SYNC短路", "测试失败:(F7+F7-)或(T5T7)或(T7、SYNC)短路!!!"},
    {"SYNC", "SYNC不通", "测试失败:SYNC不通!!!", "SYNC口短路", "测试失败:SYNC口短路!!!"},
}};
// clang-format on

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
  int first_ms;         ///< until the first reading of a port
  int second_ms;        ///< from there until the second
  int cycle_ms;         ///< all ports, without the pause that follows
  int pause_ms;
};

inline void PrintTo(const Loopback& variant, std::ostream* out) {
  *out << variant.name;
}

inline std::vector<Loopback> loopbacks() {
  const std::vector<PortTexts> five(kFivePorts.begin(), kFivePorts.end());
  const std::vector<PortTexts> eight(kEightPorts.begin(), kEightPorts.end());
  // clang-format off
  return {
      {"Normal", "normal", "alarm_test_65xx",    alarm_test_64xx,    "/dev/fpga",  2, five,  true,  false, false, 200, 300, 2500, 500},
      {"K",      "k",      "alarm_test_65xx",    alarm_test_64xx_k,  "/dev/fpga",  3, eight, true,  false, false, 200, 300, 4300, 700},
      {"Ma",     "ma",     "alarm_test_64xx_19", alarm_test_64xx_19, "/dev/fpga",  3, five,  true,  true,  true,  200, 300, 2500, 500},
      {"Driver", "68xx",   "alarm_test_68xx",    alarm_test_68xx,    "/dev/alarm", 2, five,  false, false, false, 500, 500, 5000, 500},
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
  if (fault == faults.end()) return std::string(port.port) + "口报警输入测试成功\n";
  if (fault->second == PortFault::open) return std::string(port.open_console) + "\n";
  const bool without_end = variant.ports.size() == 8 && std::string_view(port.port) == "SYNC";
  return std::string(port.short_console) + (without_end ? "" : "\n");
}

/// The first lines of a run: the banner, and the name of the expansion board.
inline std::string head_console(const Loopback& variant, unsigned mode) {
  const std::string banner = std::string(variant.banner) + "\n";
  if (!variant.names_modes) return banner;
  if (mode == 1) return banner + "一路报警一路485扩展板..\n";
  if (mode == 2) return banner + "两路报警输出扩展板..\n";
  if (mode == 3) return banner + "九路报警输出无扩展板..\n";
  const bool with_dots = std::string_view(variant.name) == "Normal";
  return banner + "无扩展板..\n" + (with_dots ? "..............................ffff.....\n" : "");
}

/// The whole console of a run, without input words and without what follows the last cycle's empty line.
inline std::string run_console(const Loopback& variant, unsigned mode, const PortFaults& first,
                               const PortFaults& second) {
  std::string text = head_console(variant, mode);
  for (const auto& [title, faults] :
       {std::pair{"\n第1次测试\n", first}, std::pair{"\n第2次测试\n", second}}) {
    text += title;
    for (const PortTexts& port : variant.ports) text += port_console(variant, port, faults);
  }
  return text + "\n";
}

/// A console without the input words, where the variant prints them.
inline std::string without_words(const Loopback& variant, std::string rest) {
  if (!variant.prints_words) return rest;
  std::string text;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    const std::string line = rest.substr(0, end == std::string::npos ? end : end + 1);
    if (!line.starts_with("0x")) text += line;
    rest.erase(0, line.size());
  }
  return text;
}
