// The table of what the tests do not judge. Every call that is not in it must be noticed: the reply is
// "Fail".
#include "tests/sweep/verdict.h"

#include <fnmatch.h>
#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <map>

namespace {

constexpr std::uint32_t kBoot = 0x80044801;      // of /dev/qznio: the boot block, which tells the type
constexpr std::uint32_t kGetLevel = 0x80044703;  // of /dev/qznio: an input line's level
constexpr std::uint32_t kSetAlarm = 0x40044101;  // of /dev/alarm
constexpr std::uint32_t kGetAlarm = 0x80044102;  // of /dev/alarm

using Codes = std::initializer_list<int>;
using Families = std::initializer_list<std::string_view>;

// Alarm inputs against outputs: what the drivers say is not looked at, the inputs tell.
const Codes kLoopbacks = {518, 519, 520, 521, 528, 530, 531, 532, 534};
const Codes kTenLines = {518, 519, 530, 531, 532, 534};  // eight lines, on some boards ten
const Codes kRelays = {535, 69634};
const Codes kStorage = {4352, 4608};
const Codes kSetVsub = {9728, 9984, 10240};
const Codes kTrims = {11009, 11010, 11011, 11265, 11266, 11267, 11521, 11522, 11523};
const Codes kApplyVsub = {9728, 9984, 10240, 11009, 11010, 11011, 11265, 11266, 11267, 11521, 11522, 11523};
const Families kMagnets = {"loop", "loop-c"};
const Families kSteppers = {"65xx", "65xx-level"};
constexpr unsigned kEver = ~0U;

/// What a row says of a call.
enum RowVerdict : std::uint8_t {
  fail,
  pass,
  either,
  silent,            // as in verdict.h
  fail_if_high,      // "Fail" when it reads a line that is high and looked at, otherwise "Pass"
  either_if_used,    // either when the line that is asked for is looked at, otherwise "Pass"
  fail_from_first,   // "Fail" when not even the first such call goes well, otherwise silent
  no_variant_fails,  // "Pass", unless the nodes of the other variant fail too
  may_cancel,        // either when the driver fails for every request, otherwise "Fail"
};

/// Calls that are not judged, or not always. The first row that fits counts. A query is two calls, so the
/// second one has the numbers 3 and 4.
struct Row {
  Codes codes;               ///< none: every code
  Families families;         ///< none: every family
  const char* call;          ///< how its name begins (see name_at), with ? and * as in names of files
  unsigned from, to;         ///< which of these calls, counted from 1
  std::string_view effect;   ///< how the fault's effect begins
  RowVerdict once, lasting;  ///< of a fault that befalls this call only, this call and all later ones
};

/// Which lines of the words that the alarm tests read are looked at. Lines of one word are read at one time.
struct Inputs {
  Codes codes;
  Families families;
  std::initializer_list<unsigned> bits;
  bool one_by_one;  ///< every two words are for the next of the bits, otherwise each word is for all
};

const Inputs kInputs[] = {
    {{520}, {"ma"}, {0, 1, 2, 3, 7}, true},
    {{520, 521, 528}, {}, {0, 1, 2, 3, 4}, true},
    {{530}, {}, {0, 1, 2, 3, 4, 5, 6, 7}, true},
    {{518, 519, 534}, {}, {0, 1, 2, 3}, false},
    {{531, 532}, {}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, false},
};

// clang-format off
const Row kRows[] = {
    // Nobody looks at what closing returns. Replies that cannot be sent are not judged here.
    {{}, {}, "close", 1, kEver, "", pass, pass},
    {{}, {}, "select station", 1, kEver, "", pass, pass},
    {{}, {}, "send station", 1, kEver, "", pass, pass},
    // Restart and lights only do something, for people to see.
    {{-15, 14592, 69633}, {}, "", 1, kEver, "", pass, pass},
    // The pan-and-tilt line is used as it is when it cannot be set up; its enable line is not looked at.
    {{-16}, {}, "tc*", 1, kEver, "", pass, pass},
    {{-16}, {}, "ioctl /dev/qznio", 1, kEver, "", pass, pass},
    // A board that cannot tell its type is taken for another: where the answer picks the line of an input, the
    // variant, or the number of inputs.
    {kLoopbacks, {"rkd1", "rkd2"}, "query for a line", 1, kEver, "", either_if_used, either_if_used},
    {kLoopbacks, {}, "query for a line", 1, kEver, "", pass, pass},
    {{520}, {"ma"}, "query", 1, 2, "", either, either},
    {{520}, {"68xx", "rkd1", "rkd2"}, "query", 3, 4, "", either, either},
    {{518}, {"loop"}, "query", 1, 2, "", either, either},
    {{518}, {"loop-c"}, "query", 3, 4, "", either, either},
    {kTenLines, kSteppers, "query", 1, kEver, "", either, either},
    {kLoopbacks, {}, "query", 1, kEver, "", pass, pass},
    {{1024}, {"6444-j"}, "query", 3, 4, "", either, either},
    {{1024}, {"6444"}, "query", 5, 6, "", either, either},
    {{1024}, {"ma"}, "query", 7, 8, "", either, either},
    {{1024}, {"k"}, "query", 9, 10, "", either, either},
    {{1024}, kSteppers, "query", 11, 12, "", either, either},
    {{1024}, {"63xx"}, "query", 13, 14, "", either, either},
    {{1024}, {"rkd1"}, "query", 15, 16, "", either, either},
    {{1024}, {"rkd2"}, "query", 17, 18, "", either, either},
    {{1024}, {}, "query", 1, kEver, "", pass, pass},
    {{1792}, {}, "query", 1, kEver, "", pass, either},
    // The loopbacks do not look at results: outputs stay as they are, an input that cannot be read counts as low.
    {kLoopbacks, {}, "ioctl /dev/fpga", 1, kEver, "", silent, fail_from_first},
    {kLoopbacks, {}, "ioctl /dev/alarm 0x40044101", 1, kEver, "", silent, fail_from_first},
    {kLoopbacks, {}, "open for /dev/alarm 0x40044101", 1, kEver, "", silent, fail_from_first},
    {kLoopbacks, {}, "ioctl /dev/qznio 0x80044703", 1, kEver, "", fail_if_high, fail_if_high},
    // What the alarm driver reads back is printed only.
    {kLoopbacks, {}, "ioctl /dev/alarm 0x80044102", 1, kEver, "", pass, pass},
    {kLoopbacks, {}, "open for /dev/alarm 0x80044102", 1, kEver, "", pass, pass},
    // Without test control the jig does not answer; behind the last cycle nothing is read.
    {kLoopbacks, {}, "ioctl /dev/qznitc", 2, kEver, "", pass, pass},
    {kRelays, {}, "ioctl /dev/qznitc", 2, kEver, "", pass, pass},
    // A relay port without direction counts -1: that cancels one failed repetition of the port before it.
    {{535}, {}, "ioctl /dev/qznio 0x40044704", 26, 30, "", fail, may_cancel},
    {{535}, {}, "ioctl /dev/qznio 0x80044703", 16, 18, "", fail, may_cancel},
    // RS485: emptying the receiver is not judged, and a count that cannot be had is asked for again.
    {{1024}, {}, "ioctl /dev/uart? 0x00005503", 1, kEver, "", pass, pass},
    {{1024}, {}, "ioctl /dev/uart? 0x80045502", 1, kEver, "", pass, fail},
    // The transmitting boards cannot hear whether the port was set up; RKD2 does not even count what it sends.
    {{1024}, {"63xx", "rkd2"}, "ioctl", 1, kEver, "", pass, pass},
    {{1024}, {"rkd2"}, "write", 1, kEver, "", pass, pass},
    {{1024}, {"rkd2"}, "select", 1, kEver, "", pass, pass},
    // IR-cut: the stepped motor and the shell commands cannot fail, nor can the second switch of a cycle.
    {{1792}, kSteppers, "ioctl /dev/qznio", 1, kEver, "", pass, pass},
    {{1792}, {}, "system", 1, kEver, "", pass, pass},
    {{1792}, kMagnets, "open /dev/qznio", 2, 2, "", pass, pass},
    {{1792}, kMagnets, "open /dev/qznio", 4, 4, "", pass, pass},
    {{1792}, kMagnets, "ioctl /dev/qznio 0x40044704", 5, 8, "", pass, pass},
    {{1792}, kMagnets, "ioctl /dev/qznio 0x40044704", 13, 16, "", pass, pass},
    // Storage: a medium that mounts and takes the file passes, at the sixth attempt too.
    {kStorage, {}, "unlink", 1, kEver, "", pass, pass},
    {kStorage, {}, "read", 1, kEver, "", pass, pass},
    {kStorage, {}, "write", 1, kEver, "", pass, pass},
    {kStorage, {}, "lseek", 1, kEver, "", pass, pass},
    {kStorage, {}, "open /mnt", 1, kEver, "", pass, fail},
    // A sensor's text that ends early, or is none, is a temperature too.
    {{7426}, {}, "read", 1, kEver, "short", pass, pass},
    // The flat-field record: that its last byte is missing does not show, it is reserved and zero.
    {{13824}, {}, "read", 1, kEver, "short 199", pass, pass},
    // Iris: opening and set-up are judged, what moves it is not.
    {{9472}, {}, "system", 1, kEver, "", pass, pass},
    {{9472}, {}, "ioctl /dev/fpga", 1, kEver, "", pass, pass},
    {{9472}, {}, "ioctl /dev/motor* 0x40046901", 1, kEver, "", pass, pass},
    // Applying a substrate voltage is not judged; it opens nodes of its own.
    {kSetVsub, {}, "open /dev/fpga", 1, kEver, "", pass, pass},
    {kTrims, {}, "open /dev/fpga", 2, kEver, "", pass, pass},
    {kApplyVsub, kSteppers, "open /dev/qznio", 1, kEver, "", pass, pass},
    {kApplyVsub, {}, "ioctl /dev/qznio 0x40044d0e", 1, kEver, "", pass, pass},
    {kApplyVsub, {}, "ioctl /dev/fpga", 1, kEver, "", pass, pass},
    // The timing generator's file: an empty one says nothing, the rest of a short read is read again.
    {{10496}, {}, "query", 1, 2, "", fail, fail},
    {{10496}, {}, "read /devinfo/TG.bin", 1, 1, "short 0", fail, fail},
    {{10496}, {}, "read /devinfo/TG.bin", 1, kEver, "short", pass, pass},
    // A limit switch that is not seen once is seen the next time.
    {{10768}, {}, "ioctl /dev/qznio", 1, kEver, "", pass, fail},
    // The application's answer is what the MA test judges, not how the connection ends.
    {{10769}, {}, "recv application", 2, kEver, "", pass, pass},
    {{10769}, {}, "", 1, kEver, "", fail, fail},
    // The automatic level passes whatever its sweep meets, once it knows its model.
    {{11776}, {}, "query", 1, 2, "", fail, fail},
    {{11776}, {}, "", 1, kEver, "", pass, pass},
    // On other tests no variant is worse than another, and the application need not answer.
    {{}, {}, "query", 1, kEver, "", no_variant_fails, no_variant_fails},
    {{}, {}, "socket", 1, kEver, "", pass, pass},
    {{}, {}, "connect", 1, kEver, "", pass, pass},
    {{}, {}, "send application", 1, kEver, "", pass, pass},
    {{}, {}, "recv application", 1, kEver, "", pass, pass},
};
// clang-format on

/// The request that a node is opened for and closed again, 0 when it stays open.
std::uint32_t opened_for(const std::vector<boardsim::Call>& trace, std::size_t place) {
  const boardsim::Call& call = trace[place];
  if (call.name != "open" || place + 1 == trace.size() || trace[place + 1].node != call.node) return 0;
  const std::uint32_t request = trace[place + 1].request;
  return request == kBoot || request == kSetAlarm || request == kGetAlarm ? request : 0;
}

/// Whether an input is read behind a query that is closed at the place.
bool closes_for_line(const std::vector<boardsim::Call>& trace, std::size_t place) {
  return place + 1 < trace.size() && trace[place].name == "close" && trace[place + 1].request == kGetLevel;
}

/// What the rows call the call at a place in a trace: "query" for both calls that ask for the type, "query
/// for a line" just before an input is read; "open for" and a request where a node is opened for that;
/// otherwise call, node and request.
std::string name_at(const std::vector<boardsim::Call>& trace, std::size_t place) {
  const boardsim::Call& call = trace[place];
  const std::uint32_t request = opened_for(trace, place);
  if (request == kBoot || call.request == kBoot) {
    return closes_for_line(trace, place + (request == kBoot ? 2 : 1)) ? "query for a line" : "query";
  }
  if (request != 0) return Fault{"open for", call.node, request, 1, false, ""}.target();
  const std::string name = call.name == "fopen" ? "open" : call.name;
  return Fault{name, call.node, call.request, 1, false, ""}.target();
}

template <typename T>
bool includes(std::initializer_list<T> all, T one) {
  return all.size() == 0 || std::ranges::find(all, one) != all.end();
}

/// The row of a call that is the `count`-th of its name; null when it is judged.
const Row* row_of(int code, std::string_view family, const std::string& name, unsigned count,
                  std::string_view effect) {
  const auto found = std::ranges::find_if(kRows, [&](const Row& row) {
    return includes(row.codes, code) && includes(row.families, family) &&
           fnmatch((std::string(row.call) + "*").c_str(), name.c_str(), 0) == 0 && row.from <= count &&
           count <= row.to && effect.starts_with(row.effect);
  });
  return found == std::end(kRows) ? nullptr : &*found;
}

}  // namespace

