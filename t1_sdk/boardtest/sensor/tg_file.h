// What the timing generator's file and its stored record have in common.
#pragma once

#include "t1_sdk/boardtest/sensor/tg_param.h"

/// The pairs for which a record has room.
inline constexpr int kMostTgPairs = 128;

/// The sum that closes a record whose tgNum is at most 128.
unsigned tg_checksum(tg_data_cen& record);
