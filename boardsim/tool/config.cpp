// What the launcher tells the preload library, through one variable of the environment.
#include "boardsim/tool/config.h"

#include <nlohmann/json.hpp>

namespace boardsim {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Config, board, type, pace, speed, interfaces, faults, trace, control,
                                   exit_at_reboot, every_address, report_fd)

std::string Config::to_json() const {
  return nlohmann::json(*this).dump();
}

Config Config::from_json(const std::string& text) {
  return nlohmann::json::parse(text).get<Config>();
}

}  // namespace boardsim
