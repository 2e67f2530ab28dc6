// A board whose console lines are read into a buffer that shows what was stored where.
#pragma once

#include <gtest/gtest.h>
#include <termios.h>
#include <algorithm>
#include <array>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "t1_sdk/util/console_line.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/util/typed_console.h"

/// The two readers behind one signature.
struct Reader {
  const char* name;
  void (*read)(char* buffer, int length);
};

// clang-format off
inline const Reader kSigned =   {"Signed",   [](char* buffer, int length) { readline(buffer, length); }};
inline const Reader kUnsigned = {"Unsigned", [](char* buffer, int length) {
                                        readline(reinterpret_cast<unsigned char*>(buffer), length); }};
// clang-format on

inline void PrintTo(const Reader& reader, std::ostream* out) {
  *out << reader.name;
}

/// Everything of a terminal's settings that a program can change.
inline std::vector<unsigned> as_words(const termios& settings) {
  std::vector<unsigned> words = {settings.c_iflag, settings.c_oflag,  settings.c_cflag,
                                 settings.c_lflag, settings.c_ispeed, settings.c_ospeed};
  words.insert(words.end(), std::begin(settings.c_cc), std::end(settings.c_cc));
  return words;
}

class ConsoleLineBoard : public OnBoard {
 protected:
  /// Reads a line into the middle of a buffer; what lies around it must stay as it is.
  std::string read_line(const Reader& reader, int length = 64) {
    read_raw(reader, length);
    return &room[kFront];
  }
  void read_raw(const Reader& reader, int length) {
    room.fill(kUntouched);
    reader.read(&room[kFront], length);
    const std::size_t end = kFront + static_cast<std::size_t>(std::max(length, 0));
    for (std::size_t i = 0; i < room.size(); ++i) {
      if (i >= kFront && i < end) continue;
      EXPECT_EQ(room[i], kUntouched) << "byte " << i << " was stored to";
    }
  }

  static constexpr char kUntouched = '~';
  static constexpr std::size_t kFront = 64;

  std::array<char, 256> room{};
  Console console;
};
