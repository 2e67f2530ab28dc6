// The faults that a test run can meet: every call that it makes and that can fail, in every way that the call
// fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "boardsim/board.h"

/// One fault of the simulated board.
struct Fault {
  std::string call;           ///< "open", "ioctl", "select" ...
  std::string node;           ///< empty for calls that name none, and for a fault of every node
  std::uint32_t request = 0;  ///< of an ioctl; 0: any
  unsigned first = 1;         ///< the first such call that it befalls, counted from 1
  bool lasting = false;       ///< every later one too
  std::string effect;         ///< "EIO", "short 1"; "time-out" of a select, "result 0" of an ioctl

  /// What it befalls, as in the table of verdicts: "ioctl /dev/fpga 0x40044603".
  std::string target() const;
  /// As it is laid over the board: "ioctl /dev/fpga 0x40044603 #7+ EIO".
  std::string text() const;
};

/// The fault that such a text means, a text() of an earlier run for one. Throws std::invalid_argument.
Fault parse_fault(const std::string& text);

/// The places in a trace of the calls that the fault befalls.
std::vector<std::size_t> befallen(const Fault& fault, const std::vector<boardsim::Call>& trace);

/// The texts that lay the fault over a board whose healthy run is known: the board takes faults of one node
/// only.
std::vector<std::string> laid(const Fault& fault, const std::vector<boardsim::Call>& healthy);

/// Whether a call can fail by a fault at all; those of clocks and threads, and closing, are left out.
bool can_fail(const boardsim::Call& call);

/// All faults for the calls of a run: each call once and from there to the end; the first and the last calls
/// of their kind with each error that they give and each short count, those between with these in turn. The
/// order is the same for the same trace.
std::vector<Fault> faults_of(const std::vector<boardsim::Call>& trace);
