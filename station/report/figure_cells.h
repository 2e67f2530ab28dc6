// What the parts of a page of figures share: numbers as people read them, and the lists of runs they lead to.
#pragma once

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <utility>
#include <vector>

#include "station/figures/figures.h"
#include "station/report/figures_html.h"

namespace t1station {

/// Verdicts by which the first-pass yield judges a run; all that a run can end with.
inline const std::vector<std::string> kJudged{"passed", "failed", "error"};
inline const std::vector<std::string> kEnded{"passed", "failed", "error", "stopped", "interrupted"};
inline const std::vector<std::string> kNotPassed{"failed", "error", "stopped", "interrupted"};
/// These, and runs without an end.
inline const std::vector<std::string> kNotPassedYet{"failed", "error", "stopped", "interrupted", "open"};

/// Percents; a dash of nothing.
std::string share_text(const Share& share);
std::string chance_text(const std::optional<double>& p);

/// A heading with these texts and classes. Returns the table's body.
pugi::xml_node add_heading(pugi::xml_node table,
                           const std::vector<std::pair<std::string, const char*>>& cells);

/// A section with a title; `name` tells tools which one it is.
pugi::xml_node add_figure_section(pugi::xml_node to, const std::string& title, const char* name);

/// Makes numbers lead to their runs.
class FigureRuns {
 public:
  /// Of production runs in this window. Without `link` numbers lead nowhere.
  FigureRuns(const FigureWindow& window, const RunsLink& link) : window_(window), link_(link) {}

  RunFilter all() const;
  RunFilter ended(const std::vector<std::string>& verdicts) const;
  /// Each unit's first run that ended so.
  RunFilter first(const std::vector<std::string>& verdicts) const;
  RunFilter of_step(const std::string& plan, const std::string& step, const std::string& attempt = {}) const;

  /// Adds a text that leads to so many runs; the number itself unless another one is given.
  void add(pugi::xml_node to, std::int64_t runs, const RunFilter& filter, const std::string& text) const;
  void add(pugi::xml_node to, std::int64_t runs, const RunFilter& filter) const;

 private:
  const FigureWindow& window_;
  const RunsLink& link_;
};

}  // namespace t1station
