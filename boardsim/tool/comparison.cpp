#include "boardsim/tool/comparison.h"

#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "boardrec/compare/report.h"
#include "boardrec/compare/script.h"
#include "boardsim/board/state.h"
#include "boardsim/families/boot_block.h"
#include "boardsim/families/families.h"
#include "boardsim/tool/state_folder.h"

namespace boardsim {
namespace {

constexpr std::uint32_t kReadBootBlock = 0x80044801;

/// The first boot block that the program got; none when it never asked.
std::optional<BootBlock> boot_block_of(const boardrec::Recording& recording) {
  for (const boardrec::Record& record : recording.records) {
    const bool asks = record.call == boardrec::Call::ioctl && record.error == 0 &&
                      static_cast<std::uint32_t>(value_at(record.in, 1).number) == kReadBootBlock;
    const std::string& bytes = value_at(record.out, 0).bytes;
    BootBlock block{};
    if (!asks || bytes.size() != block.size()) continue;
    std::memcpy(block.data(), bytes.data(), block.size());
    return block;
  }
  return std::nullopt;
}

bool is_of(const Family& family, std::uint32_t type) {
  return family.type == type || std::ranges::find(family.types, type) != family.types.end();
}

/// All nodes of a board and the requests that they know.
std::vector<boardrec::KnownNode> known_nodes(const Config& config) {
  Board board(config.board);
  set_up_board(board, config);
  const Locked lock(board.state().mutex);
  std::vector<boardrec::KnownNode> known;
  for (const Devices::Node& node : board.state().devices.nodes()) {
    boardrec::KnownNode entry{.path = std::string(node.path)};
    for (const Request& request : node.device->requests())
      entry.requests.push_back({request.number, std::string(request.meaning)});
    known.push_back(std::move(entry));
  }
  return known;
}

std::string board_text(const Config& config) {
  char type[24];
  std::snprintf(type, sizeof type, " (0x%x)", config.type);
  return config.board + type;
}

}  // namespace

void take_recorded_board(Options& options, const boardrec::Recording& recording) {
  const auto block = boot_block_of(recording);
  if (!block) {
    throw std::invalid_argument(
        options.compare +
        " does not tell what board it is of, since its program read no boot block: say it with --board");
  }
  const std::uint32_t type = boot_type(*block);
  std::vector<const Family*> possible;
  for (const Family& family : families()) {
    if (is_of(family, type)) possible.push_back(&family);
  }
  if (possible.empty()) {  // what becomes of it is said where the option is read
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", type);
    options.config.board = text;
    return;
  }
  std::vector<const Family*> alike = possible;
  std::erase_if(alike,
                [&](const Family* family) { return family->alarm_outputs != boot_alarm_outputs(*block); });
  const Family& family = alike.empty() ? *possible.back() : *alike.front();
  if (alike.size() > 1) {
    std::string names;
    for (const Family* one : alike) names.append(names.empty() ? "" : ", ").append(one->name);
    std::fprintf(stderr,
                 "boardsim: the recorded board may be any of %s: simulated as %s, --board chooses another\n",
                 names.c_str(), std::string(family.name).c_str());
  }
  options.config.board = family.name;
  options.config.type = type;
}

OwnFolder::OwnFolder()
    : path_((std::filesystem::temp_directory_path() / "boardsim-compare-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr)
    throw std::runtime_error("no folder can be made for the comparison: " +
                             std::string(std::strerror(errno)));
}

OwnFolder::~OwnFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

ComparedSession::ComparedSession(Options& options) : recording_(boardrec::read_recording(options.compare)) {
  const std::string script = boardrec::station_script(recording_);
  options.config.station = folder_.path() + "/station";
  options.record = folder_.path() + "/simulated.rec";
  std::ofstream file(options.config.station);
  file << script;
  if (!file.flush()) throw std::runtime_error(options.config.station + " cannot be written");
  if (options.config.state.empty()) return;
  const std::string copy = folder_.path() + "/state";
  copy_state(options.config.state, options.config.board, copy);
  options.config.state = copy;
}

int ComparedSession::report(const Options& options) const {
  const boardrec::Recording simulated = boardrec::read_recording(options.record);
  if (!simulated.broken.empty())
    throw std::runtime_error("the run's recording is not whole: " + simulated.broken);
  const boardrec::Tolerance tolerance{.milliseconds = options.tolerance};
  std::uint64_t length = 0;
  for (const boardrec::Record& record : recording_.records) length = std::max(length, record.ended);
  const boardrec::Report report{.file = options.compare,
                                .board = board_text(options.config),
                                .seconds = static_cast<double>(length) / 1e9,
                                .broken = recording_.broken,
                                .comparison = boardrec::compare(recording_, simulated, tolerance),
                                .untouched = boardrec::untouched(recording_, known_nodes(options.config))};
  const std::string text = options.json ? json_text(report) : table_text(report);
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
  return report.comparison.agrees() ? 0 : 1;
}

}  // namespace boardsim
