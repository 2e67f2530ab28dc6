// Reads the file of a line, as strictly as plans are read.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/line/mqtt_file.h"
#include "station/link/link.h"
#include "station/plan/bad_file.h"

namespace t1station {

/// A place for a board.
struct SlotFile {
  std::string name;
  Address board;
  std::string interface;                ///< network interface of the PC; empty: any
  std::vector<std::string> plan_files;  ///< at least one
  std::string console;                  ///< serial device; empty: none
  int console_speed = 115200;           ///< bits per second
  std::string rs485;                    ///< serial device; empty: none
  std::size_t line = 1, column = 1;     ///< where the file says `plan`
};

/// The check of each slot at the start of a shift: which units must pass there, and which must fail.
struct PointCheck {
  double every_hours = 8;
  std::vector<std::string> good, bad;  ///< serial numbers
};

/// A command that is told of each run that ends.
struct HookFile {
  std::vector<std::string> command;  ///< the program and its words
  double timeout = 10;               ///< seconds that it may take for one run
};

/// A line as its file says. Paths are absolute or relative to the working directory.
struct LineFile {
  std::string path;     ///< of the file itself
  std::string station;  ///< its name
  std::string records;
  std::string host = "127.0.0.1", port = "8036";  ///< to listen on; the host is a numeric address
  std::string language = "zh";                    ///< or "en"
  double board_wait = 60, greeting_wait = 300;    ///< seconds
  double time_scale = 1;
  std::string users_file;                ///< empty: nobody logs in
  std::string tls_certificate, tls_key;  ///< PEM files; empty: no TLS
  bool plain_http = false;               ///< wanted in so many words
  std::optional<PointCheck> check;
  std::optional<HookFile> hook;
  std::optional<MqttFile> mqtt;
  std::string central;  ///< URL of the central database; empty: there is none
  std::vector<SlotFile> slots;

  /// Whether only this PC can reach it.
  bool is_loopback() const;
};

/// Reads a line's file, but none of the files that it names. Throws BadFile with every mistake and its place.
LineFile read_line_file(const std::string& path);

/// The same as far as it can be read: what is wrong is put into `problems`. Throws BadFile for what is no
/// TOML.
LineFile read_line_file(const std::string& path, std::vector<FileProblem>& problems);

}  // namespace t1station
