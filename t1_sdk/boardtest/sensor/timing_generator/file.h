// /devinfo/TG.bin: the timing generator's parameters of several models, as text.
#pragma once

#include "t1_sdk/boardtest/sensor/timing_generator/record.h"

/// Fills `tg` with the block of /devinfo/TG.bin for this board's model, FPGA and sensor. The number of pairs,
/// or -1 null `tg`, boot block unreadable or model unknown, -2 no file, -3 no section for the model, -4 no
/// block for the versions, -6 pair count outside 0 to 128, -7 the file ends among the pairs or has an empty
/// line there. A line that is no pair leaves its entry zero.
[[nodiscard]] int getTgFromFile(tg_data_cen* tg);
