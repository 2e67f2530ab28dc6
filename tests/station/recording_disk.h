// A disk that remembers what SQLite wrote and synced, makes files as a power cut would leave them, and fails
// when told.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// A VFS of SQLite's over the usual one. Real files carry what was written, so that everything else reads
/// them in the ordinary way; nothing is really synced, since only the record of it matters.
class RecordingDisk {
 public:
  /// Something that happened to a file.
  struct Operation {
    enum class Kind { create, write, truncate, sync, remove };
    Kind kind = Kind::write;
    std::string file;         ///< without its folder
    std::int64_t offset = 0;  ///< of a write; the new size for truncate
    std::string bytes;
  };
  /// Asked before each call, with its name ("write", "sync", "read" ...) and its file: SQLITE_OK lets it
  /// through, any other result code is what SQLite gets instead.
  using Fault = std::function<int(std::string_view call, std::string_view file)>;
  /// Contents of files by their names.
  using Image = std::map<std::string, std::string>;

  /// Registers the VFS under a name of its own.
  RecordingDisk();
  ~RecordingDisk();
  RecordingDisk(const RecordingDisk&) = delete;
  RecordingDisk& operator=(const RecordingDisk&) = delete;

  const std::string& name() const { return name_; }
  const std::vector<Operation>& operations() const { return operations_; }
  /// Without write-ahead files, as on a disk whose memory cannot be shared.
  void forbid_shared_memory();

  Fault fault;
  bool is_recording = true;

  /// What is on the disk when the power is cut behind so many operations: all that was synced, and of the
  /// rest what `random` says: kept, dropped, or torn.
  Image after_cut(std::size_t operations, std::mt19937_64& random) const;

 private:
  friend struct RecordingCalls;
  int ask(std::string_view call, std::string_view file) const {
    return fault ? fault(call, file) : SQLITE_OK;
  }
  void note(Operation operation) {
    if (is_recording) operations_.push_back(std::move(operation));
  }

  std::string name_;
  sqlite3_vfs vfs_{};
  sqlite3_vfs* real_ = nullptr;
  sqlite3_io_methods methods_{};
  bool has_shared_memory_ = true;
  std::vector<Operation> operations_;
};
