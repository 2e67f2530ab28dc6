#include "boardsim/tool/state_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace boardsim {
namespace {

namespace fs = std::filesystem;

/// Has the name of the board's family.
std::string label_of(const std::string& folder) {
  return folder + "/board";
}

/// Locks the folder until the descriptor, which is returned, is closed.
int lock(const std::string& folder, int flags, int how) {
  const std::string file = label_of(folder);
  const int fd = open(file.c_str(), flags | O_CLOEXEC, 0666);
  if (fd < 0) throw std::runtime_error(file + ": " + std::strerror(errno));
  if (flock(fd, how | LOCK_NB) == 0) return fd;
  close(fd);
  throw std::runtime_error(folder + " is in use");
}

/// The family whose board it is; empty when nobody has said so yet.
std::string known_board(const std::string& folder, const std::string& board) {
  std::string known;
  std::ifstream(label_of(folder)) >> known;
  if (!known.empty() && known != board)
    throw std::runtime_error(folder + " belongs to a board \"" + known + "\", not \"" + board + "\"");
  return known;
}

}  // namespace

void use_state(const std::string& folder, const std::string& board) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw std::runtime_error(folder + " cannot be made: " + error.message());
  lock(folder, O_RDONLY | O_CREAT, LOCK_EX);  // for as long as the launcher lives
  if (!known_board(folder, board).empty()) return;
  std::ofstream out(label_of(folder));
  out << board << '\n';
  if (!out.flush()) throw std::runtime_error(label_of(folder) + " cannot be written");
}

void copy_state(const std::string& folder, const std::string& board, const std::string& copy) {
  const int locked = lock(folder, O_RDONLY, LOCK_SH);
  known_board(folder, board);
  fs::create_directory(copy);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) fs::copy_file(entry.path(), fs::path(copy) / entry.path().filename());
  }
  close(locked);
}

bool is_state(const std::string& folder) {
  std::error_code ignored;
  return fs::is_regular_file(label_of(folder), ignored);
}

}  // namespace boardsim
