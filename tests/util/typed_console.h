// The console as a person types on it: what stands at standard input, and keys at virtual times.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "boardsim/board.h"

/// Puts a descriptor in place of standard input while it lives.
class StandardInput {
 public:
  explicit StandardInput(int fd) : original_(::dup(STDIN_FILENO)) {
    if (::dup2(fd, STDIN_FILENO) < 0) throw std::runtime_error("standard input cannot be replaced");
    ::close(fd);
  }
  ~StandardInput() {
    ::close(STDIN_FILENO);
    if (original_ < 0) return;
    ::dup2(original_, STDIN_FILENO);
    ::close(original_);
  }
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;

 private:
  int original_;
};

/// A terminal of this PC, or a pipe, as standard input. Make it after the board.
class TypedConsole {
 public:
  enum class Kind { terminal, pipe };

  explicit TypedConsole(boardsim::Board& board, Kind kind = Kind::terminal)
      : board_(board), ends_(open(kind)), input_(ends_.board) {
    // A program that waits for a key that nobody types would wait for ever.
    board_.at(std::chrono::hours(2), [this] {
      ADD_FAILURE() << "the program still waits for keys";
      press("\nq\n");
    });
  }
  ~TypedConsole() { end(); }
  TypedConsole(const TypedConsole&) = delete;
  TypedConsole& operator=(const TypedConsole&) = delete;

  /// Presses keys when virtual time reaches `when`, in the next wait when that has passed.
  void type(boardsim::Time when, const std::string& keys) {
    board_.at(when, [this, keys] { press(keys); });
  }
  /// The input ends at `when`: a terminal is hung up, a pipe has no writer any more.
  void end(boardsim::Time when) {
    board_.at(when, [this] { end(); });
  }
  /// The settings of the terminal now.
  static termios settings() {
    termios settings = {};
    if (::tcgetattr(STDIN_FILENO, &settings) != 0) throw std::runtime_error("no terminal at standard input");
    return settings;
  }

 private:
  struct Ends {
    int person = -1;
    int board = -1;
  };

  static Ends open(Kind kind) {
    Ends ends;
    if (kind == Kind::terminal) {
      if (::openpty(&ends.person, &ends.board, nullptr, nullptr, nullptr) != 0) {
        throw std::runtime_error("this PC has no terminal left");
      }
    } else {
      int fds[2];
      if (::pipe(fds) != 0) throw std::runtime_error("this PC has no pipe left");
      ends = {fds[1], fds[0]};
    }
    return ends;
  }

  /// Runs as an event. The PC brings keys to a terminal's other side a moment later: not to be missed by a
  /// wait in virtual time, they are waited for here.
  void press(const std::string& keys) const {
    const int awaited = waiting() + static_cast<int>(keys.size());
    ASSERT_EQ(::write(ends_.person, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    for (int looks = 0; waiting() < awaited && looks < 10000; ++looks) ::poll(nullptr, 0, 1);
    EXPECT_GE(waiting(), awaited) << "keys got lost";
  }
  static int waiting() {
    int count = 0;
    ::ioctl(STDIN_FILENO, FIONREAD, &count);
    return count;
  }
  void end() {
    if (ends_.person >= 0) ::close(ends_.person);
    ends_.person = -1;
  }

  boardsim::Board& board_;
  Ends ends_;
  StandardInput input_;
};
