// Files that people write and that cannot be used, with all that is wrong with them.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// A mistake in a file. Lines and columns count from 1, columns in characters.
struct FileProblem {
  std::size_t line = 1, column = 1;
  std::string message;
};

/// A file that cannot be used. what() is all of lines().
class BadFile : public std::runtime_error {
 public:
  BadFile(std::string_view file, std::vector<FileProblem> problems);
  /// "FILE:LINE:COLUMN: message", one for each problem, in their order in the file. Nothing in them steers a
  /// terminal; very long ones are cut.
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  explicit BadFile(std::vector<std::string> lines);

  std::vector<std::string> lines_;
};

}  // namespace t1station
