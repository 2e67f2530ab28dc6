#include "boardsim/devices/application.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <sstream>
#include <utility>

#include "boardsim/devices/records.h"
#include "boardsim/kernel/own_descriptor.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kCommandSize = 12;
constexpr std::size_t kReplyWords = 129;  // the command, then 128 words of test data
constexpr Time kHealthyDelay = 20ms;
constexpr std::size_t kShortReply = 8;

// The commands that it knows.
constexpr std::uint32_t kIrisOn = 39;
constexpr std::uint32_t kIrisOff = 40;
constexpr std::uint32_t kMaSelfTest = 0x23;  // tells heart and start of the MA instead of the value
constexpr std::uint32_t kSensorUse = 0x31248;
constexpr std::uint32_t kVehicleDetector = 0x1333D0D;
constexpr std::array kKnown{kIrisOn, kIrisOff, kMaSelfTest, kSensorUse, kVehicleDetector};

constexpr std::uint32_t kMaHeart = 1;
constexpr std::uint32_t kMaStarted = 3;

bool is_known(std::uint32_t code) {
  return std::ranges::find(kKnown, code) != kKnown.end();
}

std::string healthy_reply(const Application::Command& command) {
  std::string bytes(kReplyWords * sizeof(std::uint32_t), '\0');
  const bool self_test = command.code == kMaSelfTest;
  set_word(bytes.data(), 0, command.code);
  set_word(bytes.data(), 1, self_test ? kMaHeart : command.value);
  set_word(bytes.data(), 2, self_test ? kMaStarted : 0);
  return bytes;
}

std::string hexadecimal(std::uint32_t number) {
  std::ostringstream text;
  text << std::hex << std::showbase << number;
  return text.str();
}

int error_of(int result) {
  return result < 0 ? errno : 0;
}

/// 0 for a TCP socket that is not connected, else the errno with which connecting it fails.
int check_socket(int fd) {
  int domain = 0;
  int type = 0;
  socklen_t size = sizeof domain;
  if (getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0) return errno;
  size = sizeof type;
  if (getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) != 0) return errno;
  sockaddr_storage peer{};
  socklen_t peer_size = sizeof peer;
  if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peer_size) == 0) return EISCONN;
  return domain == AF_INET && type == SOCK_STREAM ? 0 : ECONNREFUSED;
}

/// Puts `end` in the place of the program's socket `fd`, with the flags and time-outs of that one.
int put_in_place(int end, int fd) {
  const int flags = real::fcntl(fd, F_GETFL);
  const int on_exec = (real::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0 ? O_CLOEXEC : 0;
  for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    timeval limit{};
    socklen_t size = sizeof limit;
    getsockopt(fd, SOL_SOCKET, option, &limit, &size);
    setsockopt(end, SOL_SOCKET, option, &limit, size);
  }
  if (real::dup3(end, fd, on_exec) < 0) return errno;
  return error_of(real::fcntl(fd, F_SETFL, flags));
}

}  // namespace

/// One connection, from the application's side.
class Application::Connection {
 public:
  explicit Connection(int fd) : end_(fd) {}

  /// Whether there is nothing left to do: the program is gone, or the application has closed.
  bool is_over() const { return over_; }

  /// Takes what the program has sent. Returns the next command, if one is complete.
  bool next(Command& command) {
    char bytes[512];
    for (ssize_t size = 1; size > 0;) {
      size = real::recv(end_.get(), bytes, sizeof bytes, MSG_DONTWAIT);
      if (size > 0) received_.append(bytes, static_cast<std::size_t>(size));
      if (size == 0) ended_ = true;
    }
    if (received_.size() < kCommandSize) return false;
    const auto field = [this](std::size_t index) { return ntohl(word(received_.data(), index)); };
    command = {field(0), field(1), field(2)};
    received_.erase(0, kCommandSize);
    busy_ = true;
    return true;
  }

  void reply(const std::string& bytes) {
    unsent_ += bytes;
    push();
  }

  void close() {
    closing_ = true;
    push();
  }

