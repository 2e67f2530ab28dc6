// Reads the table [mqtt] of a line's file.
#pragma once

#include <functional>
#include <string>

#include "station/line/mqtt_file.h"
#include "station/plan/toml_reader.h"

namespace t1station {

/// Reads the table, but none of the files that it names. `station` is the station's name; `beside` makes a
/// path of one that the file says.
MqttFile read_mqtt_table(const toml::table& table, const std::string& station,
                         const std::function<std::string(const std::string&)>& beside, Problems& problems);

}  // namespace t1station
