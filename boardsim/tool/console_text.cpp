#include "boardsim/tool/console_text.h"

#include <array>
#include <cerrno>
#include <stdexcept>

namespace boardsim {

ConsoleText::ConsoleText() : conversion_(iconv_open("UTF-8", "GBK")) {
  // iconv_open reports failure as a pointer of all ones.
  if (reinterpret_cast<std::intptr_t>(conversion_) == -1)
    throw std::runtime_error("this PC cannot convert GBK");
}

ConsoleText::~ConsoleText() {
  iconv_close(conversion_);
}

std::string ConsoleText::convert(std::string_view bytes) {
  pending_.append(bytes);
  std::string text;
  std::array<char, 4096> part{};
  char* in = pending_.data();
  std::size_t left = pending_.size();
  while (left > 0) {
    char* out = part.data();
    std::size_t room = part.size();
    const std::size_t result = iconv(conversion_, &in, &left, &out, &room);
    const int error = errno;
    text.append(part.data(), part.size() - room);
    if (result != static_cast<std::size_t>(-1) || error == E2BIG) continue;
    if (error == EINVAL) break;
    text.push_back('?');
    ++in;
    --left;
  }
  pending_.erase(0, pending_.size() - left);
  return text;
}

std::string ConsoleText::finish() {
  std::string text(pending_.empty() ? "" : "?");
  pending_.clear();
  return text;
}

}  // namespace boardsim
