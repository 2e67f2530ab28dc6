// What every simulated device node answers. One device a file in boardsim/devices/.
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/kernel/fault_forms.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

/// The outcome of one call on a node.
struct Answer {
  long result = 0;    ///< what the call returns
  int error = 0;      ///< errno when result is -1
  bool known = true;  ///< false: the device does not know the request; the board reports it loudly

  static Answer ok(long result = 0) { return {result, 0, true}; }
  static Answer fails(int error) { return {-1, error, true}; }
  static Answer unknown() { return {-1, 0, false}; }
};

/// A position as an offset into `size` bytes; one behind their end becomes their end.
inline std::size_t within(off64_t position, std::size_t size) {
  return std::cmp_less(position, size) ? static_cast<std::size_t>(position) : size;
}

/// One row of the table of requests that a device knows, of ioctl(2).
struct Request {
  enum class Argument : std::uint8_t {
    none,    ///< a null pointer; EINVAL for any other
    value,   ///< a number itself; the trace shows it
    record,  ///< a pointer to a record; EFAULT for a null pointer
    own,     ///< what the PC's own driver makes of it
  };
  std::uint32_t number;
  Argument argument;
  std::string_view record;  ///< what is handed in, for a reader: "{line, level}"
  std::size_t
      words_in;  ///< of a record the first so many 32-bit words are the program's: the trace shows them
  std::string_view meaning;  ///< what it does, for a reader
  bool writes = false;  ///< it changes what is stored: a descriptor open for reading only must not issue it
  /// What the trace shows of a record that begins otherwise.
  std::vector<std::uint32_t> (*shown)(const void* record) = nullptr;
};

enum class Transfer : std::uint8_t { read, write };

/// One device node. Called with the board's lock held: it must not block, sleep or call back into the board.
class Device {
 public:
  Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  virtual ~Device() = default;

  /// Answers open(2); `flags` as given there.
  virtual Answer open(int flags);
  /// A descriptor of the PC for an opening that open() allowed; select and poll report of it what they
  /// would report of the node. -1 with errno. Leads nowhere unless the device says otherwise.
  virtual int descriptor(int flags);
  /// Called after the descriptor is gone.
  virtual void close() {}
  /// The requests that it knows; none unless the device says otherwise.
  virtual std::span<const Request> requests() const { return {}; }
  /// Answers ioctl(2); `argument` is the third argument, a pointer or a value as the request defines.
  Answer ioctl(std::uint32_t request, void* argument);
  /// The 32-bit words that the request hands in, for the trace. Empty for requests that only read.
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const;
  /// Answers read(2)/write(2) at a descriptor's position; a node without them answers unknown. A read that
  /// fails with EAGAIN is tried again when the descriptor is readable, unless the program does not want to
  /// wait.
  virtual Answer read(void* buffer, std::size_t size, off64_t& position);
  virtual Answer write(const void* buffer, std::size_t size, off64_t& position);
  /// How long each read or write takes before it is answered.
  virtual Time transfer_time(Transfer /*direction*/) const { return Time(0); }
  /// How long a read waits before it returns 0; nothing: for ever.
  virtual std::optional<Time> read_limit() const { return std::nullopt; }
  /// Whether a request changes what is stored, so that a descriptor open for reading only must not issue it.
  bool needs_writing(std::uint32_t request) const;
  /// File type and permissions as stat(2) tells them; a character device unless the device says otherwise.
  virtual mode_t mode() const;
  /// Length as stat(2) tells it; 0 for whatever is no regular file.
  virtual off64_t size() const { return 0; }
  /// The errno with which every call on the node fails now, 0 when none does.
  virtual int dead() const { return 0; }
  /// The faults that can be laid over the device, in its own words.
  virtual FaultForms fault_forms();
  /// Takes its own faults away.
  virtual void clear_faults() {}

 private:
  const Request* find(std::uint32_t request) const;
  /// Answers one of requests(); a record is there.
  virtual Answer answer(const Request& request, void* argument);
};

}  // namespace boardsim
