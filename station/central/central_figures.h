// Figures of all stations, asked of the central database.
#pragma once

#include <string>

#include "station/central/postgres.h"
#include "station/figures/figure_database.h"

namespace t1station {

/// A central database as figures ask it. Answers come a part at a time: a million rows need little room.
class CentralFigures final : public FigureDatabase {
 public:
  /// Connects. Throws CentralTrouble, CentralStopped; RecordsRefused without tables, or when they are of
  /// another version.
  CentralFigures(const std::string& url, const CentralPatience& patience, int stop);

  void at_one_moment(const std::function<void()>& ask) override;
  void rows(std::string_view sql, const std::vector<std::string>& parameters,
            const std::function<void(const FigureRow&)>& call) override;

 private:
  Postgres database_;
  bool is_in_a_moment_ = false;
};

}  // namespace t1station
