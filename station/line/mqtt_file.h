// The plant's MQTT broker, and who the station is there: what the table [mqtt] of a line's file says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace t1station {

/// A file that the line's file names, and where it does.
struct NamedFile {
  std::string path;
  std::size_t line = 1, column = 1;
};

/// A broker and what it needs to know.
struct MqttFile {
  std::string host;  ///< a name or a numeric address
  std::uint16_t port = 0;
  bool is_encrypted = false;
  std::string topic;  ///< in front of all topics, without a slash behind it
  std::string user;   ///< empty: nobody logs in
  std::optional<NamedFile> password_file;
  std::optional<NamedFile> ca;                ///< PEM; nothing: those that this PC trusts
  std::optional<NamedFile> certificate, key;  ///< PEM, of this station; both or none
};

}  // namespace t1station
