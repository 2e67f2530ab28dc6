// Stored runs as comma-separated values, one attempt a row.
#pragma once

#include <string>

#include "station/records/rows.h"

namespace t1station {

/// The names of the columns, with the line's end: those of the attempt as they are, those of its run behind
/// "run_".
std::string csv_header();

/// A row for each attempt of a run, as RFC 4180 says: UTF-8, lines end with CR LF, what is not there is
/// empty. Bytes are in base64, measurements as JSON.
std::string csv_rows(const StoredRun& run);

}  // namespace t1station
