// What every test on a simulated board starts from.
#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/board.h"

/// A healthy board in virtual time, its eth0 at a loopback address of its own. The test fails at its end
/// when the program called something that the board does not know, or left a node open.
class OnBoard : public ::testing::Test {
 protected:
  explicit OnBoard(std::string_view family = "normal");

  void TearDown() override { check_board(); }

  /// Goes on with a new healthy board of another family; `board` is that one from now on.
  void with_family(std::string_view family);
  /// Says which nodes the program leaves open, in the order of opening.
  void expect_open(std::vector<std::string> nodes) { open_nodes_ = std::move(nodes); }
  /// How many calls of that name ("select", "send" ...) the board has answered.
  std::size_t calls(std::string_view name) const;

 private:
  void switch_on(std::string_view family);
  void check_board();

  std::optional<boardsim::Board> box_;
  std::vector<std::string> open_nodes_;

 protected:
  /// The dotted address of eth0.
  std::string address;
  boardsim::Board& board;
};

/// A loopback address with a free port 36001 that no other board of this PC is given at the same time.
std::string own_loopback_address();
