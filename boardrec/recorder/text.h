// A line of text, put together without the C library's locale or heap.
#pragma once

#include <cstddef>

namespace boardrec {

/// At most 250 characters; what does not fit is left out.
class Text {
 public:
  Text& add(const char* text) {
    while (*text != '\0' && size_ < sizeof text_ - 1) text_[size_++] = *text++;
    return *this;
  }
  Text& add(long number) {
    char digits[24];
    std::size_t at = sizeof digits - 1;
    digits[at] = '\0';
    unsigned long rest =
        number < 0 ? 0UL - static_cast<unsigned long>(number) : static_cast<unsigned long>(number);
    do {
      digits[--at] = static_cast<char>('0' + rest % 10);
      rest /= 10;
    } while (rest != 0);
    if (number < 0) digits[--at] = '-';
    return add(digits + at);
  }
  const char* text() const { return text_; }
  std::size_t size() const { return size_; }

 private:
  char text_[251]{};
  std::size_t size_ = 0;
};

}  // namespace boardrec
