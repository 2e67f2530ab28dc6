// Runs the server on a simulated board and watches both.
#include "tests/e2e/board_under_test.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "boardrec/session/recording.h"
#include "tests/e2e/as_trace.h"
#include "tests/harness/gbk.h"
#include "tests/harness/wire.h"

namespace {

constexpr std::uint16_t kPort = 36001;

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// The process whose parent is `parent`; -1 when there is none.
int child_of(pid_t parent) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream file(entry.path() / "stat");
    std::string stat;
    if (!std::getline(file, stat)) continue;
    // The name, in brackets, may hold anything; state and parent follow the last bracket.
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string state;
    pid_t its_parent = 0;
    if (fields >> state >> its_parent && its_parent == parent) return std::stoi(entry.path().filename());
  }
  return -1;
}

/// Whether a line of the console is the expected one; a '*' at its end stands for any rest.
bool is_line(std::string_view expected, std::string_view line) {
  if (!expected.ends_with('*')) return line == expected;
  expected.remove_suffix(1);
  return line.starts_with(expected);
}

bool is_recorded() {
  return std::getenv("BOARDTEST_RECORDED") != nullptr;
}

/// What is in one of them and not in the other, calls at the same time in any order: two threads that call at
/// once may be told of in either.
std::vector<std::string> difference(std::vector<std::string> one, std::vector<std::string> other) {
  std::ranges::sort(one);
  std::ranges::sort(other);
  std::vector<std::string> lines;
  std::ranges::set_symmetric_difference(one, other, std::back_inserter(lines));
  return lines;
}

}  // namespace

BoardUnderTest::BoardUnderTest(const std::vector<std::string>& launcher_options) {
  std::vector<std::string> command = {
      BOARDSIM_PROGRAM, "--control", directory_.file("control"), "--trace", directory_.file("trace"),
      "--console",      "gbk"};
  stepped_ = !std::ranges::count(launcher_options, "--pace");
  if (stepped_) command.insert(command.end(), {"--pace", "stepped"});
  if (is_recorded()) command.insert(command.end(), {"--record", directory_.file("session.rec")});
  command.insert(command.end(), launcher_options.begin(), launcher_options.end());
  command.insert(command.end(), {"--", BOARDTEST_PROGRAM});
  launcher_ = std::make_unique<Child>(command);
  const std::string announcement = launcher_->next_line("the launcher's first line");
  const std::size_t start = announcement.rfind(" at ");
  const std::size_t end = announcement.rfind(':');
  if (start == std::string::npos || end < start) throw std::runtime_error("no address in: " + announcement);
  address_ = announcement.substr(start + 4, end - start - 4);
}

BoardUnderTest::~BoardUnderTest() {
  launcher_->terminate();
  try {
    expect_no_complaints();
    if (is_recorded()) expect_recording();
  } catch (const std::runtime_error& error) {
    ADD_FAILURE() << "after its end was asked for: " << error.what();
  }
}

void BoardUnderTest::expect_no_complaints() {
  for (const std::string& line : split(launcher_->err())) {
    const bool expected = line.empty() || std::ranges::any_of(complaints_, [&](const std::string& text) {
                            return line.find(gbk(text)) != std::string::npos;
                          });
    if (!expected) ADD_FAILURE() << "on standard error: " << line;
  }
}

void BoardUnderTest::expect_recording() {
  const boardrec::Recording recording = boardrec::read_recording(directory_.file("session.rec"));
  EXPECT_EQ(recording.broken, "");
  for (const boardrec::Record& record : recording.records) {
    EXPECT_EQ(record.flags & (boardrec::kUnknownSize | boardrec::kNotRecorded), 0U)
        << "record " << record.number;
  }
  std::vector<std::string> recorded = calls_of(recording);
  std::vector<std::string> traced = calls_of(trace());
  for (auto* lines : {&recorded, &traced}) {
    if (stepped_) continue;
    for (std::string& line : *lines)
      line.erase(0, line.find(' '));  // their clocks are read one behind the other
  }
  // The signal that ended the server may have come between a call's line in the trace and its record.
  constexpr std::size_t kThreads = 2;
  for (std::size_t i = 0; i < kThreads && traced.size() > recorded.size(); ++i) {
    if (std::ranges::count(recorded, traced.back()) < std::ranges::count(traced, traced.back()))
      traced.pop_back();
  }
  EXPECT_EQ(difference(recorded, traced), std::vector<std::string>());
}

boardsim::ControlClient& BoardUnderTest::control() {
  if (!control_) control_.emplace(directory_.file("control"));
  return *control_;
}

Station BoardUnderTest::station() {
  settle();
  const int socket = wire::connect(address_, kPort);
  if (socket < 0) throw std::runtime_error("no server listens on the board");
  return {socket, in_another_process};
}

Station BoardUnderTest::narrow_station() {
  settle();
  return {wire::connect_narrowly(address_, kPort), in_another_process};
}

Station BoardUnderTest::greeted_station() {
  Station greeted = station();
  greeted.take_greeting();
  return greeted;
}

void BoardUnderTest::advance(Time span) {
  control().advance(span);
  control().settle();
}

void BoardUnderTest::advance_to_its_end(Time span) {
  try {
    control().advance(span);
  } catch (const std::runtime_error&) {
    // The channel ends with the board. That it does is seen by its exit status.
  }
}

std::size_t BoardUnderTest::descriptors() {
  const int server = child_of(launcher_->pid());
  if (server < 0) throw std::runtime_error("the server does not run");
  const std::filesystem::directory_iterator entries("/proc/" + std::to_string(server) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::string BoardUnderTest::next_line(std::string_view awaited) {
  return utf8(launcher_->next_line("the console line \"" + std::string(awaited) + "\""));
}

void BoardUnderTest::expect_lines(const std::vector<std::string>& lines) {
  for (const std::string& expected : lines) {
    const std::string line = next_line(expected);
    EXPECT_TRUE(is_line(expected, line)) << "expected: " << expected << "\nprinted:  " << line;
  }
}

void BoardUnderTest::lines_until(std::string_view text) {
  while (!next_line(text).starts_with(text)) continue;
}

std::vector<std::string> BoardUnderTest::remaining_lines() {
  return split(utf8(launcher_->rest()));
}

std::vector<std::string> BoardUnderTest::trace() const {
  std::ifstream file(directory_.file("trace"));
  std::ostringstream text;
  text << file.rdbuf();
  return split(text.str());
}

std::vector<std::string> BoardUnderTest::trace_of(std::string_view text) const {
  std::vector<std::string> lines = trace();
  std::erase_if(lines, [&](const std::string& line) { return line.find(text) == std::string::npos; });
  return lines;
}
