// What the launcher tells the preload library, through one variable of the environment.
#include "boardsim/tool/config.h"

#include <mutex>
#include <nlohmann/json.hpp>

#include "boardsim/core/state.h"

namespace boardsim {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Config, board, type, pace, speed, own_address, interfaces, faults, trace,
                                   control, exit_at_reboot, every_address, report_fd)

std::string Config::to_json() const {
  return nlohmann::json(*this).dump();
}

Config Config::from_json(const std::string& text) {
  return nlohmann::json::parse(text).get<Config>();
}

void furnish(Board& board, const Config& config) {
  const Inside inside;
  if (config.type != 0) board.set_type(config.type);
  {
    const std::lock_guard lock(board.state().mutex);
    Conduct& conduct = board.state().conduct;
    conduct.every_address = config.every_address;
    conduct.own_address = config.own_address;
    conduct.loopback_only = true;
  }
  for (const auto& [name, address] : config.interfaces) board.set_interface(name, address);
  for (const std::string& fault : config.faults) board.fault(fault);
}

std::string service_address(Board& board) {
  const Inside inside;
  const std::lock_guard lock(board.state().mutex);
  for (const char* name : {"eth0", "wlan0"}) {
    const std::string address = board.state().address_of(name);
    if (!address.empty()) return address;
  }
  return board.state().conduct.own_address;
}

}  // namespace boardsim
