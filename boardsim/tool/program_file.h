// What a program's file tells about starting it.
#pragma once

#include <string>
#include <vector>

namespace boardsim {

/// The facts of an ELF file that decide how it is started.
struct ProgramFile {
  bool dynamic = false;  ///< it has an interpreter, so that libraries can be put in front
  std::vector<std::string>
      sanitizers{};  ///< sanitizer runtimes that it needs and that must come first of all
};

/// Looks a program's name up as a shell does. Throws std::runtime_error when there is none.
std::string find_program(const std::string& name);
/// Reads an ELF file of this PC's kind. Throws std::runtime_error when it is none.
ProgramFile read_program_file(const std::string& path);

}  // namespace boardsim
