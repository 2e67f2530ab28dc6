// Answers a call that no program on a board makes.
#pragma once

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"

/// Where the program makes `call`, it is reported and not performed: returns -1. Goes on for everybody else.
#define BOARDSIM_REFUSE(call) \
  if (const boardsim::Entered board; board) return boardsim::calls::refuse(*board, #call)
