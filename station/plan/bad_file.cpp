#include "station/plan/bad_file.h"

#include <algorithm>
#include <tuple>

#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestMessage = 400;  // columns

// Files may hold anything, and messages quote them.
std::string one_line(std::string_view text) {
  std::string line = clean_text(text);
  std::replace(line.begin(), line.end(), '\n', ' ');
  std::replace(line.begin(), line.end(), '\t', ' ');
  return line;
}

std::string cut(const std::string& message) {
  if (display_width(message) <= kLongestMessage) return message;
  return cut_to_width(message, kLongestMessage) + " ...";
}

std::vector<std::string> complaints_about(std::string_view file, std::vector<FileProblem> problems) {
  std::stable_sort(problems.begin(), problems.end(), [](const FileProblem& one, const FileProblem& other) {
    return std::tie(one.line, one.column) < std::tie(other.line, other.column);
  });
  std::vector<std::string> lines;
  for (const FileProblem& problem : problems) {
    lines.push_back(one_line(file) + ":" + std::to_string(problem.line) + ":" +
                    std::to_string(problem.column) + ": " + cut(one_line(problem.message)));
  }
  return lines;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string all;
  for (const std::string& line : lines) all += (all.empty() ? "" : "\n") + line;
  return all;
}

}  // namespace

BadFile::BadFile(std::string_view file, std::vector<FileProblem> problems)
    : BadFile(complaints_about(file, std::move(problems))) {}

BadFile::BadFile(std::vector<std::string> lines)
    : std::runtime_error(joined(lines)), lines_(std::move(lines)) {}

}  // namespace t1station
