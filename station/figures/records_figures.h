// Figures from a station's own file.
#pragma once

#include <memory>
#include <string>

#include "station/figures/figure_database.h"

namespace t1station {

class Database;

/// Reads a file beside the station that writes it, and disturbs it in nothing.
class RecordsFigures : public FigureDatabase {
 public:
  /// Throws RecordsRefused when these are no records, RecordsBroken when they cannot be read.
  explicit RecordsFigures(const std::string& file);
  ~RecordsFigures() override;

  void at_one_moment(const std::function<void()>& ask) override;
  void rows(std::string_view sql, const std::vector<std::string>& parameters,
            const std::function<void(const FigureRow&)>& call) override;

 private:
  std::string file_;
  std::unique_ptr<Database> database_;
};

}  // namespace t1station
