// Figures from a station's own file.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "station/figures/figures.h"

namespace t1station {

class Database;

/// Reads a file beside the station that writes it, and disturbs it in nothing.
class RecordsFigures : public FigureDatabase {
 public:
  /// Reading fails once `stop`, where there is one, is true. Throws RecordsRefused when these are no records,
  /// RecordsBroken when they cannot be read.
  explicit RecordsFigures(const std::string& file, const std::atomic<bool>* stop = nullptr);
  ~RecordsFigures() override;

  void at_one_moment(const std::function<void()>& ask) override;
  void rows(std::string_view sql, const std::vector<std::string>& parameters,
            const std::function<void(const FigureRow&)>& call) override;

 private:
  std::string file_;
  std::unique_ptr<Database> database_;
};

/// Runs that a file must have before its days are kept beside it.
inline constexpr std::int64_t kFewestKeptRuns = 10000;

/// The figures of a window of a file. To the file's owner days of one of `fewest_kept` runs or more are kept
/// beside it, in FILE-figures, and found anew where runs were stored since. Throws as RecordsFigures does;
/// that nothing can be kept is no error.
Figures find_figures(const std::string& file, const FigureWindow& window,
                     std::int64_t fewest_kept = kFewestKeptRuns, const std::atomic<bool>* stop = nullptr);

}  // namespace t1station
