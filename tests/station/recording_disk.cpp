#include "tests/station/recording_disk.h"

#include <optional>

namespace {

/// What SQLite holds for an open file; the real one stands behind it.
struct OpenFile {
  sqlite3_file base;
  RecordingDisk* disk;
  const char* name;  // without its folder, as long as the file is open
};

OpenFile* mine(sqlite3_file* file) {
  return reinterpret_cast<OpenFile*>(file);
}
sqlite3_file* real(sqlite3_file* file) {
  return reinterpret_cast<sqlite3_file*>(mine(file) + 1);
}
RecordingDisk* disk_of(sqlite3_vfs* vfs) {
  return static_cast<RecordingDisk*>(vfs->pAppData);
}

std::string base_name(const char* path) {
  const std::string text = path ? path : "";
  return text.substr(text.rfind('/') + 1);
}

void put(std::string& content, std::int64_t offset, std::string_view bytes) {
  const std::size_t place = static_cast<std::size_t>(offset);
  if (content.size() < place + bytes.size()) content.resize(place + bytes.size(), '\0');
  content.replace(place, bytes.size(), bytes);
}

void apply(const RecordingDisk::Operation& operation, std::string& content) {
  if (operation.kind == RecordingDisk::Operation::Kind::write)
    put(content, operation.offset, operation.bytes);
  if (operation.kind == RecordingDisk::Operation::Kind::truncate) {
    content.resize(static_cast<std::size_t>(operation.offset), '\0');
  }
}

// Part of a write: sectors from one place to another, or up to any byte.
void tear(const RecordingDisk::Operation& operation, std::string& content, std::mt19937_64& random) {
  if (operation.kind != RecordingDisk::Operation::Kind::write || operation.bytes.empty()) return;
  constexpr std::size_t kSector = 512;
  const std::size_t size = operation.bytes.size();
  const auto up_to = [&random](std::size_t most) { return static_cast<std::size_t>(random() % (most + 1)); };
  std::size_t from = 0, to = up_to(size);
  if (random() % 2 == 0) {
    from = up_to(size - 1) / kSector * kSector;
    to = std::max(to / kSector * kSector, from);
  }
  put(content, operation.offset + static_cast<std::int64_t>(from),
      std::string_view(operation.bytes).substr(from, to - from));
}

/// One file of the disk: what is there for certain, and what may be.
struct DiskFile {
  std::optional<std::string> durable;
  std::vector<RecordingDisk::Operation> pending;
  bool is_there = false;  // as the running program sees it
};

// SQLite syncs the folder with the first sync of a new log or journal: what was made and removed before is
// sure.
void sync_folder(std::map<std::string, DiskFile>& files) {
  for (auto& [name, file] : files) {
    if (!file.is_there) {
      file.durable.reset();
    } else if (!file.durable) {
      file.durable = "";
    }
  }
}

std::optional<std::string> fate_of(const DiskFile& file, std::mt19937_64& random, unsigned mood) {
  if (!file.is_there && (!file.durable || random() % 2 == 0)) return std::nullopt;
  if (!file.durable && random() % 2 == 0) return std::nullopt;  // its folder was not synced yet
  std::string content = file.durable.value_or("");
  for (const RecordingDisk::Operation& operation : file.pending) {
    const unsigned choice = mood < 3 ? mood : static_cast<unsigned>(random() % 3);
    if (choice == 0) apply(operation, content);
    if (choice == 1) tear(operation, content, random);
  }
  return content;
}

}  // namespace

