// Calls in words, for a replay that differs: what was recorded, what is asked now, and where in the session.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// Follows a session, call by call, so that descriptors have names and a place can be told.
class Telling {
 public:
  void follow(const Record& record);

  /// "ioctl fd 5 (/dev/qznio), request 0x40044d02, record {0, 10000, 5000}".
  std::string text(Call call, const std::vector<Value>& in) const;
  /// " = 0", " = -1 ENODEV"; of a call that did not end, why.
  std::string result(const Record& record) const;
  /// For bytes: a line that shows where they begin to differ; empty where nothing more can be said.
  std::string first_difference(const std::vector<Value>& recorded, const std::vector<Value>& now) const;
  /// ", behind the station's 3rd request (TestCode 7426)"; empty before the first.
  std::string where() const;

 private:
  std::string named(std::int64_t fd) const;

  std::map<std::int64_t, std::string> descriptors_{{0, "standard input"}, {1, "console"}, {2, "errors"}};
  std::string received_{};  ///< of the station's last record, as far as it has come
  int requests_ = 0;
  std::string code_{};
};

}  // namespace boardrec
