// The engineer's pages: figures, lists of runs, a run's report.
#pragma once

#include "station/web/requests.h"

namespace t1station {

/// GET /results: the figures of a window, of the last seven days when none is asked for.
WebAnswer show_results(const Call& call, Subject& subject);

/// GET /runs: runs by what they are, or those with the ids that a figure names.
WebAnswer show_run_list(const Call& call, Subject& subject);

/// GET /runs/ID: the report of a run.
WebAnswer show_run_report(const Call& call, Subject& subject);

/// GET /page/report.css: how all of these look, and the reports that are files.
WebAnswer show_report_style(const Call& call, Subject& subject);

}  // namespace t1station
