// Runs, units, yields and slots.
#pragma once

#include <map>
#include <memory_resource>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "station/figures/digest.h"
#include "station/figures/figures.h"

namespace t1station {

/// Finds what runs alone tell. Runs must come newest first.
class RunCounting {
 public:
  explicit RunCounting(Figures& figures) : figures_(figures) {}

  void add(const Digest& digest, const Digest::Run& run);
  void finish();

 private:
  void add_to_slot(const Digest& digest, const Digest::Run& run);
  void add_first(std::string_view verdict, bool is_retried, std::string_view id);

  Figures& figures_;
  std::pmr::monotonic_buffer_resource memory_;  // of a million units, given back at once
  std::pmr::unordered_set<std::pmr::string> units_{&memory_};
  std::map<std::pair<std::string, std::optional<std::string>>, SlotFigures> slots_;
};

}  // namespace t1station
