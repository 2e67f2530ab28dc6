// Fuzz target: anything as a recording: read, shown, held against another one, and learned from.
//
// The input: a byte that chooses, then the rest. With an odd byte the rest is the file as it is. Else it is
// the bodies of records, each behind two bytes with its size, under a sound header and with sound
// checksums. With the second bit what is learned is kept on the disk, which takes its time.
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "boardrec/compare/comparison.h"
#include "boardrec/compare/report.h"
#include "boardrec/compare/script.h"
#include "boardrec/format/calls.h"
#include "boardrec/format/layout.h"
#include "boardrec/session/encoding.h"
#include "boardrec/session/named_calls.h"
#include "boardrec/session/recording.h"
#include "boardsim/board.h"
#include "boardsim/tool/learned.h"
#include "boardsim/tool/learning.h"
#include "tests/fuzz/fuzz.h"

namespace {

template <class Layout>
std::string raw(const Layout& layout) {
  return {reinterpret_cast<const char*>(&layout), sizeof layout};
}

std::string sealed(Input& input) {
  boardrec::Header header{};
  std::memcpy(header.magic, boardrec::kMagic, sizeof header.magic);
  header.order = boardrec::kOrder;
  header.version = boardrec::kVersion;
  std::string file = boardrec::bytes_of(header);
  while (!input.empty()) {
    const std::size_t low = input.byte();
    const std::string body = input.bytes(low + std::size_t{256} * input.byte());
    const auto* const bytes = reinterpret_cast<const unsigned char*>(body.data());
    file += raw(boardrec::Frame{.size = static_cast<std::uint32_t>(body.size()),
                                .checksum = boardrec::checksum(bytes, body.size())});
    file += body;
  }
  return file;
}

/// Of a record that was taken, writing it again gives the bytes that it was read from.
void check_encoding(const boardrec::Record& record, const std::string& file) {
  const std::string bytes = boardrec::bytes_of(record);
  require(file.compare(static_cast<std::size_t>(record.offset), bytes.size(), bytes) == 0,
          "a record is read otherwise than it is written");
}

/// The first half of a recording stands for the simulated board's: some calls agree, others are missing.
boardrec::Recording half_of(const boardrec::Recording& recording) {
  boardrec::Recording half = recording;
  half.records.resize(recording.records.size() / 2);
  return half;
}

void compare(const boardrec::Recording& recording) {
  require(boardrec::compare(recording, recording, {}).agrees(), "a recording differs from itself");
  boardrec::Report report{
      .file = "it", .board = "any", .comparison = boardrec::compare(recording, half_of(recording), {})};
  require(!boardrec::table_text(report).empty() && !boardrec::json_text(report).empty(), "nothing is told");
  try {
    boardrec::station_script(recording);
  } catch (const std::invalid_argument&) {  // what the station sent is not in it
  }
}

/// What is learned is written, read again, and makes a board; of a partition that does not fit nothing is
/// left.
void learn(const boardrec::Recording& recording) {
  static const std::string folder =
      std::filesystem::temp_directory_path() / ("learned-" + std::to_string(getpid()));
  try {
    boardsim::keep_learned(recording, "normal", folder);
  } catch (const std::out_of_range&) {
    require(!std::filesystem::exists(folder), "half of a board is left");
    return;
  }
  if (!std::filesystem::exists(folder)) return;  // nothing was learned
  boardsim::Board board("normal");
  boardsim::make_like(board, *boardsim::read_learned(folder));
  std::filesystem::remove_all(folder);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const unsigned choice = input.byte();
  const bool is_raw = (choice & 1U) != 0;
  const std::string file = is_raw ? input.rest() : sealed(input);
  try {
    const boardrec::Recording recording = boardrec::read_recording(file, "it");
    for (const boardrec::Record& record : recording.records) check_encoding(record, file);
    const std::vector<boardrec::NamedCall> calls = boardrec::named_calls(recording);
    require(calls.size() == recording.records.size(), "a call is lost");
    for (const boardrec::NamedCall& call : calls) boardrec::timed_text(call);
    require(boardrec::calls_of_trace(recording).size() <= calls.size(), "a call is shown twice");
    compare(recording);
    if ((choice & 2U) != 0) learn(recording);
  } catch (const boardrec::Unreadable& error) {
    require(std::strncmp(error.what(), "it ", 3) == 0, "a message does not name the file");
    require(is_raw, "a sound header is refused");
  }
  return 0;
}
