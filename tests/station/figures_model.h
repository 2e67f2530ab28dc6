// A line's runs as a list, and its figures by loops over that list: a second, plain writing of them.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace figures_model {

struct Measured {
  std::string name;
  std::optional<std::string> unit;
  std::optional<double> low, high, value;
  std::string outcome;
};

struct Attempt {
  std::string step;
  int index = 0, number = 1;
  std::string outcome;
  std::optional<double> seconds;
  std::optional<std::string> description;
  std::vector<Measured> measurements;
};

struct Run {
  std::string id, serial, plan, version, kind, station;
  std::optional<std::string> slot;
  std::string started;
  std::optional<std::string> verdict;  ///< nothing while it runs
  bool is_retried = false;
  std::vector<Attempt> attempts;  ///< a step's one behind the other, in the order of their numbers
};

using Runs = std::vector<Run>;

struct Window {
  std::optional<std::string> from, to, plan{}, batch{};
};

/// The document that the figures of these runs must give; but the histogram's bars, normality and drift.
nlohmann::json document_of(const Runs& runs, const Window& window);
/// A document of figures without these, which only samples of known distributions can prove.
nlohmann::json comparable(nlohmann::json document);

/// Where two documents differ, "" when they do not: numbers may differ in their last digits.
std::string difference(const nlohmann::json& one, const nlohmann::json& other, const std::string& path = "");

}  // namespace figures_model
