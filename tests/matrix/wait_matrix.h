// How long each test code takes by its own waits.
#pragma once

#include <string_view>

#include "boardsim/board.h"

/// Whether a code took on a healthy board of a family just what its waits and its devices' answers add up to;
/// says so when it did not.
bool is_prescribed(int code, std::string_view family, boardsim::Time taken);

/// Whether times are prescribed for codes and families only that exist; says so when not.
bool prescribes_what_exists();
