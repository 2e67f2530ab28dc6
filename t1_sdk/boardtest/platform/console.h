// The system console.
#pragma once

/// Makes the terminal `devname` the system console. Failures print one line. Always 0. No test calls it.
int setconsole(const char* devname);