/// The functions that SQLite calls.
struct RecordingCalls {
  static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flags_out) {
    RecordingDisk* disk = disk_of(vfs);
    file->pMethods = nullptr;
    if (const int code = disk->ask("open", base_name(name)); code != SQLITE_OK) return code;
    int is_there = 0;
    if (name) disk->real_->xAccess(disk->real_, name, SQLITE_ACCESS_EXISTS, &is_there);
    const int code = disk->real_->xOpen(disk->real_, name, real(file), flags, flags_out);
    if (code != SQLITE_OK) return code;
    mine(file)->disk = disk;
    mine(file)->name = name ? name + (std::string_view(name).rfind('/') + 1) : "";
    file->pMethods = &disk->methods_;
    if (is_there == 0 && name) disk->note({RecordingDisk::Operation::Kind::create, mine(file)->name, 0, {}});
    return SQLITE_OK;
  }
  static int remove(sqlite3_vfs* vfs, const char* name, int sync_folder) {
    RecordingDisk* disk = disk_of(vfs);
    if (const int code = disk->ask("remove", base_name(name)); code != SQLITE_OK) return code;
    const int code = disk->real_->xDelete(disk->real_, name, 0);
    if (code == SQLITE_OK) {
      disk->note({RecordingDisk::Operation::Kind::remove, base_name(name), sync_folder, {}});
    }
    return code;
  }
  static int access(sqlite3_vfs* vfs, const char* name, int flags, int* result) {
    return disk_of(vfs)->real_->xAccess(disk_of(vfs)->real_, name, flags, result);
  }
  static int full_path(sqlite3_vfs* vfs, const char* name, int size, char* out) {
    return disk_of(vfs)->real_->xFullPathname(disk_of(vfs)->real_, name, size, out);
  }
  static int randomness(sqlite3_vfs* vfs, int size, char* out) {
    return disk_of(vfs)->real_->xRandomness(disk_of(vfs)->real_, size, out);
  }
  static int pause(sqlite3_vfs*, int microseconds) { return microseconds; }
  static int time(sqlite3_vfs* vfs, sqlite3_int64* out) {
    return disk_of(vfs)->real_->xCurrentTimeInt64(disk_of(vfs)->real_, out);
  }
  static int last_error(sqlite3_vfs* vfs, int size, char* out) {
    return disk_of(vfs)->real_->xGetLastError(disk_of(vfs)->real_, size, out);
  }

  static int ask(sqlite3_file* file, std::string_view call) {
    return mine(file)->disk->ask(call, mine(file)->name);
  }
  static int close(sqlite3_file* file) { return real(file)->pMethods->xClose(real(file)); }
  static int read(sqlite3_file* file, void* out, int size, sqlite3_int64 offset) {
    if (const int code = ask(file, "read"); code != SQLITE_OK) return code;
    return real(file)->pMethods->xRead(real(file), out, size, offset);
  }
  static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    if (const int code = ask(file, "write"); code != SQLITE_OK) return code;
    const int code = real(file)->pMethods->xWrite(real(file), bytes, size, offset);
    mine(file)->disk->note({RecordingDisk::Operation::Kind::write, mine(file)->name, offset,
                            std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size))});
    return code;
  }
  static int truncate(sqlite3_file* file, sqlite3_int64 size) {
    if (const int code = ask(file, "truncate"); code != SQLITE_OK) return code;
    mine(file)->disk->note({RecordingDisk::Operation::Kind::truncate, mine(file)->name, size, {}});
    return real(file)->pMethods->xTruncate(real(file), size);
  }
  static int sync(sqlite3_file* file, int) {
    if (const int code = ask(file, "sync"); code != SQLITE_OK) return code;
    mine(file)->disk->note({RecordingDisk::Operation::Kind::sync, mine(file)->name, 0, {}});
    return SQLITE_OK;
  }
  static int size(sqlite3_file* file, sqlite3_int64* out) {
    if (const int code = ask(file, "size"); code != SQLITE_OK) return code;
    return real(file)->pMethods->xFileSize(real(file), out);
  }
  static int lock(sqlite3_file* file, int level) { return real(file)->pMethods->xLock(real(file), level); }
  static int unlock(sqlite3_file* file, int level) {
    return real(file)->pMethods->xUnlock(real(file), level);
  }
  static int is_reserved(sqlite3_file* file, int* out) {
    return real(file)->pMethods->xCheckReservedLock(real(file), out);
  }
  static int control(sqlite3_file* file, int what, void* out) {
    return real(file)->pMethods->xFileControl(real(file), what, out);
  }
  static int sector_size(sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); }
  static int characteristics(sqlite3_file* file) {
    return real(file)->pMethods->xDeviceCharacteristics(real(file));
  }
  static int map(sqlite3_file* file, int page, int size, int extend, void volatile** out) {
    if (const int code = ask(file, "map"); code != SQLITE_OK) return code;
    return real(file)->pMethods->xShmMap(real(file), page, size, extend, out);
  }
  static int lock_map(sqlite3_file* file, int offset, int count, int flags) {
    return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
  }
  static void barrier(sqlite3_file* file) { real(file)->pMethods->xShmBarrier(real(file)); }
  static int unmap(sqlite3_file* file, int remove_it) {
    return real(file)->pMethods->xShmUnmap(real(file), remove_it);
  }
  // Memory is never mapped; a version that has no shared memory has no write-ahead file.
  static void fill(RecordingDisk& disk) {
    disk.methods_ = {disk.has_shared_memory_ ? 2 : 1,
                     close,
                     read,
                     write,
                     truncate,
                     sync,
                     size,
                     lock,
                     unlock,
                     is_reserved,
                     control,
                     sector_size,
                     characteristics,
                     map,
                     lock_map,
                     barrier,
                     unmap,
                     nullptr,
                     nullptr};
  }
};