Expectations::Expectations(int code, std::string_view family, const std::vector<boardsim::Call>& healthy,
                           bool passes)
    : code_(code), family_(family), healthy_(healthy), passes_(passes) {
  std::map<std::string, unsigned> counts;
  for (std::size_t place = 0; place < healthy_.size(); ++place) {
    const std::string name = name_at(healthy_, place);
    named_.push_back({name, ++counts[name]});
  }
  mark_inputs();
}

void Expectations::mark_inputs() {
  const auto inputs = std::ranges::find_if(kInputs, [&](const Inputs& row) {
    return includes(row.codes, code_) && includes(row.families, family_);
  });
  if (inputs == std::end(kInputs)) return;
  std::size_t words = 0;
  unsigned bit = 0;
  boardsim::Time at{-1};
  for (std::size_t place = 0; place < healthy_.size(); ++place) {
    const boardsim::Call& call = healthy_[place];
    if (call.request != kGetLevel) continue;
    if (call.at != at) ++words;
    bit = call.at != at ? 0 : bit + 1;
    at = call.at;
    const unsigned one = inputs->bits.begin()[(words - 1) / 2 % inputs->bits.size()];
    named_[place].is_looked_at = inputs->one_by_one ? bit == one : includes(inputs->bits, bit);
    named_[place].is_high = call.record.at(1) == 1;
    for (std::size_t before = place; before-- > 0 && before + 3 >= place;) {
      if (named_[before].name != "query for a line" && healthy_[before].name != "close") break;
      named_[before].is_looked_at = named_[place].is_looked_at;
    }
    last_input_ = place;
  }
}

