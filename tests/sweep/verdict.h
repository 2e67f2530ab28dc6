// Which failing calls a test must notice.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/sweep/calls.h"

/// What a test may reply when a call fails.
enum class Verdict : std::uint8_t {
  fail,    ///< "Fail" only
  pass,    ///< "Pass" only: nobody looks at this call's result
  either,  ///< the board that it is taken for decides
  silent,  ///< what it replies when the call succeeds and does nothing: its result is not looked at, its
           ///< effect is
};

/// What one test on one board must reply, fault by fault.
class Expectations {
 public:
  /// `healthy`: the calls of its run without a fault, with the levels of input lines; whether that run
  /// `passes`.
  Expectations(int code, std::string_view family, const std::vector<boardsim::Call>& healthy, bool passes);

  /// The verdict under a fault.
  Verdict of(const Fault& fault) const;

  /// For a fault with the verdict "silent": the one under which the same calls succeed and do nothing.
  Fault silent_twin(const Fault& fault) const;

 private:
  struct Named {
    std::string name;           ///< as the rows have it
    unsigned count = 0;         ///< its number among the calls of its name, from 1
    bool is_looked_at = false;  ///< reads a line that the test looks at now, or asks which line that is
    bool is_high = false;       ///< reads a line that is high
  };

  Verdict at(std::size_t place, const Fault& fault) const;
  void mark_inputs();

  int code_;
  std::string_view family_;
  std::vector<boardsim::Call> healthy_;
  bool passes_;
  std::vector<Named> named_;
  std::size_t last_input_ = 0;  ///< place of the last read of an input line
};
