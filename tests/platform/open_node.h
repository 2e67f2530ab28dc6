// A node that a test opens itself, as the callers of the hardware functions do.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "boardsim/board.h"

/// Opens a node of the simulated board and forgets the trace of that; closes it at the end.
class OpenNode {
 public:
  OpenNode(boardsim::Board& board, const char* node) : fd_(::open(node, O_RDWR)) {
    EXPECT_GT(fd_, 0) << node;
    board.clear_trace();
  }
  ~OpenNode() { ::close(fd_); }
  OpenNode(const OpenNode&) = delete;
  OpenNode& operator=(const OpenNode&) = delete;

  int fd() const { return fd_; }

 private:
  int fd_;
};

/// Keeps descriptor 0 free while it lives, so that the next node opened gets that number.
class FreeDescriptorZero {
 public:
  FreeDescriptorZero() : input_(::dup(0)) { ::close(0); }
  ~FreeDescriptorZero() {
    ::close(0);
    ::dup2(input_, 0);
    ::close(input_);
  }
  FreeDescriptorZero(const FreeDescriptorZero&) = delete;
  FreeDescriptorZero& operator=(const FreeDescriptorZero&) = delete;

 private:
  int input_;
};