Verdict Expectations::at(std::size_t place, const Fault& fault) const {
  const auto& [name, count, is_looked_at, is_high] = named_[place];
  const Row* row = row_of(code_, family_, name, count, fault.effect);
  if (row == nullptr) return Verdict::fail;
  switch (fault.lasting ? row->lasting : row->once) {
    case fail:
      return Verdict::fail;
    case pass:
      return Verdict::pass;
    case either:
      return Verdict::either;
    case fail_if_high:
      return is_looked_at && is_high ? Verdict::fail : Verdict::pass;
    case either_if_used:
      return is_looked_at ? Verdict::either : Verdict::pass;
    case fail_from_first:
      if (count == 1) return Verdict::fail;
      [[fallthrough]];
    case silent:
      return place > last_input_ ? Verdict::pass : Verdict::silent;
    case no_variant_fails:
      return fault.node.empty() ? Verdict::either : Verdict::pass;
    case may_cancel:
      return fault.request == 0 ? Verdict::either : Verdict::fail;
  }
  return Verdict::fail;
}

Verdict Expectations::of(const Fault& fault) const {
  bool is_silent = false;
  for (const std::size_t place : befallen(fault, healthy_)) {
    const Verdict verdict = at(place, fault);
    if (!passes_) {
      // What fails on a healthy board fails, unless it is taken for a board on which it passes.
      const bool is_query = named_[place].name == "query" && !includes(kLoopbacks, code_);
      if (verdict == Verdict::either || is_query) return Verdict::either;
      continue;
    }
    if (verdict == Verdict::either || verdict == Verdict::fail) return verdict;
    is_silent = is_silent || verdict == Verdict::silent;
  }
  if (!passes_) return Verdict::fail;
  if (!is_silent) return Verdict::pass;
  return fault.node.empty() ? Verdict::either : Verdict::silent;  // there is more that goes on failing
}

Fault Expectations::silent_twin(const Fault& fault) const {
  for (std::size_t place : befallen(fault, healthy_)) {
    if (at(place, fault) != Verdict::silent) continue;
    if (opened_for(healthy_, place) != 0) ++place;
    const boardsim::Call& call = healthy_[place];
    Fault twin{call.name, call.node, call.request, 0, fault.lasting, "result 0"};
    for (std::size_t i = 0; i <= place; ++i) twin.first += named_[i].name == named_[place].name;
    return twin;
  }
  return fault;
}
