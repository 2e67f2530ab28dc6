// A SELECT over the runs of a window.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/figures/figures.h"

namespace t1station {

/// SQL and its parameters, as FigureDatabase::rows() takes them.
struct WindowQuery {
  std::string sql;
  std::vector<std::string> parameters;

  /// "SELECT `columns` FROM run JOIN plan ... `joins` WHERE ...": the runs of the window and `condition`,
  /// newest first; `then` is what runs of one moment are sorted by besides. In `columns`, FROM stands for
  /// the window's first parameter, where it has one.
  WindowQuery(const FigureWindow& window, std::string_view columns, std::string_view joins,
              std::string_view condition, std::string_view then);
};

}  // namespace t1station
