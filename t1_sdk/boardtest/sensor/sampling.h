// The bounds of the sampling window, set by hand on the console. No test code leads here.
#pragma once

/// A menu on the console until 'q' is chosen.
void sampling_test();
