#include "station/figures/records_figures.h"

#include <algorithm>

#include "station/records/database.h"
#include "station/records/reader.h"
#include "station/records/reading.h"
#include "station/records/records.h"

namespace t1station {
namespace {

/// The row at which a statement stands.
class StatementRow : public FigureRow {
 public:
  explicit StatementRow(const Statement& statement) : statement_(statement) {}

  bool is_null(int column) const override { return statement_.is_null(column); }
  std::string_view text(int column) const override { return statement_.text_view(column); }
  std::int64_t integer(int column) const override { return statement_.integer(column); }
  double real(int column) const override { return statement_.real(column); }

 private:
  const Statement& statement_;
};

/// A moment of the file, as long as this is there.
class Moment {
 public:
  explicit Moment(Database& database) : database_(database) { database_.execute("BEGIN"); }
  ~Moment() {
    try {
      database_.execute("ROLLBACK");
    } catch (const SqlError&) {
      // Nothing was written, and SQLite has ended it already.
    }
  }
  Moment(const Moment&) = delete;
  Moment& operator=(const Moment&) = delete;

 private:
  Database& database_;
};

}  // namespace

RecordsFigures::RecordsFigures(const std::string& file, const std::atomic<bool>* stop) : file_(file) {
  read_records(file_, [&] { database_ = open_for_reading(file_, stop); });
}

RecordsFigures::~RecordsFigures() = default;

void RecordsFigures::at_one_moment(const std::function<void()>& ask) {
  read_records(file_, [&] {
    const Moment moment(*database_);
    ask();
  });
}

void RecordsFigures::rows(std::string_view sql, const std::vector<std::string>& parameters,
                          const std::function<void(const FigureRow&)>& call) {
  std::string own(sql);
  std::replace(own.begin(), own.end(), '$', '?');  // SQLite numbers what begins with ? only
  read_records(file_, [&] {
    Statement statement(*database_, own);
    for (const std::string& parameter : parameters) statement.bind(parameter);
    const StatementRow row(statement);
    while (statement.step()) call(row);
  });
}

}  // namespace t1station
