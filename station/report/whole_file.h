// Files that are there as a whole, or not at all.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace t1station {

/// Throws when a file at `path` could not be written: Unwritable when its directory is missing or closed to
/// us, UsageError when the path names something that is no plain file.
void check_writable(const std::string& path);

/// Whether two paths name one file, however they are spelled. Both must have passed check_writable().
bool is_same_file(const std::string& one, const std::string& other);

/// Writes the file under another name in the same directory and renames it when it is complete. An older file
/// stays as it was until then; a symbolic link stays a link, unless it leads nowhere: then it is replaced.
/// Throws std::system_error, leaving nothing behind.
void write_whole_file(const std::string& path, std::string_view content);

/// The same, and only the file's owner can read it then, whoever could before; it keeps its owner.
void write_private_file(const std::string& path, std::string_view content);

/// Takes a piece of a file's content.
using WritePiece = std::function<void(std::string_view piece)>;

/// The same for content that is handed over piece by piece while `make` runs. What `make` throws goes on, and
/// leaves nothing behind either.
void write_whole_file(const std::string& path, const std::function<void(const WritePiece& write)>& make);

/// Whether writing `path` would take the place of records, or of the files beside them: their log, its index,
/// their owner's lock.
bool is_of_records(const std::string& path, const std::string& records);

}  // namespace t1station
