// Stored runs as JSON: keys are the columns' names, what is not there is null.
#pragma once

#include <string>

#include "station/records/rows.h"

namespace t1station {

/// A run with its attempts, each with its measurements, and its connections, as one line of UTF-8 without its
/// end. Bytes stand there twice: as text as far as they are text, and exactly, in base64.
std::string run_json(const StoredRun& run);

/// The same without its attempts and connections.
std::string run_row_json(const StoredRun& run);

/// The measurements of an attempt as a JSON array.
std::string measurements_json(const StoredAttempt& attempt);

/// Bytes in base64.
std::string base64(std::string_view bytes);

}  // namespace t1station
