// The faults that can befall a test, from the calls that it makes on a healthy board.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"

/// What a fault befalls.
enum class FaultKind : std::uint8_t {
  device,  ///< the hardware
  call,    ///< what a driver answers to a call
  later,   ///< the same, but to the first such call; stands behind the fault of all of them
  query,   ///< the same, to the question which board this is
};

/// A fault that is tried on a test.
struct TestFault {
  std::string text;     ///< as it is laid over the board: "uart 2 dead", "ioctl /dev/rtc 0x80247009 EIO"
  std::string shown;    ///< the same, with N and NODE for one of several ports and media
  std::string subject;  ///< what it befalls, in words: "a port", "reading the clock"
  std::string effect;   ///< and how: "hears nothing", "fails"
  FaultKind kind;
};

/// The faults of a test by its calls on a healthy board: the fault words of every device that it uses, and of
/// every kind of call with the same node and request that all of them are refused (all but the first, too)
/// and that the driver answers success and does nothing. `fixture` is what the board's RS485 ports are wired
/// to. `has_jig`: the lines of the test hang on a jig, whose faults are not among these. Throws
/// std::invalid_argument for a call that has no name in words.
std::vector<TestFault> test_faults(const std::vector<boardsim::Call>& calls, std::string_view fixture,
                                   bool has_jig);
