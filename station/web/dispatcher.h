// Who may ask what, and on which thread it is dealt with.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/line/line_file.h"
#include "station/web/http.h"
#include "station/web/requests.h"
#include "station/web/sessions.h"

namespace t1station {

/// Runs something on another thread, later.
using RunLater = std::function<void(std::function<void()>)>;

/// Threads that deal with requests, and the server's own.
struct WebThreads {
  RunLater storing, reading, figures, passwords, server;
};

/// Answers requests. All of it is for the server's thread.
class Dispatcher {
 public:
  using Reply = std::function<void(WebAnswer)>;

  /// `port` is the one that the server listens on, `now` gives seconds. Throws BadFile for the users.
  Dispatcher(const LineFile& file, Subject& subject, const std::string& port, WebThreads threads,
             std::function<double()> now);

  /// Calls `reply` once, before or after it returns, on the server's thread.
  void dispatch(WebRequest request, const Reply& reply);
  /// Whether a stream that was opened with this session may go on.
  bool may_go_on(const std::string& session);

 private:
  const RunLater& thread_of(Place place) const;
  void decide(const std::shared_ptr<Call>& call, const Reply& reply);
  void check_host(const WebRequest& request) const;
  /// Finds out who asks, and whether they may. Throws WebError.
  void identify(Call& call);
  void check_role(const RequestRow& row, const Call& call) const;
  void log_in(const std::shared_ptr<Call>& call, const Reply& reply);
  void finish_login(const Call& call, const std::string& name, const std::string& hash, bool is_right,
                    const Reply& reply);
  void log_out(const std::shared_ptr<Call>& call, const Reply& reply);
  void tell_of_users_file();
  std::string cookie(const std::string& id, int seconds) const;
  std::string id_in(std::string_view cookies) const;

  Subject& subject_;
  WebThreads threads_;
  std::function<double()> now_;
  std::string scheme_, cookie_name_;
  std::vector<std::string> hosts_;  ///< by which the server may be called; empty: any
  std::optional<UsersFile> users_;
  std::string told_trouble_;
  Sessions sessions_;
  LoginPace pace_;
  int logins_ = 0;  ///< whose passwords are being checked
};

}  // namespace t1station
