// Two sessions with the same station: a recorded board's and a simulated one's.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "boardrec/compare/answers.h"
#include "boardrec/session/recording.h"

namespace boardrec {

/// How much of a device was compared.
struct DeviceCount {
  std::string device{};
  std::size_t compared = 0;  ///< questions that both programs asked
  std::size_t differ = 0;
  std::size_t only_recorded = 0;  ///< questions that the other program did not ask
  std::size_t only_simulated = 0;

  std::size_t agree() const { return compared - differ; }
};

/// One kind of question to a device, whose answers differ.
struct Finding {
  std::string device{};
  std::string kind{};  ///< "ioctl 0x80044703", "read"
  std::size_t compared = 0;
  std::size_t differ = 0;
  // the first case
  std::string segment{};   ///< "request 3 (TestCode 1536)"
  std::uint64_t time = 0;  ///< of the recording, nanoseconds
  std::string question{};  ///< in the words of a trace, with the recorded result
  Difference difference{};
  bool after_parting = false;  ///< the programs had gone different ways behind that request before
};

/// Where programs went different ways.
struct Parting {
  std::string segment{};
  std::size_t more_segments = 0;  ///< behind it that nothing came to: the program had ended on one side
  std::size_t recorded = 0, simulated = 0;  ///< questions that only one of them asked
  std::string first_recorded{};             ///< the first of them, in the words of a trace; empty for none
  std::string first_simulated{};
  std::string because{};  ///< the last answer that differed before; empty for none
  std::string because_device{};
};

struct Comparison {
  std::vector<DeviceCount> devices{};  ///< by name
  std::vector<Finding> findings{};     ///< by device, then as they came
  std::vector<Parting> partings{};
  std::size_t requests = 0;  ///< of the recorded station

  bool agrees() const { return findings.empty() && partings.empty(); }
};

/// Holds each answer of the simulated board against the recorded one.
Comparison compare(const Recording& recorded, const Recording& simulated, const Tolerance& tolerance);

}  // namespace boardrec
