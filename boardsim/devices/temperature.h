// /proc/debug/tempN: the kernel's temperature sensor files.
#pragma once

#include <sys/types.h>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// One file under /proc/debug, read from a position like a regular file. It can only be opened for reading.
class Sensor : public Device {
 public:
  enum class Kind : std::uint8_t {
    absent,
    text,        ///< a regular file with a content
    directory,   ///< a directory of that name: opens for reading, reads fail with EISDIR
    unreadable,  ///< a regular file that opens, but reads of it fail with EIO
  };
  struct Content {
    Kind kind = Kind::absent;
    std::string text{};
  };

  Answer open(int flags) override;
  Answer read(void* buffer, std::size_t size, off64_t& position) override;

  /// File type and permissions as stat(2) tells them: S_IFREG | 0444 or S_IFDIR | 0555; 0 when it is absent.
  mode_t mode() const override;

 private:
  friend class TemperatureSensors;
  Content healthy_{};  ///< what is there without faults
  Content content_{};  ///< what is there now
};

/// All sensor files. A healthy board has only temp1, "45500\n".
class TemperatureSensors {
 public:
  TemperatureSensors();

  /// Whether a path is a sensor's, "/proc/debug/temp7", on this board or another.
  static bool is_path(std::string_view path);
  /// The sensor at a path like "/proc/debug/temp1"; null when none is there.
  Sensor* find(std::string_view path);
  /// Puts a regular file tempN with this very content in place; it outlasts clear_faults().
  void set_content(int number, std::string content);
  /// Takes all sensors away; clear_faults() does not bring them back.
  void remove_all();

  FaultForms fault_forms();
  void clear_faults();

 private:
  Sensor& sensor(int number);

  std::map<int, std::unique_ptr<Sensor>> sensors_;  ///< never shrinks: a descriptor may outlive its file
};

}  // namespace boardsim
