// Figures from a station's own file.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "station/figures/figures.h"
#include "station/records/reader.h"

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

/// Calls for each run that a filter wants, as RecordsReader::for_each_row() does. What few of many runs have
/// is looked for in the days that find_figures() has kept beside the file, where there are any: of a list
/// that begins with the newest and has a limit. Throws as RecordsReader does.
void for_each_run(const std::string& file, const RunFilter& filter,
                  const std::function<void(const StoredRun&)>& call,
                  std::int64_t fewest_kept = kFewestKeptRuns, const std::atomic<bool>* stop = nullptr);

}  // namespace t1station