RecordingDisk::RecordingDisk() : real_(sqlite3_vfs_find(nullptr)) {
  static int count = 0;
  name_ = "recording-" + std::to_string(++count);
  vfs_ = *real_;
  vfs_.iVersion = 2;
  vfs_.szOsFile = static_cast<int>(sizeof(OpenFile)) + real_->szOsFile;
  vfs_.pNext = nullptr;
  vfs_.zName = name_.c_str();
  vfs_.pAppData = this;
  vfs_.xOpen = RecordingCalls::open;
  vfs_.xDelete = RecordingCalls::remove;
  vfs_.xAccess = RecordingCalls::access;
  vfs_.xFullPathname = RecordingCalls::full_path;
  vfs_.xRandomness = RecordingCalls::randomness;
  vfs_.xSleep = RecordingCalls::pause;
  vfs_.xCurrentTimeInt64 = RecordingCalls::time;
  vfs_.xGetLastError = RecordingCalls::last_error;
  RecordingCalls::fill(*this);
  sqlite3_vfs_register(&vfs_, 0);
}

RecordingDisk::~RecordingDisk() {
  sqlite3_vfs_unregister(&vfs_);
}

RecordingDisk::Image RecordingDisk::after_cut(std::size_t operations, std::mt19937_64& random) const {
  std::map<std::string, DiskFile> files;
  for (std::size_t i = 0; i < operations; ++i) {
    const Operation& operation = operations_[i];
    DiskFile& file = files[operation.file];
    switch (operation.kind) {
      case Operation::Kind::create:
        file = {std::nullopt, {}, true};
        break;
      case Operation::Kind::remove:
        file.is_there = false;
        file.pending.clear();
        if (operation.offset != 0) file.durable.reset();  // its folder was synced
        break;
      case Operation::Kind::sync:
        if (!file.durable && operation.file.find('-') != std::string::npos) sync_folder(files);
        if (!file.durable) file.durable = "";
        for (const Operation& waiting : file.pending) apply(waiting, *file.durable);
        file.pending.clear();
        break;
      default:
        file.pending.push_back(operation);
    }
  }
  const auto mood = static_cast<unsigned>(random() % 6);  // one fate for all, or each its own
  Image image;
  for (const auto& [name, file] : files) {
    if (std::optional<std::string> content = fate_of(file, random, mood)) image[name] = std::move(*content);
  }
  return image;
}

void RecordingDisk::forbid_shared_memory() {
  has_shared_memory_ = false;
  RecordingCalls::fill(*this);
}
