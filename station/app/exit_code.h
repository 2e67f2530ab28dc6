// The exit codes of the client.
#pragma once

#include "station/run/result.h"

namespace t1station {

namespace exit_code {
inline constexpr int kPassed = 0;
inline constexpr int kFailed = 1;
inline constexpr int kInterrupted = 2;
inline constexpr int kUsage = 4;
inline constexpr int kNothingSelected = 5;
inline constexpr int kBroken = 6;     // also when the PC itself denies the client what it needs
inline constexpr int kUnwritten = 7;  // a report or standard output cannot be written, and all is well else
}  // namespace exit_code

/// The exit code for tests that were asked for one by one: of several reasons, interrupted comes before
/// broken or timed out, and these before failed.
int exit_code_of(const RunReport& report);

/// The exit code for a verdict.
int exit_code_of(Verdict verdict);

}  // namespace t1station
