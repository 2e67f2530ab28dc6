#include "station/records/place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "station/records/records.h"
#include "station/records/schema.h"

namespace t1station {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSqliteMark{"SQLite format 3\0", 16};
constexpr std::size_t kBothHeaders = 108;  // bytes: the database's header and that of its first table
constexpr std::size_t kVersionPlace = 60;
constexpr std::size_t kApplicationPlace = 68;
constexpr std::size_t kFirstTable = 100;
constexpr char kLeaf = 0x0D;

struct FileSystem {
  unsigned long magic;
  std::string_view name;
};

// As linux/magic.h and the manual page of statfs() have them.
constexpr std::array<FileSystem, 16> kUntrusted{{
    {0x6969, "NFS"},
    {0x517B, "SMB"},
    {0xFE534D42, "SMB"},
    {0xFF534D42, "CIFS"},
    {0x5346414F, "AFS"},
    {0x6B414653, "AFS"},
    {0x73757245, "Coda"},
    {0x564C, "NCP"},
    {0x00C36400, "Ceph"},
    {0x0BD00BD0, "Lustre"},
    {0x47504653, "GPFS"},
    {0x01161970, "GFS2"},
    {0x7461636F, "OCFS2"},
    {0x01021997, "9P"},
    {0x65735546, "FUSE"},
    {0x786F4256, "VirtualBox folders"},
}};

fs::path folder_of(const std::string& file) {
  const fs::path folder = fs::path(file).parent_path();
  return folder.empty() ? fs::path(".") : folder;
}

// Nothing when the file is not there.
std::optional<struct stat> status_of(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) == 0) return status;
  if (errno == ENOENT) return std::nullopt;
  throw RecordsRefused("cannot look at " + file + ": " + std::strerror(errno));
}

using Place = std::pair<std::uint64_t, std::uint64_t>;

Place place_of(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

std::mutex held_mutex;
std::multiset<Place> held_places;

bool is_held(const struct stat& status) {
  const std::lock_guard lock(held_mutex);
  return held_places.contains(place_of(status));
}

std::string read_header(const std::string& file) {
  const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (opened < 0) throw RecordsRefused("cannot read " + file + ": " + std::strerror(errno));
  std::string header(kBothHeaders, '\0');
  const ssize_t size = pread(opened, header.data(), header.size(), 0);
  const int reason = errno;
  close(opened);
  if (size < 0) throw RecordsRefused("cannot read " + file + ": " + std::strerror(reason));
  header.resize(static_cast<std::size_t>(size));
  return header;
}

std::uint32_t number_at(const std::string& header, std::size_t place) {
  std::uint32_t number = 0;
  for (std::size_t i = place; i < place + 4; ++i)
    number = number << 8U | static_cast<unsigned char>(header[i]);
  return number;
}

// Whether an application's number may have been ours: one byte of it was changed, or some are not written
// yet.
bool was_ours(std::uint32_t application) {
  int changed = 0, missing = 0;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    const std::uint32_t byte = application >> shift & 0xFFU;
    if (byte == (static_cast<std::uint32_t>(kApplicationId) >> shift & 0xFFU)) continue;
    ++(byte == 0 ? missing : changed);
  }
  return changed + missing == 1 || (changed == 0 && missing < 4);
}

// Whether a log or journal lies beside a file, whose own header then does not have the last word.
bool has_log(const std::string& file) {
  const auto log = status_of(file + "-wal"), journal = status_of(file + "-journal");
  return (log && log->st_size > 0) || (journal && journal->st_size > 0);
}

FileKind kind_of(const std::string& header) {
  if (header.empty()) return FileKind::empty;
  const bool is_database = header.starts_with(kSqliteMark);
  if (header.size() < kBothHeaders) return is_database ? FileKind::damaged : FileKind::no_database;
  const std::uint32_t application = number_at(header, kApplicationPlace);
  if (application == static_cast<std::uint32_t>(kApplicationId)) {
    if (!is_database) return FileKind::damaged;
    return number_at(header, kVersionPlace) > kSchemaVersion ? FileKind::newer : FileKind::records;
  }
  if (!is_database) return FileKind::no_database;
  // What is new lies in the file beside it as yet: no number, and no table.
  const bool has_no_table =
      header[kFirstTable] == kLeaf && header[kFirstTable + 3] == 0 && header[kFirstTable + 4] == 0;
  if (application == 0 && has_no_table) return FileKind::empty;
  return was_ours(application) ? FileKind::damaged : FileKind::foreign;
}

