#include "boardsim/tool/recorded_session.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "boardrec/session/named_calls.h"
#include "boardrec/session/part.h"

namespace boardsim {
namespace {

using boardrec::Call;

/// The program's file as the recording's first record has it, fit to be shown; empty where there is none.
std::string recorded_program(const boardrec::Recording& recording) {
  const auto& records = recording.records;
  return !records.empty() && records.front().call == Call::start
             ? boardrec::printable(value_at(records.front().in, 0).bytes)
             : "";
}

bool asks_for_something(const boardrec::Record& record) {
  return record.call != Call::start && record.call != Call::finish && record.call != Call::note &&
         record.call != Call::thread_ended;
}

}  // namespace

boardrec::Recording read_session(const std::string& file, const std::string& program) {
  boardrec::Recording recording = boardrec::read_recording(file);
  const std::string recorded = recorded_program(recording);
  if (std::ranges::none_of(recording.records, asks_for_something)) {
    if (!recording.broken.empty())
      throw std::invalid_argument(recording.broken + ": no call of a program stands before");
    throw std::invalid_argument(file + " has no call of a program" +
                                (recorded.empty() ? "" : ": " + recorded + " asked its system for nothing"));
  }
  if (const std::size_t missing = boardrec::missing_at_the_beginning(recording); missing != 0) {
    throw std::invalid_argument(file + " is a part of a session, before which " + std::to_string(missing) +
                                " calls were cut away: a program makes them again");
  }
  namespace fs = std::filesystem;
  const bool is_other = fs::path(recorded).filename() != fs::path(program).filename();
  if (!recorded.empty() && !program.empty() && is_other) {
    std::fprintf(stderr, "boardsim: %s is a recording of another program, %s\n", file.c_str(),
                 recorded.c_str());
  }
  return recording;
}

}  // namespace boardsim
