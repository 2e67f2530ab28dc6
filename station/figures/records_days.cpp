// Figures of a station's own file, day by day.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "station/figures/counting.h"
#include "station/figures/digest_rows.h"
#include "station/figures/kept_days.h"
#include "station/figures/records_figures.h"
#include "station/figures/run_screen.h"
#include "station/records/place.h"

namespace t1station {
namespace {

/// Behind the name of the records: that of the file with their days.
constexpr const char* kKeptBeside = "-figures";
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

  /// A day that was kept and has not changed since; false when there is none.
  bool load(const std::string& day, Digest& digest) {
    return is_known_ && !changed_.contains(day) && kept_.load(day, digest);
  }

  Digest day(const std::string& day) {
    Digest digest;
    if (load(day, digest)) return digest;
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

/// Lists the runs of days, the newest first, up to the filter's limit.
class Listing {
 public:
  Listing(RecordsReader& reader, const RunFilter& filter, const std::function<void(const StoredRun&)>& call)
      : reader_(reader), filter_(filter), screen_(filter), call_(call), left_(*filter.limit) {}

  bool is_full() const { return left_ <= 0; }

  /// A day whose runs are known.
  void add(const Digest& day) {
    screen_.open(day);
    for (auto run = day.runs.rbegin(); run != day.runs.rend() && !is_full(); ++run) {
      if (screen_.lets_pass(*run)) add(std::string(day.text(run->id)));
    }
  }
  /// Runs of any other day, the newest first.
  void add(const std::vector<std::string>& ids) {
    for (const std::string& id : ids) add(id);
  }
  /// Asks the tables for what has been found so far.
  void flush() {
    if (ids_.empty() || is_full()) return;
    RunFilter its = filter_;
    its.limit = left_;
    std::swap(its.ids, ids_);
    reader_.for_each_row(its, [this](const StoredRun& run) {
      --left_;
      call_(run);
    });
  }

 private:
  static constexpr std::size_t kAtOnce = 256;

  void add(const std::string& id) {
    ids_.push_back(id);
    if (ids_.size() == kAtOnce) flush();
  }

  RecordsReader& reader_;
  const RunFilter& filter_;
  RunScreen screen_;
  const std::function<void(const StoredRun&)>& call_;
  int left_;
  std::vector<std::string> ids_;
};

/// Days on which runs may be wanted: those of the run behind which the list goes on, and before.
FigureWindow window_of(FigureDatabase& records, const RunFilter& filter) {
  FigureWindow window{filter.from, filter.to, {}, {}};
  if (!filter.before) return window;
  for (const std::string& started :
       texts(records, "SELECT started FROM run WHERE id = $1", {*filter.before})) {
    const std::string end = started.substr(0, 10) + kEndOfDay;
    window.to = std::min(window.to.value_or(end), end);
  }
  return window;
}

// False, and nothing is listed, where the kept days tell nothing of most runs that are there now.
bool list_by_days(RecordsReader& reader, KeptDays&& kept, RecordsFigures&& records, const RunFilter& filter,
                  const std::function<void(const StoredRun&)>& call) {
  const std::optional<EndedSoFar> reach = kept.reach();
  bool is_listed = false;
  records.at_one_moment([&] {
    if (!reach || ended_so_far(records, reach->sequence) != *reach ||
        ended_so_far(records).sequence - reach->sequence > kFewestKeptRuns)
      return;
    Reading reading(records, kept, reach);
    Listing listing(reader, filter, call);
    const Days days = days_of(records, window_of(records, filter));
    for (auto day = days.rbegin(); day != days.rend() && !listing.is_full(); ++day) {
      Digest digest;
      if (reading.load(*day, digest)) {
        listing.add(digest);
      } else {
        listing.add(texts(
            records, "SELECT id FROM run WHERE started >= $1 AND started < $2 ORDER BY started DESC, id DESC",
            {*day, *day + kEndOfDay}));
      }
    }
    listing.flush();
    is_listed = true;
  });
  return is_listed;
}

}  // namespace

void for_each_run(const std::string& file, const RunFilter& filter,
                  const std::function<void(const StoredRun&)>& call, std::int64_t fewest_kept,
                  const std::atomic<bool>* stop) {
  RecordsReader reader(file, stop);
  const std::string real = real_file(file);
  if (!filter.newest_first || !filter.limit || !RunScreen::helps(filter) || !is_own_file(real) ||
      !std::filesystem::exists(real + kKeptBeside) || reader.last_sequence() < fewest_kept ||
      !list_by_days(reader, KeptDays(real + kKeptBeside), RecordsFigures(file, stop), filter, call))
    reader.for_each_row(filter, call);
}

Figures find_figures(const std::string& file, const FigureWindow& window, std::int64_t fewest_kept,
                     const std::atomic<bool>* stop) {
  RecordsFigures records(file, stop);
  const std::string real = real_file(file);
  // Another user's file would only be in the way of the owner's.
  if (ended_so_far(records).sequence < fewest_kept || !is_own_file(real))
    return find_figures(records, window);
  KeptDays kept(real + kKeptBeside);
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
