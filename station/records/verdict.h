// What a run's verdict is: found from what is stored, never from what somebody remembers.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "station/records/database.h"
#include "station/records/records.h"
#include "station/records/rows.h"

namespace t1station {

/// A verdict and why it is that.
struct StoredVerdict {
  Verdict verdict = Verdict::error;
  std::string reason;  ///< for people; empty for a pass
  bool retried = false;
};

/// The verdict of a run as its rows stand in the file, by the text of its plan as that is stored. The first
/// that applies: stopped, error, failed, passed. Whatever is missing, unknown or not of this plan makes it an
/// error: this is the only place from which a pass comes. Throws SqlError.
StoredVerdict find_verdict(Database& database, std::string_view run, const RunEnd& end);

/// The verdict of a run whose steps are done, by this plan; that its text is the stored one is the caller's
/// to know.
StoredVerdict verdict_by_plan(const StoredRun& run, const Plan& plan);

/// A plan as it is stored; null, and what is wrong in `trouble`, when its text is not what it was or is bad.
/// Throws SqlError.
std::shared_ptr<const Plan> stored_plan(Database& database, std::string_view id, std::string& trouble);

/// The plan of this id that this text is; null, and what is wrong, likewise.
std::shared_ptr<const Plan> plan_of_text(const std::string& text, std::string_view id, std::string& trouble);

/// Whether any step had a second attempt.
bool was_retried(const StoredRun& run);

}  // namespace t1station
