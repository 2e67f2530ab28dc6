// The program's console output on its way to the PC's terminal.
#pragma once

#include <iconv.h>

#include <string>
#include <string_view>

namespace boardsim {

/// Turns a stream of GBK bytes into UTF-8 as it comes; what is no GBK becomes '?'.
class ConsoleText {
 public:
  ConsoleText();
  ~ConsoleText();
  ConsoleText(const ConsoleText&) = delete;
  ConsoleText& operator=(const ConsoleText&) = delete;

  /// The text that `bytes` completes; half a character at the end waits for its other half.
  std::string convert(std::string_view bytes);
  /// What is left when nothing more comes.
  std::string finish();

 private:
  iconv_t conversion_;
  std::string pending_;
};

}  // namespace boardsim
