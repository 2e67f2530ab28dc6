#include "station/web/web_server.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <thread>

#include "station/records/records.h"
#include "station/text/errors.h"
#include "station/web/connection.h"
#include "station/web/dispatcher.h"
#include "station/web/documents.h"
#include "station/web/tls.h"

namespace t1station {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using namespace std::chrono_literals;

constexpr auto kLook = 50ms;  // between looks at the clock
constexpr double kTick = 1;   // seconds between ticks of a stream
constexpr std::size_t kShareBeyondLoopback = 64;

double steady_seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

WebLimits with_defaults(WebLimits limits, const LineFile& file) {
  if (!limits.now) limits.now = steady_seconds;
  if (!limits.of_one_address && !file.is_loopback()) limits.of_one_address = kShareBeyondLoopback;
  return limits;
}

std::optional<asio::ssl::context> encryption_of(const LineFile& file) {
  if (file.tls_certificate.empty() && file.tls_key.empty()) return std::nullopt;
  if (file.tls_certificate.empty() || file.tls_key.empty()) {
    throw UsageError("tls_certificate and tls_key go together");
  }
  return tls_context(file.tls_certificate, file.tls_key);
}

// Connections must not take the descriptors that the slots need.
void allow_descriptors(std::size_t connections) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  constexpr rlim_t kForSlots = 8192;
  limit.rlim_cur = std::max(limit.rlim_cur, std::min<rlim_t>(limit.rlim_max, connections + kForSlots));
  setrlimit(RLIMIT_NOFILE, &limit);
}

[[noreturn]] void fail(const LineFile& file, const error_code& error) {
  throw std::system_error(error.value(), std::generic_category(),
                          "cannot listen on " + file.host + ":" + file.port);
}

EventText event(const std::string& kind, const std::string& data) {
  return std::make_shared<const std::string>("event: " + kind + "\ndata: " + data + "\n\n");
}

}  // namespace

void check_web(const LineFile& file) {
  if (!file.is_loopback() && file.users_file.empty()) {
    throw UsageError("whoever reaches " + file.host +
                     " could control the line: beyond 127.0.0.1 it needs users ([users] file = \"...\")");
  }
  if (!file.is_loopback() && file.tls_certificate.empty() && !file.plain_http) {
    throw UsageError(
        "passwords would go over the network as they are: it needs tls_certificate and tls_key, or "
        "plain_http "
        "= true in [station]");
  }
  std::error_code error;
  if (!file.users_file.empty() && !std::filesystem::exists(file.users_file, error) && !error) {
    throw UsageError("there is no file of users " + file.users_file + ": t1station users add " +
                     file.users_file + " NAME --role engineer makes it");
  }
  if (!file.users_file.empty()) read_users(file.users_file);
  encryption_of(file);
}

struct WebServer::State final : ConnectionOwner {
  State(const LineFile& file, Line& line, const std::string& records_file, const WebLimits& limits);
  ~State() override;

  const WebLimits& limits() const override { return limits_; }
  double now() const override { return limits_.now(); }
  void dispatch(WebRequest request, std::function<void(WebAnswer)> reply) override {
    dispatcher_->dispatch(std::move(request), reply);
  }
  void streams(const std::shared_ptr<Connection>& connection) override;
  void left(Connection& connection) override;

  void listen(const LineFile& file);
  void accept();
  void take(tcp::socket socket);
  bool is_full(const std::string& address) const;
  void look();
  void tick();
  void publish();
  /// The line's document as an event; the last one when nothing has changed.
  EventText document();
  RunLater later_on(asio::thread_pool& pool) {
    return [&pool](std::function<void()> job) { asio::post(pool, std::move(job)); };
  }
  void run();

  const WebLimits limits_;
  Line& line_;
  const std::string host_, scheme_;
  std::optional<asio::ssl::context> encryption_;
  asio::io_context io_{1};
  tcp::acceptor acceptor_{io_};
  asio::steady_timer timer_{io_}, pace_{io_};
  asio::thread_pool storing_{2}, reading_{2}, figures_{1}, passwords_{1};
  Subject subject_;
  std::unique_ptr<Dispatcher> dispatcher_;
  std::set<std::shared_ptr<Connection>> connections_, streams_;
  bool is_accepting_ = false;
  double ticked_, published_;
  LineDocument document_;
  std::string document_text_;  ///< the last one that was made, without its time
  EventText document_event_;
  std::atomic<bool> has_changed_ = false;
  std::thread thread_;
};

WebServer::State::State(const LineFile& file, Line& line, const std::string& records_file,
                        const WebLimits& limits)
    : limits_(with_defaults(limits, file)),
      line_(line),
      host_(file.host),
      scheme_(file.tls_certificate.empty() ? "http" : "https"),
      encryption_(encryption_of(file)),
      subject_(line, records_file),
      ticked_(now()),
      published_(now() - limits_.between_documents) {
  allow_descriptors(limits_.connections);
  listen(file);
  const WebThreads threads{later_on(storing_), later_on(reading_), later_on(figures_), later_on(passwords_),
                           [this](std::function<void()> job) { asio::post(io_, std::move(job)); }};
  const std::string port = std::to_string(acceptor_.local_endpoint().port());
  dispatcher_ = std::make_unique<Dispatcher>(file, subject_, port, threads, limits_.now);
  accept();
  look();
  thread_ = std::thread([this] { run(); });
}

