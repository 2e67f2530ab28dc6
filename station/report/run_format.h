// The formats in which stored runs leave the station.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "station/records/rows.h"
#include "station/report/html.h"
#include "station/report/run_csv.h"

namespace t1station {

/// What is written before the runs, for each of them, and behind them, in this order.
struct RunFormat {
  std::function<std::string()> header;
  std::function<std::string(const StoredRun&)> run;
  std::function<std::string()> footer;
};

/// What a person may choose of a format.
struct FormatChoice {
  CsvText csv_text = CsvText::utf8;
  Language language = Language::both;  ///< of html
};

/// "jsonl", "csv", "junit", "ocp", "cfx", "html".
std::span<const std::string_view> format_names();

/// The format of that name, to write one file. Throws std::out_of_range when there is none.
RunFormat format_named(std::string_view name, FormatChoice choice);

}  // namespace t1station
