// Plan files: TOML, read as strictly as a compiler reads.
#pragma once

#include <string>
#include <string_view>

#include "station/plan/bad_file.h"
#include "station/plan/plan.h"

namespace t1station {

/// A plan that cannot be used; all that is wrong with it.
class BadPlan : public BadFile {
 public:
  using BadFile::BadFile;
  explicit BadPlan(const BadFile& reason) : BadFile(reason) {}
};

/// Reads a plan from the bytes of its file. Throws BadPlan, in which it is called `file`.
Plan parse_plan(std::string_view file, std::string text);

/// Reads a plan file. Throws BadPlan; a file that cannot be read is one, at 1:1.
Plan read_plan(const std::string& file);

}  // namespace t1station
