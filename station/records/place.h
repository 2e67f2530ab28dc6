// Where a records file lies, and what is there already: looked at before anything is touched.
#pragma once

#include <string>
#include <string_view>

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

/// Looks at a file's first bytes. Throws RecordsRefused for a folder and everything else that is no plain
/// file, and for a file that cannot be read.
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
