// A file of records with the runs of a list.
#pragma once

#include <string>

#include "tests/station/figures_model.h"

namespace figures_model {

/// Adds the runs to a file of records, with SQL of its own, as the file's triggers allow it.
void store(const std::string& file, const Runs& runs);
/// Ends a run of the file that has not ended, as it is here.
void end(const std::string& file, const Run& run);

}  // namespace figures_model
