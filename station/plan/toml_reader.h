// TOML files read as strictly as a compiler reads: every key is known, of its type, and says where it stands.
#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/plan/bad_file.h"

namespace t1station {

/// Collects what is wrong with a file.
class Problems {
 public:
  void add(const toml::source_position& where, std::string message);
  void add(const toml::node& value, std::string message) { add(value.source().begin, std::move(message)); }
  bool none() const { return found_.empty(); }
  /// Takes them away.
  std::vector<FileProblem> take() { return std::move(found_); }

 private:
  std::vector<FileProblem> found_;
};

/// Whether a key may be left out.
enum class Need { optional, needed };

/// One table of a file. Each function asks for one key and complains of a value of another type, and of a
/// needed key that is not there; the result is empty then, as for an optional key that is not there. What was
/// never asked for is unknown.
class TableReader {
 public:
  /// Both must outlive it.
  TableReader(const toml::table& table, Problems& problems) : table_(table), problems_(problems) {}

  /// The value, whatever it is, or null.
  const toml::node* find(std::string_view key, Need need = Need::optional);
  /// A text of one line that is not blank, without control characters.
  std::optional<std::string> text(std::string_view key, Need need = Need::optional);
  /// A text of 1 to 40 letters a to z, digits and hyphens.
  std::optional<std::string> name(std::string_view key, Need need = Need::optional);
  /// A whole number from `least` to `most`.
  std::optional<std::int64_t> integer(std::string_view key, std::int64_t least, std::int64_t most,
                                      Need need = Need::optional);
  /// A number that is finite.
  std::optional<double> number(std::string_view key);
  std::optional<bool> boolean(std::string_view key);
  /// A table in braces or with a heading of its own, or null.
  const toml::table* table(std::string_view key);
  /// Tables that are headed [[like this]]; none when there is no such key.
  std::vector<const toml::table*> tables(std::string_view key);

  /// Complains of every key that was not asked for, with the one that may have been meant.
  void refuse_other_keys();

  bool has(std::string_view key) const { return table_.contains(key); }
  /// Where the value of this key stands, or the table when there is none.
  toml::source_position where(std::string_view key) const;
  toml::source_position where() const { return table_.source().begin; }

 private:
  void refuse_type(const toml::node& value, std::string_view key, std::string_view expected);

  const toml::table& table_;
  Problems& problems_;
  std::vector<std::string> known_;
};

/// The file's table. A file that is no TOML ends at its first mistake: throws BadFile with that one, in which
/// the file is called `file`. Mistakes are a byte order mark, bytes that are no UTF-8, more than 64 KiB, and
/// more nesting than any file needs, too.
toml::table parse_toml(std::string_view file, std::string_view text);

/// Reads a file for parse_toml(). Throws BadFile, at 1:1, when it cannot be read.
std::string read_toml_file(const std::string& file);

}  // namespace t1station
