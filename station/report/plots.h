// Plots as SVG, for pages and reports alike. Colours are the style sheet's: an element says what it is by its
// class.
#pragma once

#include <cstdint>
#include <functional>
#include <pugixml.hpp>
#include <string>
#include <utility>
#include <vector>

#include "station/figures/figures.h"

namespace t1station {

/// Where the runs of a bar, counted from 0, are: an address; "" for nowhere. On paper there is none at all.
using BarLink = std::function<std::string(std::size_t bar)>;

/// A number as people read it, with at most five digits that count.
std::string number_text(double number);

/// Adds a bar of `part`, from 0 to 1, with a stroke at `mark` where it is 0 to 1.
void add_bar(pugi::xml_node to, double part, double mark = -1);

/// Adds one bar of several parts beside each other: their classes and sizes.
void add_stack(pugi::xml_node to, const std::vector<std::pair<std::string, std::int64_t>>& parts);

/// Adds a Pareto chart: numbered bars, the highest first, and the line of what they make together; `all` is
/// the height of both.
void add_pareto(pugi::xml_node to, const std::vector<std::int64_t>& counts, std::int64_t all,
                const BarLink& link);

/// Adds a measurement's histogram with its limits and its mean.
void add_histogram(pugi::xml_node to, const MeasurementFigures& measurement, const BarLink& link);

}  // namespace t1station
