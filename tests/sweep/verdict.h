// Which failing calls a test must notice.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/sweep/calls.h"

/// What a test that passes on a healthy board may reply when a call fails.
enum class Verdict : std::uint8_t {
  fail,             ///< "Fail" only
  pass,             ///< "Pass" only: nobody looks at this call's result
  either,           ///< what the hardware then does, or the board that it is taken for, decides
  fail_from_first,  ///< "Fail" when not even the first such call went well, otherwise either
};

/// What one test on one board must reply, fault by fault.
class Expectations {
 public:
  /// `healthy`: the calls of its run without a fault.
  Expectations(int code, std::string_view family, const std::vector<boardsim::Call>& healthy);

  /// The verdict under a fault; never fail_from_first.
  Verdict of(const Fault& fault) const;

 private:
  int code_;
  std::string_view family_;
  std::vector<boardsim::Call> healthy_;
  std::vector<std::pair<std::string, unsigned>>
      names_;  ///< of each call, and the how manieth of its name it is
};
