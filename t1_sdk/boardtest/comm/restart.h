// Restart of the board, so that it comes back with its normal application.
#pragma once

/// Test -15: replies "Pass", then restarts the board.
void t1_sdk_centaurus_test();
/// The same restart without a reply.
void centaurus_test();
