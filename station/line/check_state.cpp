#include "station/line/check_state.h"

#include <algorithm>

namespace t1station {
namespace {

bool has(const std::vector<std::string>& serials, const std::string& serial) {
  return std::find(serials.begin(), serials.end(), serial) != serials.end();
}

}  // namespace

bool is_check_unit(const LineFile& line, const std::string& serial) {
  return line.check && (has(line.check->good, serial) || has(line.check->bad, serial));
}

std::string CheckState::add(const std::string& serial, std::string_view verdict, const std::string& ended) {
  const bool is_good = has(check_.good, serial);
  if (!is_good && !has(check_.bad, serial)) return {};  // a check unit of other days
  const std::string_view due = verdict_name(is_good ? Verdict::passed : Verdict::failed);
  if (verdict != due) {
    has_passed_ = has_failed_ = false;
    complete_.clear();
    return std::string(is_good ? "the good" : "the bad") + " check unit " + serial + " ended as " +
           std::string(verdict) + ", not as " + std::string(due);
  }
  (is_good ? has_passed_ : has_failed_) = true;
  if (has_passed_ && has_failed_) {
    has_passed_ = has_failed_ = false;
    complete_ = ended;
  }
  return {};
}

std::string CheckState::due_text() const {
  if (has_passed_) return "its check is due: test the bad check unit";
  if (has_failed_) return "its check is due: test the good check unit";
  return "its check is due: test the good and the bad check unit";
}

}  // namespace t1station
