// The fan of the WPF boards, switched through the stm8 coprocessor.
#pragma once

/// Switches the fan on and off twice. Console only: it sends no reply and no test code runs it.
void fan_test_wpf();