  /// Sends what the program's receive buffer had no room for so far, and ends what has come to its end.
  void push() {
    while (!unsent_.empty()) {
      const ssize_t sent =
          real::send(end_.get(), unsent_.data(), unsent_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
      if (sent < 0 && errno == EAGAIN) break;
      if (sent < 0) unsent_.clear();
      if (sent > 0) unsent_.erase(0, static_cast<std::size_t>(sent));
    }
    pollfd look{end_.get(), 0, 0};
    const bool gone = real::poll(&look, 1UL, 0) > 0 && (look.revents & POLLHUP) != 0;
    const bool never_complete = ended_ && !busy_;
    over_ = gone || never_complete || (closing_ && unsent_.empty());
  }

 private:
  OwnDescriptor end_;
  std::string received_{};
  std::string unsent_{};
  bool busy_ = false;     ///< it has got a command
  bool ended_ = false;    ///< the program sends nothing more
  bool closing_ = false;  ///< the application sends nothing more
  bool over_ = false;
};

Application::~Application() = default;

int Application::connect(int fd) {
  if (const int error = check_socket(fd)) return error;
  if (faults_.refused) return ECONNREFUSED;
  std::array<int, 2> ends{};
  if (real::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) < 0) return errno;
  const int error = put_in_place(ends[0], fd);
  real::close(ends[0]);
  if (error != 0) {
    real::close(ends[1]);
    return error;
  }
  connections_.push_back(std::make_shared<Connection>(ends[1]));
  return 0;
}

void Application::serve() {
  for (const auto& connection : connections_) {
    for (Command command; connection->next(command);) run(connection, command);
    connection->push();
  }
  std::erase_if(connections_, [](const auto& connection) { return connection->is_over(); });
}

void Application::run(const std::shared_ptr<Connection>& connection, const Command& command) {
  commands_.push_back(command);
  if (!is_known(command.code) && script_for(command) == nullptr) {
    violation_("the application has no command " + hexadecimal(command.code) + " (send)");
    return connection->close();
  }
  const Answer answer = answer_to(command);
  // Whoever is gone by then is not answered.
  const auto at = [&](Time span, auto action) {
    after_(span, [this, action, weak = std::weak_ptr(connection)] {
      if (const auto its_connection = weak.lock()) action(*its_connection);
      serve();
    });
  };
  Time due{};
  for (const Reply& reply : answer.replies) {
    due += reply.after;
    at(due, [bytes = reply.bytes](Connection& its_connection) { its_connection.reply(bytes); });
  }
  if (!answer.closes) return;
  if (answer.replies.empty()) due = kHealthyDelay;
  at(due, [](Connection& its_connection) { its_connection.close(); });
}

const Application::Answer* Application::script_for(const Command& command) const {
  auto script = scripts_.find({command.code, command.value});
  if (script == scripts_.end()) script = scripts_.find({command.code, std::nullopt});
  return script != scripts_.end() ? &script->second : nullptr;
}

Application::Answer Application::answer_to(const Command& command) const {
  if (faults_.silent) return {{}, false};
  if (faults_.closes) return {{}, true};
  const Answer* const script = script_for(command);
  Answer answer = script != nullptr ? *script : Answer{{{kHealthyDelay, healthy_reply(command)}}, true};
  for (Reply& reply : answer.replies) {
    reply.after += faults_.later;
    if (faults_.cut) reply.bytes.resize(std::min(reply.bytes.size(), kShortReply));
  }
  return answer;
}

void Application::set_answer(std::uint32_t command, std::vector<Reply> replies, bool closes) {
  scripts_.insert_or_assign({command, std::nullopt}, Answer{std::move(replies), closes});
}

void Application::set_answer_to(std::uint32_t command, std::uint32_t value, std::vector<Reply> replies,
                                bool closes) {
  scripts_.insert_or_assign({command, value}, Answer{std::move(replies), closes});
}

FaultForms Application::fault_forms() {
  const auto flag = [this](bool Faults::*which) {
    return [this, which](const FaultArguments&) { faults_.*which = true; };
  };
  return {
      {"app refused", "connecting to the application fails with ECONNREFUSED", {}, flag(&Faults::refused)},
      {"app silent", "it accepts and reads, and neither replies nor closes", {}, flag(&Faults::silent)},
      {"app slow SECONDS",
       "every reply comes so much later",
       {number("SECONDS")},
       [this](const FaultArguments& given) { faults_.later = std::chrono::seconds(given.number(0)); }},
      {"app short", "every reply ends after 8 bytes", {}, flag(&Faults::cut)},
      {"app closes", "it closes after 20 ms without a reply", {}, flag(&Faults::closes)}};
}

}  // namespace boardsim
