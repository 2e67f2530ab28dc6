// Temporary file, then rename.
#include "station/report/whole_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "station/text/errors.h"

namespace t1station {
namespace {

namespace fs = std::filesystem;

fs::path real_path(const std::string& path) {
  std::error_code error;
  const fs::path existing = fs::canonical(path, error);
  return error ? fs::path(path) : existing;
}

fs::path directory_of(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

[[noreturn]] void fail(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), "cannot write " + path);
}

void write_all(int file, std::string_view content, const std::string& path) {
  while (!content.empty()) {
    const ssize_t written = write(file, content.data(), content.size());
    if (written >= 0) {
      content.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail(path);
    }
  }
}

// The rights that a file made in the ordinary way would have.
mode_t usual_mode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// `fill` writes into the open file and says who may read it.
void write_file(const std::string& path, const std::function<void(int file)>& fill) {
  const fs::path target = real_path(path);
  std::string temporary = (directory_of(target) / (target.filename().string() + ".XXXXXX")).string();
  const int file = mkstemp(temporary.data());
  if (file < 0) fail(path);
  try {
    fill(file);
    if (fsync(file) != 0) fail(path);
    if (rename(temporary.c_str(), target.c_str()) != 0) fail(path);
  } catch (...) {
    close(file);
    unlink(temporary.c_str());
    throw;
  }
  close(file);
}

}  // namespace

bool is_of_records(const std::string& path, const std::string& records) {
  for (const char* end :
       {"", "-wal", "-shm", "-journal", "-owner", "-figures", "-figures-wal", "-figures-shm"}) {
    if (is_same_file(path, records + end)) return true;
  }
  return false;
}

void check_writable(const std::string& path) {
  std::error_code error;
  const fs::path target = real_path(path);
  if (path.empty() || (fs::exists(target, error) && !fs::is_regular_file(target, error))) {
    throw UsageError("\"" + path + "\" is no plain file");
  }
  const fs::path directory = directory_of(target);
  if (!fs::is_directory(directory, error) || access(directory.c_str(), W_OK) != 0) {
    throw Unwritable("no file can be made in " + directory.string());
  }
}

bool is_same_file(const std::string& one, const std::string& other) {
  const fs::path first = real_path(one), second = real_path(other);
  std::error_code error;
  return first.filename() == second.filename() &&
         fs::equivalent(directory_of(first), directory_of(second), error);
}

void write_whole_file(const std::string& path, std::string_view content) {
  write_whole_file(path, [content](const WritePiece& write) { write(content); });
}

void write_whole_file(const std::string& path, const std::function<void(const WritePiece& write)>& make) {
  write_file(path, [&](int file) {
    make([&](std::string_view piece) { write_all(file, piece, path); });
    if (fchmod(file, usual_mode()) != 0) fail(path);
  });
}

void write_private_file(const std::string& path, std::string_view content) {
  struct stat before {};
  const bool is_others = stat(path.c_str(), &before) == 0 && before.st_uid != geteuid();
  write_file(path, [&](int file) {
    write_all(file, content, path);
    // Who alone could read it still can, when the administrator adds something.
    if (fchmod(file, 0600) != 0) fail(path);
    if (is_others && fchown(file, before.st_uid, before.st_gid) != 0) fail(path);
  });
}

}  // namespace t1station
