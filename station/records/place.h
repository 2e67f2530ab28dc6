// Where a records file lies, and what is there already: looked at before anything is touched.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace t1station {

/// What the first bytes of a file say.
enum class FileKind {
  missing,      ///< nothing is there
  empty,        ///< of no bytes, or nothing was made in it yet, or its log beside it must say
  records,      ///< records, as far as its header says
  newer,        ///< records of a version that this program does not know
  damaged,      ///< records whose header has been changed
  no_database,  ///< something else
  foreign,      ///< another application's database
};

/// A file that SQLite has open for writing in this process. As long as it is held, look_at() does not open
/// it: closing any descriptor of a file takes away all locks that the process has on it, SQLite's too.
class HeldFile {
 public:
  /// The file must be there. Throws RecordsBroken when it is not.
  explicit HeldFile(const std::string& file);
  ~HeldFile();
  /// Whether the file, and the log beside it, still lie where they lay: whoever took one away or put another
  /// in its place would have everything that is stored from then on. The log is looked at once it was there.
  bool is_in_place();

  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

 private:
  using Place = std::pair<std::uint64_t, std::uint64_t>;  // device and inode

  std::string file_;
  Place place_;
  std::optional<Place> log_;
};

/// Whether this process holds the file.
bool is_held(const std::string& file);

/// Looks at a file's first bytes, unless it is held, which are records. Throws RecordsRefused for a folder
/// and everything else that is no plain file, and for a file that cannot be read.
FileKind look_at(const std::string& file);

/// Throws RecordsRefused unless records may be read at this path.
void check_readable_records(const std::string& file);

/// Throws RecordsRefused unless records may be written at this path, RecordsBroken where the file or its
/// folder is read-only.
void check_writable_records(const std::string& file);

/// The name of a file system whose locks or syncs cannot be trusted, by the number that statfs() gives; empty
/// for any other.
std::string_view untrusted_file_system(unsigned long magic);

/// The file itself, behind any symbolic link: what lies beside it, lies beside that.
std::string real_file(const std::string& file);

}  // namespace t1station
