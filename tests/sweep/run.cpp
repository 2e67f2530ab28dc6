// Runs a test code as the server does when a request has arrived.
#include "tests/sweep/run.h"

#include <algorithm>
#include <charconv>

#include "tests/harness/ask.h"
#include "tests/harness/descriptor_sweep.h"
#include "tests/harness/framing.h"
#include "tests/harness/station_link.h"
#include "tests/sweep/wrapped.h"

namespace {

using namespace std::chrono_literals;

constexpr int kTemperature = 7426;
constexpr std::uint32_t kGetLevel = 0x80044703;  // of a line of /dev/qznio
constexpr int kPanAndTilt = -16;
constexpr int kRs485 = 1024;  // under which pan and tilt replies too

/// The verdicts of the records that stand in `bytes`, "?" for what is none of this code's.
std::vector<std::string> verdicts(std::string_view bytes, int code) {
  std::vector<std::string> all;
  while (!bytes.empty()) {
    const std::uint32_t length = length_in(bytes);
    const std::string_view xml = bytes.substr(std::min<std::size_t>(4, bytes.size())).substr(0, length);
    const bool is_whole = xml.size() == length;
    const auto holds = [&](const std::string& words) { return xml.find(words) != std::string_view::npos; };
    const bool is_reply = is_whole && holds("<TestCode>" + std::to_string(code) + "</TestCode>");
    all.emplace_back(is_reply && holds("<Value>Pass</Value>")   ? "Pass"
                     : is_reply && holds("<Value>Fail</Value>") ? "Fail"
                                                                : "?");
    bytes.remove_prefix(std::min<std::size_t>(4 + std::size_t{length}, bytes.size()));
  }
  return all;
}

std::vector<std::string> left_open(const boardsim::Board& board, const std::vector<boardsim::Call>& trace) {
  std::vector<std::string> names = board.open_nodes();
  std::ranges::sort(names);
  int sockets = 0;
  for (const boardsim::Call& call : trace) {
    sockets += call.name == "socket" && call.result >= 0;
    sockets -= call.name == "close" && (call.node == "application" || call.node == "socket");
  }
  for (; sockets > 0; --sockets) names.emplace_back("socket");
  return names;
}

}  // namespace

Outcome run(std::string_view family, int code, const std::vector<std::string>& faults, void (*late)()) {
  const DescriptorSweep descriptors;
  boardsim::Board board(family);
  StationLink station;
  start_anew();
  std::string wrapped;
  for (const std::string& fault : faults) {
    if (is_of_wrapped(fault)) {
      wrapped = fault;
    } else {
      board.fault(fault);
    }
  }
  board.clear_trace();
  board.at(board.now() + 24h, late);

  Outcome outcome;
  const boardsim::Time begin = board.now();
  begin_wrapped(wrapped);
  ask(code);
  const std::vector<boardsim::Call> others = end_wrapped();
  outcome.took = board.now() - begin;
  outcome.trace = board.trace();
  outcome.trace.insert(outcome.trace.end(), others.begin(), others.end());
  outcome.replies = verdicts(station.bytes(), code == kPanAndTilt ? kRs485 : code);
  outcome.left_open = left_open(board, outcome.trace);

  board.clear_faults();
  station.forget();
  ask(kTemperature);
  const std::vector<std::string> next = verdicts(station.bytes(), kTemperature);
  outcome.next = next.size() == 1 ? next.front() : std::to_string(next.size()) + " replies";
  outcome.violations = board.violations();
  station.reset();  // a close in good order would keep a port of the PC for a minute: runs are many
  return outcome;
}

void enter_levels(std::string_view family, int code, Outcome& healthy) {
  const auto reads = [](const boardsim::Call& call) { return call.request == kGetLevel; };
  if (std::ranges::none_of(healthy.trace, reads)) return;
  const DescriptorSweep descriptors;
  boardsim::Board board(family);
  StationLink station;
  start_anew();
  for (boardsim::Call& call : healthy.trace) {
    if (!reads(call)) continue;
    board.at(call.at, [&] {
      call.record.at(1) = static_cast<std::uint32_t>(board->general_io.level(call.record.at(0)));
    });
  }
  ask(code);
  station.reset();
}
