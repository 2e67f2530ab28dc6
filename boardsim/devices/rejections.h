// Faults of the form "... rejects THING N[+]": certain calls fail, counted from the laying of the fault on.
#pragma once

#include <string_view>
#include <vector>

namespace boardsim {

/// Several such faults add up.
class Rejections {
 public:
  /// Takes "2" or "2+", counted from 1.
  void add(std::string_view count);
  /// Counts one call and tells whether it fails.
  bool next();
  void clear() { faults_.clear(); }

 private:
  struct Fault {
    unsigned first;      ///< call that fails, counted from 1
    bool goes_on;        ///< every later one too
    unsigned asked = 0;  ///< calls so far
  };
  std::vector<Fault> faults_{};
};

}  // namespace boardsim
