// Stored runs as comma-separated values, one attempt a row.
#pragma once

#include <string>

#include "station/records/rows.h"

namespace t1station {

/// In which characters: UTF-8 with the mark by which spreadsheets know it, or GBK, which needs none in China.
enum class CsvText { utf8, gbk };

/// The names of the columns, with the line's end: those of the attempt as they are, those of its run behind
/// "run_".
std::string csv_header(CsvText text);

/// A row for each attempt of a run, as RFC 4180 says: lines end with CR LF, what is not there is empty. Bytes
/// are in base64, measurements as JSON. A text that a spreadsheet would take for a formula, or that begins
/// with an apostrophe, has an apostrophe before it.
std::string csv_rows(const StoredRun& run, CsvText text);

}  // namespace t1station
