// How reports look, on the screen and on paper.
#pragma once

#include <string_view>

namespace t1station {

/// The style sheet of reports and of the pages that show the same.
std::string_view report_style();

}  // namespace t1station