WebServer::State::~State() {
  subject_.end();
  asio::post(io_, [this] {
    error_code ignored;
    acceptor_.close(ignored);
    for (const auto& connection : std::set(connections_)) connection->close();
    io_.stop();
  });
  thread_.join();
  for (asio::thread_pool* pool : {&reading_, &figures_, &passwords_})
    pool->stop();  // what is to be stored still is
  for (asio::thread_pool* pool : {&storing_, &reading_, &figures_, &passwords_}) pool->join();
}

// What one request does wrong must not end the others.
void WebServer::State::run() {
  while (!io_.stopped()) {
    try {
      io_.run();
    } catch (const std::exception&) {
      continue;
    }
  }
}

void WebServer::State::listen(const LineFile& file) {
  error_code error;
  const asio::ip::address host = asio::ip::make_address(file.host, error);
  if (error) fail(file, error);
  const tcp::endpoint endpoint(host, static_cast<unsigned short>(std::stoul(file.port)));
  acceptor_.open(endpoint.protocol(), error);
  if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor_.bind(endpoint, error);
  if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
  if (error) fail(file, error);
}

// Without descriptors, for example, the next look at the clock tries again.
void WebServer::State::accept() {
  is_accepting_ = true;
  acceptor_.async_accept([this](error_code error, tcp::socket socket) {
    is_accepting_ = false;
    if (error) return;
    take(std::move(socket));
    accept();
  });
}

void WebServer::State::take(tcp::socket socket) {
  const auto connection = make_connection(std::move(socket), encryption_ ? &*encryption_ : nullptr, *this);
  if (is_full(connection->address())) return;
  connections_.insert(connection);
  connection->start();
}

bool WebServer::State::is_full(const std::string& address) const {
  if (connections_.size() >= limits_.connections) return true;
  if (!limits_.of_one_address) return false;
  const auto count = std::count_if(connections_.begin(), connections_.end(),
                                   [&address](const auto& other) { return other->address() == address; });
  return static_cast<std::size_t>(count) >= *limits_.of_one_address;
}

void WebServer::State::left(Connection& connection) {
  const std::shared_ptr<Connection> held = connection.shared_from_this();
  connections_.erase(held);
  streams_.erase(held);
  subject_.streams = streams_.size();
}

void WebServer::State::look() {
  timer_.expires_after(kLook);
  timer_.async_wait([this](error_code error) {
    if (!error) look();
  });
  for (const auto& connection : std::set(connections_)) connection->look_at_time(now());
  if (!is_accepting_) accept();
  if (now() - ticked_ >= kTick) tick();
  if (has_changed_) publish();
}

void WebServer::State::tick() {
  ticked_ = now();
  const EventText text = event("tick", R"({"time":")" + record_time() + "\"}");
  for (const auto& stream : std::set(streams_)) {
    if (!dispatcher_->may_go_on(stream->session())) {
      stream->close();
    } else {
      stream->send_tick(text);
    }
  }
}

EventText WebServer::State::document() {
  std::string text = document_.text(line_.view());
  if (!document_event_ || text != document_text_) {
    document_event_ = event("line", with_time(text, record_time()));
    document_text_ = std::move(text);
  }
  return document_event_;
}

void WebServer::State::publish() {
  if (streams_.empty()) {
    has_changed_ = false;
    return;
  }
  if (const double left = published_ + limits_.between_documents - now(); left > 0) {
    pace_.expires_after(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(left)));
    pace_.async_wait([this](error_code error) {
      if (!error && has_changed_) publish();
    });
    return;
  }
  has_changed_ = false;
  const EventText text = document();
  for (const auto& stream : std::set(streams_)) {
    if (stream->document() == text) continue;
    published_ = now();
    stream->send_document(text);
  }
}

void WebServer::State::streams(const std::shared_ptr<Connection>& connection) {
  streams_.insert(connection);
  subject_.streams = streams_.size();
  connection->send_document(document());
}

WebServer::WebServer(const LineFile& file, Line& line, const std::string& records_file,
                     const WebLimits& limits) {
  check_web(file);
  state_ = std::make_unique<State>(file, line, records_file, limits);
}

WebServer::~WebServer() = default;

std::string WebServer::address() const {
  const bool is_six = state_->host_.find(':') != std::string::npos;
  return state_->scheme_ + "://" + (is_six ? "[" + state_->host_ + "]" : state_->host_) + ":" +
         std::to_string(state_->acceptor_.local_endpoint().port()) + "/";
}

void WebServer::changed() noexcept {
  if (state_->has_changed_.exchange(true)) return;
  try {
    asio::post(state_->io_, [state = state_.get()] { state->publish(); });
  } catch (const std::exception&) {
    return;  // the next look at the clock does it
  }
}

}  // namespace t1station
