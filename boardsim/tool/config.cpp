#include "boardsim/tool/config.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "boardsim/board/state.h"

namespace boardsim {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Config, board, type, pace, speed, own_address, interfaces, faults, trace,
                                   control, state, devinfo, uart1, station, exit_at_reboot, exit_at_violation,
                                   every_address, report_fd)

namespace {

std::string contents_of(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes(std::istreambuf_iterator<char>(file), {});
  if (!file) throw std::invalid_argument("--devinfo: " + path.string() + " cannot be read");
  return bytes;
}

/// The files of a folder, at any depth, become all that there is at /devinfo.
void install_files(Board& board, const std::string& folder) {
  board->files.remove("/devinfo/TG.bin");
  try {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      const std::string name = entry.path().lexically_relative(folder).generic_string();
      board->files.set("/devinfo/" + name, contents_of(entry.path()));
    }
  } catch (const std::filesystem::filesystem_error& error) {
    throw std::invalid_argument("--devinfo: " + folder + ": " + error.code().message());
  }
}

}  // namespace

std::string Config::to_json() const {
  return nlohmann::json(*this).dump();
}

Config Config::from_json(const std::string& text) {
  return nlohmann::json::parse(text).get<Config>();
}

void set_up_board(Board& board, const Config& config) {
  const Inside inside;
  if (config.type != 0) board.set_type(config.type);
  {
    const Locked lock(board.state().mutex);
    ProcessRules& process_rules = board.state().process_rules;
    process_rules.every_address = config.every_address;
    process_rules.own_address = config.own_address;
    process_rules.loopback_only = true;
  }
  for (const auto& [name, address] : config.interfaces) board.set_interface(name, address);
  if (!config.devinfo.empty()) install_files(board, config.devinfo);
  for (const std::string& fault : config.faults) board.fault(fault);
}

std::string service_address(Board& board) {
  const Inside inside;
  const Locked lock(board.state().mutex);
  for (const char* name : {"eth0", "wlan0"}) {
    const std::string address = board.state().address_of(name);
    if (!address.empty()) return address;
  }
  return board.state().process_rules.own_address;
}

}  // namespace boardsim
