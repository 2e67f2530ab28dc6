// The CCD models: their tables of codes and voltages, and how far each may be trimmed.
#pragma once

#include <cstdint>

#include "t1_sdk/boardtest/sensor/vsub/records.h"

/// A code and the voltage that it stands for, as text.
struct VSUBNAME {
  std::uint32_t vsub;
  char voltage[8];
};

/// 6484: codes fall by 5 or 6 per 0.2 V.
extern const VSUBNAME vsub_6484[29];
/// 6485 and 6455, alike: codes fall by 8 per 0.2 V.
extern const VSUBNAME vsub_6485[21];
extern const VSUBNAME vsub_6455[21];

/// Looks the record's originalVsub up in the table of the model (0x9603, 0x9604, 0x9605, 0x960F, 0x9709) and
/// puts the voltage into the record; it stays as it is for a code that is not in the table.
void find_vusb_voltage(VSUB_DATA* pData, int devType);

/// The code for an entry in hundredths of a volt. devType 1 is 6455 and 6485, 0 is 6484; their entries out of
/// range give 2686 and 2784. -1 for any other devType.
[[nodiscard]] int t1_sdk_vsub_code_to_regval(int devType, int sub_value);

namespace boardtest {

struct VoltageTable;

/// A model whose substrate voltage can be set.
struct CcdModel {
  static constexpr int kNoSlot = -1;

  int code;                                ///< device type code
  const VoltageTable* voltages = nullptr;  ///< null: what its codes stand for is not known
  int trim_range = 0;                      ///< code steps to either side of the base; 0: it is not trimmed
  int slot = kNoSlot;                      ///< of its trimmed and its base code
};

/// The row of a device type code; null for a board whose substrate voltage cannot be set.
[[nodiscard]] const CcdModel* ccd_model(int devType);

}  // namespace boardtest
