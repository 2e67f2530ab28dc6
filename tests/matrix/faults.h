// Every board with the alarm codes that it is given, every fault that its jigs can have, and what a test says
// of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// One kind of board and the alarm codes that it is given.
struct TestedBoard {
  const char* family;
  std::uint32_t type;  ///< another board of that family; 0: the family's own
  std::vector<int> codes;

  /// "normal", "normal (0x27202)".
  std::string title() const;
};

const std::vector<TestedBoard>& tested_boards();

/// A fault of a board's jig.
struct JigFault {
  std::string text;  ///< as it is laid over the board: "wire T1 cut"
  /// What it does to the board, whatever the jig calls it: the same for two jigs that reach the same lines
  /// and outputs.
  std::string effect;
};

/// Every fault of the jig that is plugged in for a code. Inputs without a wire have those only that pull them
/// low.
std::vector<JigFault> faults_of(const TestedBoard& board, int code);

/// What a test came to.
struct Outcome {
  bool passed;
  int code;                        ///< result code, 0 of a test that passed
  std::string errors;              ///< error count as it is printed
  std::vector<std::string> lines;  ///< what is printed in a cycle and not on a healthy board, each line once
  std::string description;
};

/// Runs a code on a board with a fault; without one when it is empty.
Outcome run_alarm_code(const TestedBoard& board, int code, const std::string& fault);
