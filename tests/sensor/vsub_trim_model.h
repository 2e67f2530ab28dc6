// The three models whose substrate voltage is trimmed, and what the tests of a trim share.
#pragma once

#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>

#include "t1_sdk/boardtest/sensor/vsub/trim.h"
#include "tests/sensor/vsub_board.h"

struct TrimModel {
  const char* name;
  const char* family;
  int dev;
  int slot;
  int range;
  std::uint32_t base;
  const char* voltage;  ///< of the base
  const char* says;     ///< the line of the search for it
  int add_code, dec_code, save_code;
  void (*add)();
  void (*dec)();
  void (*save)();
};

inline void PrintTo(const TrimModel& model, std::ostream* out) {
  *out << model.name;
}

inline const TrimModel k6455Trim{"Model6455",
                                 "6455",
                                 0x9603,
                                 0,
                                 24,
                                 2694,
                                 "7.6",
                                 "QN_5RX6455\n",
                                 0x2B01,
                                 0x2B02,
                                 0x2B03,
                                 t1_sdk_addVsub6455,
                                 t1_sdk_decVsub6455,
                                 t1_sdk_saveVsub6455};
inline const TrimModel k6485Trim{"Model6485",
                                 "6485",
                                 0x9605,
                                 1,
                                 24,
                                 2718,
                                 "7",
                                 "QN_5RX6485, iQN_5RX6485\n",
                                 0x2C01,
                                 0x2C02,
                                 0x2C03,
                                 t1_sdk_addVsub6485,
                                 t1_sdk_decVsub6485,
                                 t1_sdk_saveVsub6485};
inline const TrimModel k6484Trim{"Model6484",
                                 "6484",
                                 0x9604,
                                 2,
                                 20,
                                 2744,
                                 "9.5",
                                 "QN_5RX6484A, iQN_5RX6484A, QN_5RX6484A_K, iQN_5RX6484A_E\n",
                                 0x2D01,
                                 0x2D02,
                                 0x2D03,
                                 t1_sdk_addVsub6484,
                                 t1_sdk_decVsub6484,
                                 t1_sdk_saveVsub6484};

/// A code as the console shows it.
inline std::string hex_code(std::uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", code);
  return text;
}

/// A board of one of the models, its eMMC holding the model's base code.
class TrimRun : public VsubRun {
 protected:
  explicit TrimRun(const TrimModel& model) : VsubRun(model.family) { store_base(model); }

  void next_model_board(const TrimModel& model, std::string_view family) {
    next_board(family);
    store_base(model);
  }
  void store_base(const TrimModel& model) { store(model.base, model.base, model.voltage); }

  static std::string loaded_line(std::uint32_t base) { return "vsub = " + hex_code(base) + "\n"; }
  static std::string range_line(int range) { return "只能微调上下" + std::to_string(range) + "档\n"; }
  static std::string trimmed_line(std::uint32_t code) { return "after trim vsub: " + hex_code(code) + "\n"; }
  /// The first half of a trim's trace: both words are read from the store.
  static void load(VsubScript& script) {
    script.emmc_read(4);
    script.emmc_read(8);
  }
  /// What a step asks of the hardware once the codes are there.
  static void step(VsubScript& script, std::uint32_t code) {
    script.fpga(0xD1, 1);
    script.apply(code);
    script.flash_save();
    script.emmc_read(64);
    script.fpga(0xD1, 0);
  }
};
