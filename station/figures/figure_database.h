// Where figures ask: a station's file, or the plant's database. One wording of SQL for both.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// One row of an answer; columns count from 0.
class FigureRow {
 public:
  virtual ~FigureRow() = default;

  virtual bool is_null(int column) const = 0;
  /// Empty for NULL. Stands until the next row.
  virtual std::string_view text(int column) const = 0;
  /// 0 for NULL.
  virtual std::int64_t integer(int column) const = 0;
  /// 0 for NULL.
  virtual double real(int column) const = 0;
};

/// A database with the tables of the records. All members throw RecordsBroken when it cannot be read.
///
/// Statements are SELECTs that SQLite 3.40 and PostgreSQL 15 understand alike: parameters are $1, $2 ... and
/// texts, each may stand several times; a time is only ever a whole column that is compared with a
/// parameter or another such column, and is never read; no truth value stands in a column of the answer.
class FigureDatabase {
 public:
  virtual ~FigureDatabase() = default;

  /// Calls `ask` once; whatever it asks is answered as of one moment.
  virtual void at_one_moment(const std::function<void()>& ask) = 0;
  /// Calls for each row, in the statement's order. `parameters` are $1, $2 ...
  virtual void rows(std::string_view sql, const std::vector<std::string>& parameters,
                    const std::function<void(const FigureRow&)>& call) = 0;
};

}  // namespace t1station
