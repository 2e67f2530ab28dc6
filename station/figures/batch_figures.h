// Batches of units, told apart by how their serial numbers begin.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/figures/figures.h"

namespace t1station {

/// Counts units by the first character in which their serial numbers differ: which one that is shows only
/// when all have been seen. First runs must come newest first.
class BatchCounting {
 public:
  /// A unit of the window, and whether its last run there passed.
  void add_unit(std::string_view serial, bool has_passed);
  /// A first run that is judged; `run` is its id.
  void add_first(std::string_view serial, bool is_good, std::string_view run);
  std::vector<BatchFigures> finish();

 private:
  struct Batch {
    BatchFigures figures;
    std::vector<std::pair<std::int64_t, std::string>>
        lost;  ///< ids of the newest, each with its place among all
  };

  Batch& batch_of(std::string_view serial);
  void join_all(std::size_t common);

  bool is_empty_ = true;
  std::string common_;  ///< how all serial numbers begin
  std::map<std::string, Batch>
      batches_;  ///< by the character behind that; empty for the number that ends there
  std::int64_t first_runs_ = 0;
};

}  // namespace t1station
