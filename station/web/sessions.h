// Who is logged in, and how often somebody may guess.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "station/web/users.h"

namespace t1station {

/// Sessions, in memory only: a station that starts again knows none. All times are seconds of one clock. Not
/// for several threads.
class Sessions {
 public:
  static constexpr double kLongestPause = 12.0 * 3600, kLongestLife = 24.0 * 3600;

  /// A user's new session; returns its id, which nobody can guess.
  std::string begin(const User& user, double now);
  /// The session's user as the file says now; null when there is no such session, its time is over, or the
  /// user is gone or has another password. `is_use`: it was used, and its pause begins anew.
  const User* find(std::string_view id, UsersFile& users, double now, bool is_use);
  void end(std::string_view id);

 private:
  /// Ids are kept as their hashes: who reads them here has none.
  struct Session {
    std::string name, password;
    double begun = 0, used = 0;
  };
  void forget_old_ones(double now);

  std::map<std::string, Session> sessions_;
};

/// Slows down those who guess passwords: by the address and the name that they try, and by the address alone.
/// Not for several threads.
class LoginPace {
 public:
  /// Seconds that somebody at this address has to wait before the next try with this name; 0: none.
  double wait(std::string_view address, std::string_view name, double now) const;
  /// A try begins. It counts as wrong until succeeded().
  void tried(std::string_view address, std::string_view name, double now);
  void succeeded(std::string_view address, std::string_view name);

 private:
  /// Tries that were wrong.
  struct Tries {
    int count = 0;
    double last = 0;
  };
  using Key = std::pair<std::string, std::string>;  ///< address and name; no name: all of the address
  double wait(const Key& key, int free, double now) const;

  std::map<Key, Tries> tries_;
};

}  // namespace t1station
