// The folder that keeps a board's storage, and what was learned of it, between runs.
#pragma once

#include <string>

namespace boardsim {

/// Makes the folder unless it is there, and takes it for a board of this family until the launcher ends: two
/// boards cannot have one storage, and no other family is run on its data. Throws std::runtime_error with a
/// clear text for a folder that cannot be made, is in use, or belongs to another board.
void use_state(const std::string& folder, const std::string& board);

/// Copies all of a board's folder into a new one, for a run that leaves no trace in it. Throws
/// std::runtime_error as use_state() does.
void copy_state(const std::string& folder, const std::string& board, const std::string& copy);

/// Whether a board's folder is there: one that a run has used, or that has learned.
bool is_state(const std::string& folder);

}  // namespace boardsim
