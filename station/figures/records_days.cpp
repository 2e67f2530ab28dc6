// Figures of a station's own file, day by day.
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "station/figures/counting.h"
#include "station/figures/digest_rows.h"
#include "station/figures/kept_days.h"
#include "station/figures/records_figures.h"
#include "station/records/place.h"

namespace t1station {
namespace {

/// Behind each time of a day, as text.
constexpr const char* kEndOfDay = "\U0010FFFF";

using Days = std::set<std::string>;

/// The first column of the answer, as texts.
std::vector<std::string> texts(FigureDatabase& records, std::string_view sql,
                               const std::vector<std::string>& parameters) {
  std::vector<std::string> found;
  records.rows(sql, parameters, [&found](const FigureRow& row) {
    if (!row.is_null(0)) found.emplace_back(row.text(0));
  });
  return found;
}

/// The run that ended last, or the one with this sequence.
EndedSoFar ended_so_far(FigureDatabase& records, std::optional<std::int64_t> sequence = {}) {
  EndedSoFar ended;
  const std::string which = sequence ? std::to_string(*sequence) : "(SELECT max(sequence) FROM run)";
  records.rows("SELECT sequence, id, hash FROM run WHERE sequence = " + which, {},
               [&ended](const FigureRow& row) {
                 ended = {row.integer(0), std::string(row.text(1)), std::string(row.text(2))};
               });
  return ended;
}

/// Days of the window on which runs started.
Days days_of(FigureDatabase& records, const FigureWindow& window) {
  Days days;
  std::string from = window.from.value_or("");
  while (true) {
    const auto next = texts(records, "SELECT min(started) FROM run WHERE started >= $1", {from});
    if (next.empty() || (window.to && next[0] >= *window.to)) return days;
    from = *days.insert(next[0].substr(0, 10)).first + kEndOfDay;
  }
}

/// Days on which runs started that fit this condition, and on which units of theirs started a later run.
Days touched_days(FigureDatabase& records, const std::string& condition) {
  Days days;
  const std::string own = "SELECT DISTINCT substr(run.started, 1, 10) FROM run WHERE " + condition;
  // A clock that was set back: a run that was its unit's first one is that no longer.
  const std::string later =
      "SELECT DISTINCT substr(later.started, 1, 10) FROM run JOIN run AS later ON later.serial = run.serial "
      "WHERE later.started >= run.started AND " +
      condition;
  for (const std::string& sql : {own, later}) {
    for (std::string& day : texts(records, sql, {})) days.insert(std::move(day));
  }
  return days;
}

bool is_own_file(const std::string& file) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 && status.st_uid == geteuid();
}

/// Goes through days, the newest first, kept or found anew.
class Reading {
 public:
  /// `reach` is what the kept days reach up to, if there are any.
  Reading(FigureDatabase& records, KeptDays& kept, const std::optional<EndedSoFar>& reach)
      : records_(records),
        kept_(kept),
        is_known_(reach && ended_so_far(records, reach->sequence) == *reach),
        open_(touched_days(records, "run.verdict IS NULL")),
        changed_(open_) {
    if (!is_known_) return;
    changed_.merge(touched_days(records, "run.sequence > " + std::to_string(reach->sequence)));
  }

  Digest day(const std::string& day) {
    Digest digest;
    if (is_known_ && !changed_.contains(day) && kept_.load(day, digest)) return digest;
    digest = read_digest(records_, {day, day + kEndOfDay, {}}, true);
    if (!open_.contains(day)) keep(day, digest);
    return digest;
  }

 private:
  void keep(const std::string& day, const Digest& digest) {
    if (!has_kept_) kept_.set_reach(ended_so_far(records_), changed_, !is_known_);
    has_kept_ = true;
    kept_.keep(day, digest);
  }

  FigureDatabase& records_;
  KeptDays& kept_;
  bool is_known_;
  bool has_kept_ = false;
  Days open_;     ///< with runs that have not ended: found anew until they have
  Days changed_;  ///< that may differ from what was kept
};

}  // namespace

Figures find_figures(const std::string& file, const FigureWindow& window, std::int64_t fewest_kept,
                     const std::atomic<bool>* stop) {
  RecordsFigures records(file, stop);
  const std::string real = real_file(file);
  // Another user's file would only be in the way of the owner's.
  if (ended_so_far(records).sequence < fewest_kept || !is_own_file(real))
    return find_figures(records, window);
  KeptDays kept(real + "-figures");
  const std::optional<EndedSoFar> reach =
      kept.reach();  // first: what is kept must not be newer than the records
  FigureCounting counting(window);
  std::vector<PlanNamed> plans;
  records.at_one_moment([&] {
    plans = find_plans(records);
    Reading reading(records, kept, reach);
    const Days days = days_of(records, window);
    for (auto day = days.rbegin(); day != days.rend(); ++day) counting.add(reading.day(*day));
  });
  kept.finish();
  return counting.finish(std::move(plans));
}

}  // namespace t1station
