// The one reply, the verdict, the waits and the open descriptors.
#include "tests/sweep/judge.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <iterator>

namespace {

using namespace std::chrono_literals;
using Codes = std::initializer_list<int>;

using Families = std::initializer_list<std::string_view>;

/// What stays open behind a test. Everything else is closed.
struct StaysOpen {
  Codes codes;
  Families families;
  std::string_view node;                           ///< how it begins
  std::initializer_list<std::string_view> behind;  ///< only behind a failed first open of one of these nodes
                                                   ///< (so begun); none: always
};

const Families kAlarmDriver = {"loop", "loop-c"};
const Codes kAlarms = {518, 519, 520, 521, 528, 530, 531, 532, 534, 535, 69634};

const StaysOpen kStaysOpen[] = {
    {{513}, {}, "/dev/qznio", {}},            // the node of the one-in one-out test
    {{518}, kAlarmDriver, "/dev/alarm", {}},  // the presence check of the alarm driver's variants
    {{534}, {}, "/dev/alarm", {}},
    // Alarm nodes that were opened before one that could not be.
    {kAlarms, {}, "/dev/qznio", {"/dev/qznitc", "/dev/fpga", "/dev/alarm"}},
    {kAlarms, {}, "/dev/qznitc", {"/dev/fpga", "/dev/alarm"}},
    {{1024}, {}, "/dev/uart", {"/dev/uart"}},   // RS485 ports that did open
    {{-16}, {}, "/dev/ttyS1", {"/dev/qznio"}},  // the line of pan and tilt without its enable line
};

/// The longest that a test takes by its own waits, whatever fails. The first row that fits counts; when a
/// query failed, the longest row of the code.
struct LongestWait {
  Codes codes;
  Families families;
  boardsim::Time time;
};

const Families kHisi = {"68xx", "rkd1", "rkd2"};
const Families kSteppers = {"65xx", "65xx-level"};
constexpr boardsim::Time kMedium = 0s + 1s + 2s + 3s + 4s + 5s + 500ms;  // pauses between six attempts
constexpr boardsim::Time kApplication = 20ms;                            // until it has answered a command

const LongestWait kLongestWaits[] = {
    {{-16, 14592, 69633}, {}, 10s},
    {{-15}, {}, 1s},
    {{513}, {}, 5s},
    {{518, 519, 530}, {}, 10500ms},
    {{520}, kHisi, 11500ms},
    {{520}, {}, 6500ms},
    {{521, 528}, {}, 6500ms},
    {{531, 532}, {}, 5500ms},
    {{534}, {}, 8s},
    {{535, 69634}, {}, 2 * (12s + 500ms) + 500ms},
    {{1024}, {"63xx"}, kApplication + 5s + 5 * 2s},
    {{1024}, {"rkd2"}, kApplication + 5s + 4 * 1s},
    {{1024}, {"6444-j", "ma", "k", "65xx", "65xx-level", "rkd1"}, kApplication + 5s + 2 * 3s + 100ms},
    {{1024}, {}, kApplication + 5s + 60s + 1200ms},  // the station's frames, then one that does not come
    {{1536}, {}, 6s},
    {{1792}, kAlarmDriver, 20s},  // two cycles of the electromagnet
    {{1792}, kSteppers, 10ms + 175 * 4 * 10ms + 175 * 4 * 5ms},
    {{1792}, {"63xx"}, 9s},
    {{1792}, {"rkd1", "rkd2"}, 1s},
    {{1792}, {}, 50ms},
    {{4352}, {}, kMedium},
    {{4608}, {"k", "65xx", "65xx-level"}, 2 * kMedium},
    {{4608}, {}, kMedium},
    {{9472}, kSteppers, 10s + 50ms + 2 * kApplication},
    {{9472}, {}, 8500ms + 50ms + 2 * kApplication},
    {{10768}, {}, 1000 * 200us},
    {{10769}, {}, 50ms + kApplication},
    {{11776}, {}, 50ms + 19 * 200ms + 2 * kApplication},
};
// All others wait for nothing.
constexpr boardsim::Time kStationWait = 100s;  // for a station to take the reply

template <typename T>
bool includes(std::initializer_list<T> all, T one) {
  return all.size() == 0 || std::ranges::find(all, one) != all.end();
}

bool opens(const boardsim::Call& call) {
  return call.name == "open" || call.name == "fopen";
}

/// A query of the type that failed, or what may be one.
bool failed_query(const boardsim::Call& call) {
  return call.node == "/dev/qznio" && call.result < 0 && (opens(call) || call.request == 0x80044801);
}

bool sent_nothing(const boardsim::Call& call) {
  return call.node == "station" && ((call.name == "select" && call.result < 1) ||
                                    (call.name == "send" && call.result < 0 && call.error != EINTR));
}

/// The nodes so begun whose first open went well, or failed: later ones are not a test's own.
std::vector<std::string> first_opened(const std::vector<boardsim::Call>& trace, std::string_view begin,
                                      bool well) {
  std::vector<std::string> seen;
  std::vector<std::string> found;
  for (const boardsim::Call& call : trace) {
    if (!opens(call) || !call.node.starts_with(begin) || std::ranges::find(seen, call.node) != seen.end())
      continue;
    seen.push_back(call.node);
    if ((call.result >= 0) == well) found.push_back(call.node);
  }
  return found;
}

}  // namespace