bool may_be_written(const std::string& path, mode_t mode) {
  // A file that nobody may write is not for the superuser to write, either.
  return (mode & 0222) != 0 && access(path.c_str(), W_OK) == 0;
}

void refuse_other_files(const std::string& file, FileKind kind) {
  if (kind == FileKind::no_database) throw RecordsRefused(file + " is no database");
  if (kind == FileKind::foreign) throw RecordsRefused(file + " is another application's database");
  if (kind == FileKind::newer) throw RecordsRefused(file + " was written by a newer t1station");
  if (kind == FileKind::damaged) {
    throw RecordsRefused(file + " is damaged: \"t1station records check\" says where");
  }
}

}  // namespace

bool HeldFile::is_in_place() {
  const auto now = [](const std::string& file) {  // nothing where it cannot be looked at, too
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? std::optional(place_of(status)) : std::nullopt;
  };
  const std::optional<Place> log = now(file_ + "-wal");
  if (!log_) log_ = log;
  return now(file_) == place_ && log == log_;
}

HeldFile::HeldFile(const std::string& file) : file_(file) {
  const std::optional<struct stat> status = status_of(file);
  if (!status) throw RecordsBroken(file + " is gone");
  place_ = place_of(*status);
  const std::lock_guard lock(held_mutex);
  held_places.insert(place_);
}

HeldFile::~HeldFile() {
  const std::lock_guard lock(held_mutex);
  held_places.extract(place_);
}

bool is_held(const std::string& file) {
  const std::optional<struct stat> status = status_of(file);
  return status && is_held(*status);
}

FileKind look_at(const std::string& file) {
  if (file.empty()) throw RecordsRefused("the records need a file name");
  // It may have a password in it: not to be said again.
  if (file.starts_with("postgresql:/") || file.starts_with("postgres:/")) {
    throw RecordsRefused(
        "this command works on a file of records; \"stats\" and \"records check\" read a database, too");
  }
  const std::optional<struct stat> status = status_of(file);
  if (!status) return FileKind::missing;
  if (S_ISDIR(status->st_mode)) throw RecordsRefused(file + " is a folder, records are a file");
  if (!S_ISREG(status->st_mode)) throw RecordsRefused(file + " is no plain file");
  if (is_held(*status)) return FileKind::records;
  const FileKind kind = kind_of(read_header(file));
  const bool is_torn = (kind == FileKind::damaged || kind == FileKind::no_database) && has_log(file);
  return is_torn ? FileKind::empty : kind;
}

void check_readable_records(const std::string& file) {
  const FileKind kind = look_at(file);
  if (kind == FileKind::missing) throw RecordsRefused("there is no file " + file);
  refuse_other_files(file, kind);
}

void check_writable_records(const std::string& file) {
  const FileKind kind = look_at(file);
  refuse_other_files(file, kind);
  const std::string folder = folder_of(file).string();
  const std::optional<struct stat> place = status_of(folder);
  if (!place || !S_ISDIR(place->st_mode))
    throw RecordsBroken("there is no folder " + folder + " for the records");
  struct statfs system {};
  if (statfs(folder.c_str(), &system) == 0) {
    const std::string_view name = untrusted_file_system(static_cast<unsigned long>(system.f_type));
    if (!name.empty()) {
      throw RecordsRefused(file + " lies on a file system (" + std::string(name) +
                           ") whose locks and syncs cannot be trusted: records need a disk of this PC");
    }
  }
  if (!may_be_written(folder, place->st_mode)) throw RecordsBroken("the folder " + folder + " is read-only");
  const std::optional<struct stat> status = status_of(file);
  if (!status) return;
  if (status->st_nlink > 1) {
    throw RecordsRefused(file + " has a second name (a hard link), beside which its log would not be found");
  }
  if (!may_be_written(file, status->st_mode)) throw RecordsBroken(file + " is read-only");
}

std::string_view untrusted_file_system(unsigned long magic) {
  for (const FileSystem& known : kUntrusted) {
    if (known.magic == (magic & 0xFFFFFFFFUL)) return known.name;
  }
  return {};
}

std::string real_file(const std::string& file) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(file, error);
  return error ? file : real.string();
}

}  // namespace t1station
