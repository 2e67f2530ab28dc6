// The checksum of the timing generator's record, whether it comes from the file or from the store.
#pragma once

#include "t1_sdk/boardtest/sensor/tg_param.h"

/// The sum that closes a record whose tgNum is at most kMostTgPairs.
unsigned tg_checksum(tg_data_cen& record);
