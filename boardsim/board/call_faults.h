// Faults that make a system call fail or fall short.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/kernel/fault_forms.h"

namespace boardsim {

/// What a fault makes of a call: an error, a result without the work, or a shorter count.
struct FaultyCall {
  long result = -1;                      ///< what the call returns
  int error = 0;                         ///< errno, 0 when it stays as it is
  std::optional<std::size_t> at_most{};  ///< the most bytes that it moves
};

/// A system call that can be made to fail.
struct FaultyCallKind {
  std::string_view name;     ///< as faults call it
  bool on_node;              ///< a fault names the node or path
  bool with_bytes;           ///< "short BYTES": it can move fewer
  bool with_result;          ///< "result N": it can return a number without having done anything
  std::string_view meaning;  ///< a line for a reader
  /// "open NODE [#N[+]] [ERRNO]"
  std::string words() const;
};

/// The call faults that lie over a board. Guarded by the board's lock.
class CallFaults {
 public:
  /// Takes "open NODE #2+ EBUSY" and the like. False when the first word names no call; throws
  /// std::invalid_argument when it does but the rest is not understood. Does not know which nodes there are.
  bool add(const FaultWords& words);
  void clear() { faults_.clear(); }

  /// Counts one call and tells what becomes of it; nothing when it goes well.
  std::optional<FaultyCall> meet(std::string_view call, std::string_view node = {},
                                 std::uint32_t request = 0);

  /// All calls that add() takes.
  static std::span<const FaultyCallKind> kinds();

 private:
  struct Fault {
    std::string call;
    std::string node{};                      ///< empty: calls that name no node
    std::optional<std::uint32_t> request{};  ///< ioctl only; without it any
    unsigned first = 1;                      ///< the first call that it hits, counted from 1
    bool goes_on = true;                     ///< every later call too
    FaultyCall outcome{};
    unsigned met = 0;  ///< calls so far that it is for
  };
  std::vector<Fault> faults_;
};

}  // namespace boardsim
