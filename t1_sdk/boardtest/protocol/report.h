// How every test reports: a result code, a description, one reply.
#pragma once

#include <array>
#include <cstddef>

#include "t1_sdk/boardtest/protocol/message.h"

namespace boardtest {

/// The descriptions' buffer, terminator included.
inline constexpr std::size_t kDescriptionSize = 512;

/// The description of a test that met no failure. Texts stand in sources, never in headers: whoever includes
/// this one may be compiled without GBK literals.
extern const char kTestSucceeded[];

/// The report of one test run: starts the reply when it is made, keeps the result code and the description
/// while the test runs, and sends the reply with send().
class TestReport {
 public:
  /// Starts the reply in `document`, which must outlive the report. `name` is the test's name as the station
  /// shows it.
  TestReport(int testCode, const char* name, const char* description = kTestSucceeded,
             XmlDocument& document = msg);
  TestReport(const TestReport&) = delete;
  TestReport& operator=(const TestReport&) = delete;

  /// Records a failure with its description, which is cut to the buffer between characters.
  void fail(int code, const char* description);
  /// The same, and prints the description as a line first.
  void fail_aloud(int code, const char* description);
  /// Records a failure that leaves the description as it is.
  void fail(int code) { code_ = code; }
  /// Replaces the description.
  void describe(const char* text);

  /// Whether no failure was recorded, and what the reply would say now.
  bool passed() const { return code_ == 0; }
  int code() const { return code_; }
  const char* description() const { return description_.data(); }

  /// Adds Value ("Pass" for code 0, else "Fail" after printing "fail num = %d\n") and Description, and
  /// sends the reply. 0, or -1 when it could not be sent.
  int send();

 private:
  XmlDocument& document_;
  int code_ = 0;
  std::array<char, kDescriptionSize> description_{};
};

}  // namespace boardtest
