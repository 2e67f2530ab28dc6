// The table of what the tests do not judge. Every call that is not in it must be noticed: the reply is
// "Fail".
#include "tests/sweep/verdict.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <map>

namespace {

using enum Verdict;

constexpr int kBoot = static_cast<int>(0x80044801);  // the boot block, with which boards tell their type

using Codes = std::initializer_list<int>;
using Families = std::initializer_list<std::string_view>;

// Alarm inputs against outputs: what the drivers say is not looked at, the inputs tell.
const Codes kLoopbacks = {518, 519, 520, 521, 528, 530, 531, 532, 534};
const Codes kRelays = {535, 69634};
const Codes kStorage = {4352, 4608};
const Codes kSetVsub = {9728, 9984, 10240};
const Codes kTrims = {11009, 11010, 11011, 11265, 11266, 11267, 11521, 11522, 11523};
const Families kMagnets = {"loop", "loop-c"};
const Families kSteppers = {"65xx", "65xx-level"};
constexpr unsigned kEver = ~0U;

/// Calls that are not judged, or not always. The first row that fits counts.
struct Row {
  Codes codes;            ///< none: every code
  Families families;      ///< none: every family
  std::string_view call;  ///< call and what it is made on, as far as it matters; "query": asking for the type
  unsigned from, to;      ///< which of these calls, counted from 1
  std::string_view effect;  ///< how the fault's effect begins
  Verdict once, lasting;    ///< of a fault that befalls this call only, this call and all later ones
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
    {{-16}, {}, "tcgetattr", 1, kEver, "", pass, pass},
    {{-16}, {}, "tcsetattr", 1, kEver, "", pass, pass},
    {{-16}, {}, "ioctl /dev/qznio", 1, kEver, "", pass, pass},
    // A board that cannot tell its type is taken for another, whose lines and outputs it may have.
    {kLoopbacks, {}, "query", 1, kEver, "", either, either},
    {{1024}, {}, "query", 1, kEver, "", either, either},
    {{1792}, {}, "query", 1, kEver, "", pass, either},
    // A write that fails leaves the outputs as they are, an input that cannot be read counts as low.
    {kLoopbacks, {}, "ioctl /dev/fpga", 1, kEver, "", either, fail_from_first},
    {kLoopbacks, {}, "ioctl /dev/qznio 0x80044703", 1, kEver, "", either, fail_from_first},
    {kLoopbacks, {}, "ioctl /dev/qznitc", 1, kEver, "", either, fail_from_first},
    {kLoopbacks, {}, "ioctl /dev/alarm 0x40044101", 1, kEver, "", either, fail_from_first},
    // What the alarm driver reads back is printed only, and each of its calls opens the node anew.
    {kLoopbacks, {}, "ioctl /dev/alarm 0x80044102", 1, kEver, "", pass, pass},
    {{518, 534}, {}, "open /dev/alarm", 2, kEver, "", either, either},
    // The relay tests see test control in their inputs. Two failures of theirs can cancel one another: a line
    // without direction counts -1.
    {kRelays, {}, "ioctl /dev/qznitc", 1, kEver, "", either, fail_from_first},
    {kRelays, {}, "ioctl /dev/qznio", 1, kEver, "", fail, fail_from_first},
    // RS485: emptying the receiver is not judged, and a count that cannot be had is asked for again.
    {{1024}, {}, "ioctl /dev/uart1 0x00005503", 1, kEver, "", pass, pass},
    {{1024}, {}, "ioctl /dev/uart2 0x00005503", 1, kEver, "", pass, pass},
    {{1024}, {}, "ioctl /dev/uart3 0x00005503", 1, kEver, "", pass, pass},
    {{1024}, {}, "ioctl /dev/uart4 0x00005503", 1, kEver, "", pass, pass},
    {{1024}, {}, "ioctl /dev/uart5 0x00005503", 1, kEver, "", pass, pass},
    {{1024}, {}, "ioctl /dev/uart1 0x80045502", 1, kEver, "", pass, fail},
    {{1024}, {}, "ioctl /dev/uart2 0x80045502", 1, kEver, "", pass, fail},
    {{1024}, {}, "ioctl /dev/uart3 0x80045502", 1, kEver, "", pass, fail},
    {{1024}, {}, "ioctl /dev/uart4 0x80045502", 1, kEver, "", pass, fail},
    {{1024}, {}, "ioctl /dev/uart5 0x80045502", 1, kEver, "", pass, fail},
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
    // Iris: opening and set-up are judged, what moves it is not.
    {{9472}, {}, "system", 1, kEver, "", pass, pass},
    {{9472}, {}, "ioctl /dev/fpga", 1, kEver, "", pass, pass},
    {{9472}, {}, "ioctl /dev/motor 0x40046901", 1, kEver, "", pass, pass},
    {{9472}, {}, "ioctl /dev/motor1 0x40046901", 1, kEver, "", pass, pass},
    // Applying a substrate voltage is not judged; it opens nodes of its own.
    {kSetVsub, {}, "open /dev/fpga", 1, kEver, "", pass, pass},
    {kTrims, {}, "open /dev/fpga", 2, kEver, "", pass, pass},
    {kSetVsub, kSteppers, "open /dev/qznio", 1, kEver, "", pass, pass},
    {kTrims, kSteppers, "open /dev/qznio", 1, kEver, "", pass, pass},
    {kSetVsub, {}, "ioctl /dev/qznio 0x40044d0e", 1, kEver, "", pass, pass},
    {kTrims, {}, "ioctl /dev/qznio 0x40044d0e", 1, kEver, "", pass, pass},
    {kSetVsub, {}, "ioctl /dev/fpga", 1, kEver, "", pass, pass},
    {kTrims, {}, "ioctl /dev/fpga", 1, kEver, "", pass, pass},
    // The timing generator's file: which model, and where the block ends, can be known from less of it.
    {{10496}, {}, "query", 1, 2, "", fail, fail},
    {{10496}, {}, "read /devinfo/TG.bin", 1, kEver, "short", either, either},
    // A limit switch that is not seen once is seen the next time.
    {{10768}, {}, "ioctl /dev/qznio", 1, kEver, "", pass, fail},
    // The application's answer is what the MA test judges, not how the connection ends.
    {{10769}, {}, "recv application", 2, kEver, "", pass, pass},
    {{10769}, {}, "", 1, kEver, "", fail, fail},
    // The automatic level passes whatever its sweep meets, once it knows its model.
    {{11776}, {}, "query", 1, 2, "", fail, fail},
    {{11776}, {}, "", 1, kEver, "", pass, pass},
    // On other tests no variant is worse than another, and the application need not answer.
    {{}, {}, "query", 1, kEver, "", pass, pass},
    {{}, {}, "socket", 1, kEver, "", pass, pass},
    {{}, {}, "connect", 1, kEver, "", pass, pass},
    {{}, {}, "send application", 1, kEver, "", pass, pass},
    {{}, {}, "recv application", 1, kEver, "", pass, pass},
};
// clang-format on

bool asks_for_type(const boardsim::Call& call) {
  return call.name == "ioctl" && call.node == "/dev/qznio" && static_cast<int>(call.request) == kBoot;
}

/// What the rows call the call at a place in a trace.
std::string name_at(const std::vector<boardsim::Call>& trace, std::size_t place) {
  const boardsim::Call& call = trace[place];
  const bool opens = call.name == "open" && call.node == "/dev/qznio";
  if (asks_for_type(call) || (opens && place + 1 < trace.size() && asks_for_type(trace[place + 1]))) {
    return "query";
  }
  const std::string name = call.name == "fopen" ? "open" : call.name;
  return Fault{name, call.node, call.request, 1, false, ""}.target();
}

template <typename T>
bool includes(std::initializer_list<T> all, T one) {
  return all.size() == 0 || std::ranges::find(all, one) != all.end();
}

/// The row of a call that is the `count`-th of its name; null when it is judged.
const Row* row_of(int code, std::string_view family, std::string_view name, unsigned count,
                  std::string_view effect) {
  const auto found = std::ranges::find_if(kRows, [&](const Row& row) {
    return includes(row.codes, code) && includes(row.families, family) && name.starts_with(row.call) &&
           row.from <= count && count <= row.to && effect.starts_with(row.effect);
  });
  return found == std::end(kRows) ? nullptr : &*found;
}

}  // namespace

Expectations::Expectations(int code, std::string_view family, const std::vector<boardsim::Call>& healthy)
    : code_(code), family_(family), healthy_(healthy) {
  std::map<std::string, unsigned> counts;
  for (std::size_t place = 0; place < healthy_.size(); ++place) {
    const std::string name = name_at(healthy_, place);
    names_.emplace_back(name, ++counts[name]);
  }
}

Verdict Expectations::of(const Fault& fault) const {
  const std::vector<std::size_t> places = befallen(fault, healthy_);
  for (const std::size_t place : places) {
    const auto& [name, count] = names_[place];
    const Row* row = row_of(code_, family_, name, count, fault.effect);
    const Verdict verdict = row == nullptr ? fail : fault.lasting ? row->lasting : row->once;
    if (verdict == fail_from_first) return place == places.front() && count == 1 ? fail : either;
    if (verdict != pass) return verdict;
  }
  return pass;
}
