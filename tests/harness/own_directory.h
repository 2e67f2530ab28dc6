// A directory of a test's own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

/// Made empty, among the PC's temporary files unless it is told where, and removed with whatever it holds at
/// the end.
class OwnDirectory {
 public:
  /// Throws std::runtime_error when the PC allows none.
  explicit OwnDirectory(const std::filesystem::path& where = std::filesystem::temp_directory_path()) {
    std::string name = (where / "boardtest.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no directory for the test");
    path_ = name;
  }
  ~OwnDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  OwnDirectory(const OwnDirectory&) = delete;
  OwnDirectory& operator=(const OwnDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// The path of a file in it.
  std::string file(std::string_view name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};
