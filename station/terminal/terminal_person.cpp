#include "station/terminal/terminal_person.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace t1station {
namespace {

constexpr std::size_t kLongestAnswer = 256;  // bytes; nobody answers at such length

std::optional<bool> meaning(std::string line) {
  std::erase_if(line, [](unsigned char letter) { return std::isspace(letter) != 0; });
  std::ranges::transform(line, line.begin(),
                         [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  if (line == "y" || line == "yes" || line == "answer:yes") return true;
  if (line == "n" || line == "no" || line == "answer:no") return false;
  return std::nullopt;
}

}  // namespace

bool TerminalPerson::read_some() {
  pollfd item{descriptor_, POLLIN, 0};
  if (poll(&item, 1, 0) != 1) return false;
  std::array<char, kLongestAnswer> bytes{};
  const ssize_t count = read(descriptor_, bytes.data(), bytes.size());
  if (count <= 0) return false;
  typed_.append(bytes.data(), static_cast<std::size_t>(count));
  return true;
}

void TerminalPerson::ask(const Question& /*question*/) {
  while (read_some()) typed_.clear();
  typed_.clear();
}

std::optional<bool> TerminalPerson::answer() {
  read_some();
  for (std::size_t end = typed_.find('\n'); end != std::string::npos; end = typed_.find('\n')) {
    const std::optional<bool> said = meaning(typed_.substr(0, end));
    typed_.erase(0, end + 1);
    if (said) return said;
  }
  if (typed_.size() > kLongestAnswer) typed_.clear();
  return std::nullopt;
}

}  // namespace t1station
