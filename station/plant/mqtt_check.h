// The files that a line's [mqtt] names: looked at before anything is served.
#pragma once

#include <string>

#include "station/line/line_file.h"

namespace t1station {

/// Looks at the password's file and the certificates. Throws BadFile with every mistake and the place where
/// the line's file names it. Nothing is connected to.
void check_mqtt(const LineFile& file);

/// The password: the first line of its file. Throws UsageError when it cannot be read, is empty, or when
/// everybody on this PC may read it.
std::string read_password(const std::string& file);

}  // namespace t1station
