// Every call that the board answered.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/kernel/call.h"

namespace boardsim {

/// What a call has to do with: decides whether it belongs to what the hardware saw.
enum class Subject : std::uint8_t { hardware, network, clock, thread };

/// The calls in the order in which they were answered. Guarded by the board's lock.
class Trace {
 public:
  void add(Call call, Subject subject);
  void clear() { entries_.clear(); }
  std::vector<Call> calls() const;
  std::vector<Call> hardware_calls() const;
  /// Gets every call as it is added, with the board's lock held.
  void set_sink(std::function<void(const Call&)> sink) { sink_ = std::move(sink); }
  /// Keeps no call from now on; the sink gets them all the same. A program that runs for days would fill the
  /// memory with what nobody asks for.
  void keep_none() { keeps_ = false; }

 private:
  struct Entry {
    Call call;
    Subject subject;
  };
  std::vector<Entry> entries_;
  bool keeps_ = true;
  std::function<void(const Call&)> sink_;
};

/// Name of an errno value, "ENODEV"; the number as text when it has none.
std::string error_name(int error);
/// errno value of a name, 0 when there is none of that name.
int error_number(std::string_view name);

}  // namespace boardsim
