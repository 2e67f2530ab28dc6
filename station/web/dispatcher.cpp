#include "station/web/dispatcher.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "station/text/json.h"
#include "station/web/json_body.h"
#include "station/web/passwords.h"

namespace t1station {
namespace {

constexpr int kMostLogins = 16;  // at a time; each takes its turn

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

// By what names a browser on this PC may call the server: another name that leads here is another site's.
std::vector<std::string> names_of_this_pc(const LineFile& file, const std::string& scheme,
                                          const std::string& port) {
  std::vector<std::string> hosts;
  const bool is_six = file.host.find(':') != std::string::npos;
  for (const std::string& name : {std::string("localhost"), std::string("127.0.0.1"), std::string("[::1]"),
                                  is_six ? "[" + lower(file.host) + "]" : file.host}) {
    hosts.push_back(name + ":" + port);
    if (port == (scheme == "https" ? "443" : "80")) hosts.push_back(name);
  }
  return hosts;
}

// What cannot be kept must not keep anybody out: the line shows that its records cannot be written.
void note(Line& line, std::string_view kind, std::string_view name, const Json& detail) {
  try {
    line.note(kind, name, json_text(detail));
  } catch (const std::runtime_error&) {
    return;
  }
}

}  // namespace

Dispatcher::Dispatcher(const LineFile& file, Subject& subject, const std::string& port, WebThreads threads,
                       std::function<double()> now)
    : subject_(subject),
      threads_(std::move(threads)),
      now_(std::move(now)),
      scheme_(file.tls_certificate.empty() ? "http" : "https"),
      cookie_name_((scheme_ == "https" ? "__Host-session-" : "session-") + port) {
  if (file.is_loopback()) hosts_ = names_of_this_pc(file, scheme_, port);
  if (!file.users_file.empty()) users_.emplace(file.users_file);
}

void Dispatcher::check_host(const WebRequest& request) const {
  if (request.host.empty() || hosts_.empty()) return;
  if (std::find(hosts_.begin(), hosts_.end(), lower(request.host)) != hosts_.end()) return;
  throw WebError(403, "this station is not called " + request.host);
}

std::string Dispatcher::cookie(const std::string& id, int seconds) const {
  return cookie_name_ + "=" + id + "; Path=/; Max-Age=" + std::to_string(seconds) +
         "; HttpOnly; SameSite=Strict" + (scheme_ == "https" ? "; Secure" : "");
}

std::string Dispatcher::id_in(std::string_view cookies) const {
  while (!cookies.empty()) {
    const std::size_t end = std::min(cookies.find(';'), cookies.size());
    std::string_view one = cookies.substr(0, end);
    while (one.starts_with(' ')) one.remove_prefix(1);
    if (one.starts_with(cookie_name_ + "=")) return std::string(one.substr(cookie_name_.size() + 1));
    cookies.remove_prefix(std::min(end + 1, cookies.size()));
  }
  return {};
}

void Dispatcher::tell_of_users_file() {
  if (users_->trouble() == told_trouble_) return;
  told_trouble_ = users_->trouble();
  if (told_trouble_.empty()) return;
  threads_.storing([&line = subject_.line(), trouble = told_trouble_] {
    note(line, "users_file", {}, {{"trouble", trouble}});
  });
}

void Dispatcher::identify(Call& call) {
  if (!users_) return;
  call.asker = {{}, Role::viewer};
  const std::string id = id_in(call.request.cookie);
  const User* user = sessions_.find(id, *users_, now_(), true);
  tell_of_users_file();
  if (!user) return;
  call.asker = {user->name, user->role};
  call.session = id;
}

bool Dispatcher::may_go_on(const std::string& session) {
  return !users_ || sessions_.find(session, *users_, now_(), false) != nullptr;
}

void Dispatcher::check_role(const RequestRow& row, const Call& call) const {
  if (is_open(row, call)) return;
  if (call.asker.role >= row.role) return;
  throw WebError(403, "a user with the role " + std::string(role_name(row.role)) + " may do this, you are " +
                          std::string(role_name(call.asker.role)));
}

void Dispatcher::dispatch(WebRequest request, const Reply& reply) {
  const auto call = std::make_shared<Call>();
  call->request = std::move(request);
  try {
    decide(call, reply);
  } catch (...) {
    reply(error_answer_of_current());
  }
}

const RunLater& Dispatcher::thread_of(Place place) const {
  if (place == Place::storing) return threads_.storing;
  return place == Place::figures ? threads_.figures : threads_.reading;
}

void Dispatcher::decide(const std::shared_ptr<Call>& call, const Reply& reply) {
  check_host(call->request);
  const RequestRow& row = row_of(*call);
  identify(*call);
  if (users_ && call->session.empty() && !is_open(row, *call)) return reply(login_page_instead(row));
  check_role(row, *call);
  check_state_change(row, call->request, scheme_ + "://" + lower(call->request.host));
  switch (row.place) {
    case Place::login:
      return log_in(call, reply);
    case Place::logout:
      return log_out(call, reply);
    case Place::at_once:
    case Place::events:
      return reply(row.answer(*call, subject_));
    case Place::storing:
    case Place::reading:
    case Place::figures:
      break;
  }
  thread_of(row.place)([this, call, reply, &row] {
    WebAnswer answer;
    try {
      answer = row.answer(*call, subject_);
    } catch (...) {
      answer = error_answer_of_current();
    }
    threads_.server([reply, answer = std::move(answer)] { reply(answer); });
  });
}

void Dispatcher::log_in(const std::shared_ptr<Call>& call, const Reply& reply) {
  const JsonBody body(call->request.body, {"name", "password"});
  const std::string name = body.text("name"), password = body.text("password");
  if (!users_) throw WebError(409, "nobody needs to log in here");
  const std::string& address = call->request.address;
  if (const double wait = pace_.wait(address, name, now_()); wait > 0) {
    const std::string seconds = std::to_string(static_cast<int>(std::ceil(wait)));
    throw WebError(409, "too many wrong passwords: try again in " + seconds + " seconds",
                   {{"Retry-After", seconds}});
  }
  if (logins_ >= kMostLogins) throw WebError(409, "too many log in at the moment: try again");
  pace_.tried(address, name, now_());
  ++logins_;
  // An unknown name takes as long as a known one.
  const User* user = users_->find(name);
  const std::string hash = user ? user->password : users_->users().front().password;
  threads_.passwords([this, call, reply, name, password, hash, is_known = user != nullptr] {
    const bool is_right = password.size() <= kLongestPassword && is_password(hash, password) && is_known;
    const std::string& from = call->request.address;
    if (is_right) {
      note(subject_.line(), "login", name, {{"address", from}});
    } else {
      note(subject_.line(), "login_failed", {}, {{"name", name.substr(0, 100)}, {"address", from}});
    }
    threads_.server([this, call, reply, name, hash, is_right] {
      --logins_;
      finish_login(*call, name, hash, is_right, reply);
    });
  });
}

void Dispatcher::finish_login(const Call& call, const std::string& name, const std::string& hash,
                              bool is_right, const Reply& reply) {
  const User* user = is_right ? users_->find(name) : nullptr;
  if (!user || user->password != hash) return reply(error_answer({401, "wrong name or password"}));
  pace_.succeeded(call.request.address, name);
  if (!call.session.empty()) sessions_.end(call.session);
  WebAnswer answer;
  answer.body = json_text({{"name", user->name}, {"role", role_name(user->role)}});
  answer.fields.emplace_back(
      "Set-Cookie", cookie(sessions_.begin(*user, now_()), static_cast<int>(Sessions::kLongestLife)));
  reply(answer);
}

void Dispatcher::log_out(const std::shared_ptr<Call>& call, const Reply& reply) {
  const JsonBody body(call->request.body, {"operator"});
  WebAnswer answer;
  answer.body = "{}";
  if (!users_) return reply(answer);
  answer.fields.emplace_back("Set-Cookie", cookie({}, 0));
  if (call->session.empty()) return reply(answer);
  sessions_.end(call->session);
  threads_.storing([this, call, reply, answer] {
    note(subject_.line(), "logout", call->asker.name, {{"address", call->request.address}});
    threads_.server([reply, answer] { reply(answer); });
  });
}

}  // namespace t1station
