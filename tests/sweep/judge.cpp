// The one reply, the verdict, the waits and the open descriptors.
#include "tests/sweep/judge.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>

namespace {

using namespace std::chrono_literals;
using Codes = std::initializer_list<int>;

/// What stays open behind a test. Everything else is closed.
struct StaysOpen {
  Codes codes;
  bool after_failed_open;  ///< only when something could not be opened; otherwise always
  std::string_view node;   ///< how it begins
};

const StaysOpen kStaysOpen[] = {
    {{513}, false, "/dev/qznio"},       // the node of the one-in one-out test
    {{518, 534}, false, "/dev/alarm"},  // the presence check of the alarm driver's variants
    // Alarm nodes that were opened before one that could not be.
    {{518, 519, 520, 521, 528, 530, 531, 532, 534, 535, 69634}, true, "/dev/qznio"},
    {{518, 519, 520, 521, 528, 530, 531, 532, 534, 535, 69634}, true, "/dev/qznitc"},
    {{1024}, true, "/dev/uart"},  // RS485 ports that did open
    {{-16}, true, "/dev/ttyS1"},  // the line of pan and tilt without its enable line
};

/// The longest that a test takes by its own waits, whatever fails.
struct LongestWait {
  Codes codes;
  boardsim::Time time;
};

const LongestWait kLongestWaits[] = {
    {{-16, 14592, 69633}, 10s},
    {{-15}, 1s},
    {{513}, 5s},
    {{518, 519, 530}, 10500ms},
    {{520}, 11500ms},  // with an alarm driver; 6.5 s with an FPGA
    {{521, 528}, 6500ms},
    {{531, 532}, 5500ms},
    {{534}, 8s},
    {{535, 69634}, 25500ms},
    {{1024}, 5s + 4 * 60s},  // the application's thread, then four receives
    {{1536}, 6s},
    {{1792}, 20s},                                  // two cycles of the electromagnet
    {{4352}, 0s + 1s + 2s + 3s + 4s + 5s + 500ms},  // pauses between six attempts
    {{4608}, 2 * (0s + 1s + 2s + 3s + 4s + 5s + 500ms)},
    {{9472}, 10s + 50ms + 2 * 20ms},
    {{10768}, 1000 * 200us},
    {{10769}, 50ms + 20ms},
    {{11776}, 50ms + 19 * 200ms + 2 * 20ms},
};
// All others wait for nothing.

bool sent_nothing(const boardsim::Call& call) {
  return call.node == "station" && ((call.name == "select" && call.result < 0) ||
                                    (call.name == "send" && call.result < 0 && call.error != EINTR));
}

bool failed_open(const boardsim::Call& call) {
  return (call.name == "open" || call.name == "fopen") && call.result < 0;
}

boardsim::Time longest_wait(int code) {
  for (const LongestWait& row : kLongestWaits) {
    if (std::ranges::find(row.codes, code) != row.codes.end()) return row.time;
  }
  return 0s;
}

}  // namespace

Judge::Judge(int code, std::string_view family, const Outcome& healthy)
    : code_(code),
      passes_(healthy.replies == std::vector<std::string>{"Pass"}),
      expectations_(code, family, healthy.trace) {}

void Judge::check_reply(const Fault* fault, const Outcome& outcome, std::vector<std::string>& wrong) const {
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
  if (fault == nullptr || !passes_) return;  // what fails on a healthy board may fail for any reason
  const Verdict expected = expectations_.of(*fault);
  if (expected == Verdict::fail && reply == "Pass") wrong.emplace_back("passes");
  if (expected == Verdict::pass && reply == "Fail") wrong.emplace_back("fails for what is not judged");
}

void Judge::check_open(const Outcome& outcome, std::vector<std::string>& wrong) const {
  const bool open_failed = std::ranges::any_of(outcome.trace, failed_open);
  const auto stays_open = [&](const std::string& name) {
    return std::ranges::any_of(kStaysOpen, [&](const StaysOpen& row) {
      return std::ranges::find(row.codes, code_) != row.codes.end() && name.starts_with(row.node) &&
             (open_failed || !row.after_failed_open);
    });
  };
  for (auto name = outcome.left_open.begin(); name != outcome.left_open.end(); ++name) {
    const bool is_second = name != outcome.left_open.begin() && *name == *(name - 1);
    if (is_second || !stays_open(*name)) wrong.push_back("leaves " + *name + " open");
  }
}

std::vector<std::string> Judge::complaints(const Fault* fault, const Outcome& outcome) const {
  std::vector<std::string> wrong;
  check_reply(fault, outcome, wrong);
  check_open(outcome, wrong);
  if (outcome.took > longest_wait(code_)) {
    wrong.push_back("takes " + std::to_string(outcome.took.count() / 1000) + " ms");
  }
  if (outcome.next != "Pass") wrong.push_back("the next request gets " + outcome.next);
  for (const std::string& call : outcome.violations) wrong.push_back("calls what no board has: " + call);
  return wrong;
}