Judge::Judge(int code, std::string_view family, const Outcome& healthy)
    : code_(code),
      family_(family),
      expectations_(code, family, healthy.trace, healthy.replies == std::vector<std::string>{"Pass"}) {}

std::optional<Fault> Judge::twin(const Fault& fault) const {
  if (expectations_.of(fault) != Verdict::silent) return std::nullopt;
  return expectations_.silent_twin(fault);
}

void Judge::check_reply(const Fault* fault, const Outcome& outcome, const std::vector<std::string>* twin,
                        Wrong& wrong) const {
  if (std::ranges::any_of(outcome.trace, sent_nothing)) {
    if (!outcome.replies.empty()) wrong.emplace_back("replies although nothing could be sent");
    return;
  }
  if (outcome.replies.size() != 1) {
    wrong.push_back(std::to_string(outcome.replies.size()) + " replies");
    return;
  }
  const std::string& reply = outcome.replies.front();
  if (reply == "?") wrong.emplace_back("no reply that a station understands");
  if (fault == nullptr) return;
  const Verdict expected = expectations_.of(*fault);
  if (expected == Verdict::fail && reply == "Pass") wrong.emplace_back("passes");
  if (expected == Verdict::pass && reply == "Fail") wrong.emplace_back("fails for what is not judged");
  if (twin != nullptr && outcome.replies != *twin) {
    wrong.emplace_back("replies otherwise than when the call succeeds without effect");
  }
}

void Judge::check_open(const Outcome& outcome, Wrong& wrong) const {
  std::vector<std::string> expected;
  for (const StaysOpen& row : kStaysOpen) {
    const bool applies =
        row.behind.size() == 0 || std::ranges::any_of(row.behind, [&](std::string_view begin) {
          return !first_opened(outcome.trace, begin, false).empty();
        });
    if (!applies || !includes(row.codes, code_) || !includes(row.families, family_)) continue;
    std::ranges::copy(first_opened(outcome.trace, row.node, true), std::back_inserter(expected));
  }
  std::ranges::sort(expected);
  std::vector<std::string> names;
  std::ranges::set_difference(outcome.left_open, expected, std::back_inserter(names));
  for (const std::string& name : names) wrong.push_back("leaves " + name + " open");
  names.clear();
  std::ranges::set_difference(expected, outcome.left_open, std::back_inserter(names));
  for (const std::string& name : names) wrong.push_back("closes " + name);
}

void Judge::check_time(const Outcome& outcome, Wrong& wrong) const {
  const bool any_family = std::ranges::any_of(outcome.trace, failed_query);
  boardsim::Time limit = 0s;
  for (const LongestWait& row : kLongestWaits) {
    if (!includes(row.codes, code_) || !(any_family || includes(row.families, family_))) continue;
    limit = std::max(limit, row.time);
    if (!any_family) break;
  }
  if (std::ranges::any_of(outcome.trace, sent_nothing)) limit += kStationWait;
  if (outcome.took > limit) wrong.push_back("takes " + std::to_string(outcome.took.count() / 1000) + " ms");
}

std::vector<std::string> Judge::complaints(const Fault* fault, const Outcome& outcome,
                                           const std::vector<std::string>* twin) const {
  Wrong wrong;
  check_reply(fault, outcome, twin, wrong);
  check_open(outcome, wrong);
  check_time(outcome, wrong);
  if (outcome.next != "Pass") wrong.push_back("the next request gets " + outcome.next);
  for (const std::string& call : outcome.violations) wrong.push_back("calls what no board has: " + call);
  return wrong;
}
