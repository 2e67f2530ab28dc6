// The three models whose substrate voltage is trimmed, the three commands of a trim, and what they say.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>

#include "t1_sdk/boardtest/sensor/vsub/trim.h"
#include "tests/sensor/vsub_run.h"

struct TrimModel {
  const char* family;
  int slot;
  int range;
  std::uint32_t base;   ///< the code that a test stores for it
  const char* voltage;  ///< of the base
  const char* says;     ///< the line of the search for it
  int add_code, dec_code;
};

inline constexpr TrimModel k6455Trim{"6455", 0, 24, 2694, "7.6", "QN_5RX6455\n", 11009, 11010};
inline constexpr TrimModel k6485Trim{"6485", 1, 24, 2718, "7", "QN_5RX6485, iQN_5RX6485\n", 11265, 11266};
inline constexpr TrimModel k6484Trim{
    "6484", 2, 20, 2744, "9.5", "QN_5RX6484A, iQN_5RX6484A, QN_5RX6484A_K, iQN_5RX6484A_E\n", 11521, 11522};

/// A command of a trim on a model: a step that changes the code, or the saving that does not.
struct TrimCommand {
  const char* name;
  const TrimModel& model;
  void (*run)();
  int code;
  int change;
  const char* entry;  ///< its first line

  bool saves() const { return change == 0; }
  /// The code behind so many of these commands, from the model's base on.
  std::uint32_t trimmed(int times = 1) const {
    return model.base + static_cast<std::uint32_t>(times * change);
  }
};

inline void PrintTo(const TrimCommand& command, std::ostream* out) {
  *out << command.name;
}

/// The first line of each command.
inline constexpr const char* kAddLine = "t1_sdk_add_trim_vsub\n";
inline constexpr const char* kDecLine = "t1_sdk_dec_trim_vsub\n";
inline constexpr const char* kSaveLine = "t1_sdk_save_trim_vsub\n";
inline constexpr TrimCommand kTrimCommands[] = {
    {"Add6455", k6455Trim, t1_sdk_addVsub6455, 11009, -1, kAddLine},
    {"Dec6455", k6455Trim, t1_sdk_decVsub6455, 11010, +1, kDecLine},
    {"Save6455", k6455Trim, t1_sdk_saveVsub6455, 11011, 0, kSaveLine},
    {"Add6485", k6485Trim, t1_sdk_addVsub6485, 11265, -1, kAddLine},
    {"Dec6485", k6485Trim, t1_sdk_decVsub6485, 11266, +1, kDecLine},
    {"Save6485", k6485Trim, t1_sdk_saveVsub6485, 11267, 0, kSaveLine},
    {"Add6484", k6484Trim, t1_sdk_addVsub6484, 11521, -1, kAddLine},
    {"Dec6484", k6484Trim, t1_sdk_decVsub6484, 11522, +1, kDecLine},
    {"Save6484", k6484Trim, t1_sdk_saveVsub6484, 11523, 0, kSaveLine},
};

// ---- what the console says ----------------------------------------------------------------

inline std::string hex_code(std::uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", code);
  return text;
}
inline std::string loaded_line(std::uint32_t base) {
  return "vsub = " + hex_code(base) + "\n";
}
inline std::string trimmed_line(std::uint32_t code) {
  return "after trim vsub: " + hex_code(code) + "\n";
}
inline std::string saved_line(std::uint32_t code) {
  return "success trim vsub success: " + hex_code(code) + "\n";
}
/// What a command says of the code that it applies; nothing when it saves only.
inline std::string step_lines(const TrimCommand& command, std::uint32_t code) {
  if (command.saves()) return "";
  return "只能微调上下" + std::to_string(command.model.range) + "档\n" + trimmed_line(code);
}

// ---- what the hardware is asked -----------------------------------------------------------

/// Both words are read from the store.
inline void load_trim(VsubScript& script) {
  script.emmc_read(4);
  script.emmc_read(8);
}
/// What follows when the codes are there; `ma` boards save on their eMMC.
inline void trim(VsubScript& script, const TrimCommand& command, std::uint32_t code, bool ma = false) {
  if (!command.saves()) {
    script.fpga(0xD1, 1);
    script.apply(code);
  }
  ma ? script.emmc_save(64) : script.flash_save();
  script.emmc_read(64);
  script.fpga(0xD1, 0);
}
