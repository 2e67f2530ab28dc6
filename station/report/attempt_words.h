// Why a test did not pass, in the words that reports for other programs carry.
#pragma once

#include <string>

#include "station/records/rows.h"
#include "station/run/result.h"

namespace t1station {

/// What is wrong with its measurements and that a person answered no, where that is so, then what the board
/// said: "degrees 71.5 degC, above 60: Pass". The board's words alone where nothing else is wrong.
std::string failure_words(const Result& result);
std::string failure_words(const StoredAttempt& attempt);

}  // namespace t1station
