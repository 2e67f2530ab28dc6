#include "station/central/central_figures.h"

#include "station/central/central_schema.h"
#include "station/records/records.h"

namespace t1station {
namespace {

constexpr const char* kNextRows = "FETCH 5000 FROM figures";

/// A row as it came.
class CentralRow final : public FigureRow {
 public:
  void go_to(const Row& row) { row_ = &row; }

  bool is_null(int column) const override { return std::holds_alternative<std::monostate>(at(column)); }
  std::string_view text(int column) const override {
    const auto* text = std::get_if<std::string>(&at(column));
    return text ? std::string_view(*text) : std::string_view();
  }
  std::int64_t integer(int column) const override {
    const auto* number = std::get_if<std::int64_t>(&at(column));
    return number ? *number : 0;
  }
  double real(int column) const override {
    const auto* number = std::get_if<double>(&at(column));
    return number ? *number : static_cast<double>(integer(column));
  }

 private:
  const Value& at(int column) const { return row_->at(static_cast<std::size_t>(column)); }

  const Row* row_ = nullptr;
};

// What the database cannot do is trouble on reading, as it is for a file.
template <typename Asking>
void asking(const Asking& ask) {
  try {
    ask();
  } catch (const CentralTrouble& trouble) {
    throw RecordsBroken("cannot read the central database: " + std::string(trouble.what()));
  }
}

}  // namespace

CentralFigures::CentralFigures(const std::string& url, const CentralPatience& patience, int stop)
    : database_(url, patience, stop) {
  expect_central_tables_for_reading(database_);
}

void CentralFigures::at_one_moment(const std::function<void()>& ask) {
  // Every row of each cursor is read: none is to be there soon at the price of the others.
  asking([&] {
    database_.run({{"BEGIN ISOLATION LEVEL REPEATABLE READ, READ ONLY"},
                   {"SELECT set_config('cursor_tuple_fraction', '1', true)"}});
  });
  is_in_a_moment_ = true;
  ask();
  asking([&] { database_.ask("COMMIT"); });
  is_in_a_moment_ = false;
}

void CentralFigures::rows(std::string_view sql, const std::vector<std::string>& parameters,
                          const std::function<void(const FigureRow&)>& call) {
  // A cursor lives in a transaction.
  if (!is_in_a_moment_) return at_one_moment([&] { rows(sql, parameters, call); });
  asking([&] {
    database_.ask("DECLARE figures NO SCROLL CURSOR FOR " + std::string(sql),
                  {parameters.begin(), parameters.end()});
    CentralRow row;
    for (Postgres::Rows some = database_.ask(kNextRows); !some.empty(); some = database_.ask(kNextRows)) {
      for (const Row& values : some) {
        row.go_to(values);
        call(row);
      }
    }
    database_.ask("CLOSE figures");
  });
}

}  // namespace t1station
