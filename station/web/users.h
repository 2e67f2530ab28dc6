// Who may do what: the file of users.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// What a user may do; each may do what those before may.
enum class Role {
  viewer,     ///< sees all
  operator_,  ///< also scans, answers, stops, acknowledges
  engineer    ///< also locks, unlocks, releases
};
/// "viewer", "operator", "engineer".
std::string_view role_name(Role role);

/// Somebody who may log in.
struct User {
  std::string name;
  Role role = Role::viewer;
  std::string password;  ///< its hash
};

/// Reads a file of users, TOML: [[user]] with name, role, password. Throws BadFile (see plan/bad_file.h) with
/// every mistake and its place; a file without users is one.
std::vector<User> read_users(const std::string& file);

/// Adds a user to a file, or makes it; only its owner can read it then, and what stood there stays as it was.
/// Throws UsageError: the role is none, the password has less than 8 characters or more than 1024 bytes, the
/// name is there already or is none (1 to 40 characters on one line, no blanks at its ends). Throws BadFile
/// when the file is bad, std::system_error when it cannot be written.
void add_user(const std::string& file, const std::string& name, const std::string& role,
              const std::string& password);

/// Throws UsageError as add_user() does for a name, or a role, or a file that cannot be made.
void check_new_user(const std::string& file, const std::string& name, const std::string& role);

/// A file of users that may change while it is used.
class UsersFile {
 public:
  /// Throws BadFile.
  explicit UsersFile(const std::string& file);

  /// The users as the file says now. While it is bad, those before.
  const std::vector<User>& users();
  /// The same user, or null.
  const User* find(std::string_view name);
  /// What is wrong with the file as it is now; empty when nothing is.
  const std::string& trouble() const { return trouble_; }

 private:
  /// What tells one content of the file from another without reading it.
  struct Mark {
    unsigned long inode = 0;
    long size = 0, seconds = 0, nanoseconds = 0;
    bool operator==(const Mark&) const = default;
  };
  Mark mark_of_file() const;

  std::string file_;
  Mark mark_;
  std::vector<User> users_;
  std::string trouble_;
};

}  // namespace t1station
