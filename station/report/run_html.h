// Stored runs on pages: a run's own report, lists of runs.
#pragma once

#include <functional>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "station/records/rows.h"
#include "station/report/html.h"

namespace t1station {

/// A report's first lines, up to its body: a file that needs no other one, without scripts. `title` is a
/// text.
std::string html_header(const std::string& title, Language language);

/// Its last lines: the program that made it, with its version, and the end of its body.
std::string html_footer();

/// Adds a run's report: its verdict, its unit, its plan, every attempt and measurement, its hash, and behind
/// them, for the screen only, the messages with their exact bytes.
void add_run_report(pugi::xml_node to, const StoredRun& run, Wording say);

/// The same as HTML, to stand between header and footer; it begins a new page of paper.
std::string html_run(const StoredRun& run, Language language);

/// Adds runs as a table, one a row. `link` has the address of a run's report by its id, or nothing.
void add_runs_table(pugi::xml_node to, const std::vector<StoredRun>& runs, Wording say,
                    const std::function<std::string(const std::string& id)>& link);

}  // namespace t1station
