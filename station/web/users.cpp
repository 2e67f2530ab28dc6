#include "station/web/users.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <set>

#include "station/plan/bad_file.h"
#include "station/plan/toml_reader.h"
#include "station/report/whole_file.h"
#include "station/text/errors.h"
#include "station/text/text.h"
#include "station/web/passwords.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestName = 40, kShortestPassword = 8;
constexpr std::array<Role, 3> kRoles{Role::viewer, Role::operator_, Role::engineer};

std::optional<Role> role_of(std::string_view name) {
  const auto found =
      std::find_if(kRoles.begin(), kRoles.end(), [name](Role role) { return role_name(role) == name; });
  return found == kRoles.end() ? std::nullopt : std::optional(*found);
}

bool is_name(const std::string& name) {
  return !name.empty() && count_characters(name) <= kLongestName && clean_text(name) == name &&
         utf8_length(name) == name.size() && name.find_first_of("\n\t") == std::string::npos &&
         name.front() != ' ' && name.back() != ' ';
}

const char* const kWhatNamesAre = "a user's name is 1 to 40 characters, without blanks at its ends";
const char* const kWhatRolesAre = "a role is viewer, operator or engineer";

User read_user(const toml::table& table, Problems& problems) {
  TableReader reader(table, problems);
  User user;
  if (const auto name = reader.text("name", Need::needed)) {
    user.name = *name;
    if (!is_name(*name)) problems.add(reader.where("name"), kWhatNamesAre);
  }
  if (const auto name = reader.text("role", Need::needed)) {
    const std::optional<Role> role = role_of(*name);
    if (!role) problems.add(reader.where("role"), kWhatRolesAre + (", not " + in_quotes(*name)));
    user.role = role.value_or(Role::viewer);
  }
  if (const auto password = reader.text("password", Need::needed)) {
    user.password = *password;
    // Its text is not repeated: it may be a password that somebody wrote there by mistake.
    if (!is_password_hash(*password)) {
      problems.add(reader.where("password"),
                   "a password is the Argon2id hash that `t1station users add` writes");
    }
  }
  reader.refuse_other_keys();
  return user;
}

std::vector<User> parse_users(const std::string& file, const std::string& text) {
  const toml::table table = parse_toml(file, text);
  Problems problems;
  TableReader reader(table, problems);
  std::vector<User> users;
  std::set<std::string> names;
  for (const toml::table* user : reader.tables("user")) {
    users.push_back(read_user(*user, problems));
    const std::string& name = users.back().name;
    if (!name.empty() && !names.insert(name).second) {
      problems.add(user->source().begin, "there are two users " + in_quotes(name));
    }
  }
  reader.refuse_other_keys();
  if (users.empty() && problems.none()) problems.add(reader.where(), "there are no users here");
  if (!problems.none()) throw BadFile(file, problems.take());
  return users;
}

std::string toml_text(const std::string& text) {
  std::string escaped = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') escaped += '\\';
    escaped += letter;
  }
  return escaped + "\"";
}

bool exists(const std::string& file) {
  std::error_code error;
  return std::filesystem::exists(file, error);
}

bool has_text(const std::string& file) {
  return exists(file) && read_toml_file(file).find_first_not_of(" \t\r\n") != std::string::npos;
}

}  // namespace

std::string_view role_name(Role role) {
  switch (role) {
    case Role::viewer:
      return "viewer";
    case Role::operator_:
      return "operator";
    case Role::engineer:
      return "engineer";
  }
  return {};
}

std::vector<User> read_users(const std::string& file) {
  return parse_users(file, read_toml_file(file));
}

void check_new_user(const std::string& file, const std::string& name, const std::string& role) {
  if (!is_name(name)) throw UsageError(kWhatNamesAre);
  if (!role_of(role)) throw UsageError(kWhatRolesAre + (", not " + in_quotes(role)));
  check_writable(file);
  if (!has_text(file)) return;
  const std::vector<User> users = read_users(file);
  if (std::any_of(users.begin(), users.end(), [&name](const User& user) { return user.name == name; })) {
    throw UsageError("there is a user " + in_quotes(name) +
                     " already; for another password take that [[user]] out of " + file + " first");
  }
}

void add_user(const std::string& file, const std::string& name, const std::string& role,
              const std::string& password) {
  check_new_user(file, name, role);
  if (count_characters(password) < kShortestPassword) {
    throw UsageError("a password has at least " + std::to_string(kShortestPassword) + " characters");
  }
  if (password.size() > kLongestPassword) {
    throw UsageError("a password has at most " + std::to_string(kLongestPassword) + " bytes");
  }
  std::string text = exists(file) ? read_toml_file(file) : std::string();
  if (!text.empty() && text.back() != '\n') text += '\n';
  if (!text.empty()) text += '\n';
  text += "[[user]]\nname = " + toml_text(name) + "\nrole = " + toml_text(role) +
          "\npassword = " + toml_text(hash_password(password)) + "\n";
  parse_users(file, text);  // a file that cannot be read afterwards is not written
  write_private_file(file, text);
}

UsersFile::UsersFile(const std::string& file)
    : file_(file), mark_(mark_of_file()), users_(read_users(file)) {}

UsersFile::Mark UsersFile::mark_of_file() const {
  struct stat status {};
  if (stat(file_.c_str(), &status) != 0) return {};
  return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

const std::vector<User>& UsersFile::users() {
  const Mark mark = mark_of_file();
  if (mark == mark_) return users_;
  mark_ = mark;
  try {
    users_ = read_users(file_);
    trouble_.clear();
  } catch (const BadFile& bad) {
    trouble_ = bad.what();
  }
  return users_;
}

const User* UsersFile::find(std::string_view name) {
  const std::vector<User>& all = users();
  const auto found =
      std::find_if(all.begin(), all.end(), [name](const User& user) { return user.name == name; });
  return found == all.end() ? nullptr : &*found;
}

}  // namespace t1station
