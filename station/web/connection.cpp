#include "station/web/connection.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <type_traits>
#include <utility>

#include "station/web/answer_head.h"

namespace t1station {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::beast::flat_buffer;
using boost::system::error_code;
using TlsStream = asio::ssl::stream<tcp::socket>;

constexpr std::size_t kBufferOfSystem = 131072;  // bytes; what a reader may be behind without our noticing
constexpr unsigned kUnansweredMilliseconds = 20000;  // after which a connection to nobody is gone
constexpr double kEndless = 1e300;

std::string text_of(boost::beast::string_view view) {
  return {view.data(), view.size()};
}

// A connection ends on errors only when it is read or written: what cannot be set up shows there.
void set_up(tcp::socket& socket) {
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  socket.set_option(asio::socket_base::send_buffer_size(kBufferOfSystem), ignored);
  setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_USER_TIMEOUT, &kUnansweredMilliseconds,
             sizeof kUnansweredMilliseconds);
}

std::string address_of(const tcp::socket& socket) {
  error_code error;
  const asio::ip::address address = socket.remote_endpoint(error).address();
  if (error) return {};
  if (address.is_v6() && address.to_v6().is_v4_mapped()) {
    return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
  }
  return address.to_string();
}

tcp::socket& socket_of(tcp::socket& stream) {
  return stream;
}
tcp::socket& socket_of(TlsStream& stream) {
  return stream.next_layer();
}

/// A connection over a plain or an encrypted stream.
template <typename Stream>
class ConnectionOver final : public Connection {
 public:
  ConnectionOver(Stream stream, ConnectionOwner& owner) : owner_(owner), stream_(std::move(stream)) {
    address_ = address_of(socket());
    set_up(socket());
  }

  void start() override {
    wait_for(owner_.limits().whole_request);
    if constexpr (std::is_same_v<Stream, TlsStream>) {
      stream_.async_handshake(asio::ssl::stream_base::server, [self = self()](error_code error) {
        if (error || self->is_closed_) return self->close();
        self->await_request();
      });
    } else {
      await_request();
    }
  }

  void close() override {
    if (is_closed_) return;
    is_closed_ = true;
    error_code ignored;
    socket().close(ignored);
    owner_.left(*this);
  }

  void look_at_time(double now) override {
    if (is_closed_ || now < deadline_) return;
    deadline_ = kEndless;
    if (!is_reading_) return close();
    is_late_ = true;  // what is being read ends now, and is answered
    error_code ignored;
    socket().cancel(ignored);
  }

  void send_document(const EventText& text) override {
    document_ = text;
    next_document_ = text;
    send_next();
  }

  void send_tick(const EventText& text) override {
    next_tick_ = text;
    send_next();
  }

 private:
  using Self = std::shared_ptr<ConnectionOver>;

  Self self() { return std::static_pointer_cast<ConnectionOver>(shared_from_this()); }
  tcp::socket& socket() { return socket_of(stream_); }
  void wait_for(double seconds) { deadline_ = owner_.now() + seconds; }

  // Until a request's first byte nobody waits for an answer.
  void await_request() {
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(owner_.limits().head));
    parser_->body_limit(owner_.limits().body);
    if (buffer_.size() > 0) return read_head();
    wait_for(is_first_ ? owner_.limits().whole_request : owner_.limits().between_requests);
    stream_.async_read_some(buffer_.prepare(kPiece), [self = self()](error_code error, std::size_t size) {
      if (error || self->is_closed_) return self->close();
      self->buffer_.commit(size);
      self->read_head();
    });
  }

  void read_head() {
    is_first_ = false;
    is_reading_ = true;
    wait_for(owner_.limits().whole_request);
    http::async_read_header(stream_, buffer_, *parser_, [self = self()](error_code error, std::size_t) {
      if (!self->refuse_after(error)) self->read_body();
    });
  }

  void read_body() {
    if (parser_->get().target().size() > owner_.limits().target) return refuse(414, "the target is too long");
    const bool waits = text_of(parser_->get()[http::field::expect]) == "100-continue";
    if (!waits || parser_->is_done()) return read_rest();
    static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
    asio::async_write(stream_, asio::buffer(kContinue.data(), kContinue.size()),
                      [self = self()](error_code error, std::size_t) {
                        if (!self->refuse_after(error)) self->read_rest();
                      });
  }

  void read_rest() {
    http::async_read(stream_, buffer_, *parser_, [self = self()](error_code error, std::size_t) {
      if (!self->refuse_after(error)) self->ask();
    });
  }

  // Whether reading ended in an error. One that HTTP has words for is answered.
  bool refuse_after(error_code error) {
    if (is_closed_) return true;
    if (is_late_) {
      refuse(408, "the request did not come whole in time");
    } else if (error == http::error::header_limit) {
      const bool is_target = parser_->get().target().empty();
      refuse(is_target ? 414 : 431, is_target ? "the target is too long" : "the head is too long");
    } else if (error == http::error::body_limit) {
      refuse(413, "the body is too long");
    } else if (error == http::error::end_of_stream || error == http::error::partial_message) {
      close();
    } else if (error && error.category() == http::make_error_code(http::error::bad_method).category()) {
      refuse(400, "this is no HTTP request: " + error.message());
    } else if (error) {
      close();
    }
    return error || is_late_;
  }

  void refuse(int status, const std::string& reason) {
    is_last_ = true;
    is_head_ = false;
    of_api_ = true;
    answer(error_answer({status, reason}));
  }

  void ask() {
    deadline_ = kEndless;
    is_reading_ = false;
    const auto& message = parser_->get();
    is_head_ = message.method() == http::verb::head;
    is_last_ = !message.keep_alive() || message.version() < 11;
    WebRequest request;
    request.method = text_of(message.method_string());
    request.target = text_of(message.target());
    request.host = text_of(message[http::field::host]);
    if (message.find(http::field::origin) != message.end()) {
      request.origin = text_of(message[http::field::origin]);
    }
    request.content_type = text_of(message[http::field::content_type]);
    request.cookie = text_of(message[http::field::cookie]);
    request.body = message.body();
    request.address = address_;
    of_api_ = !request.target.starts_with("/page/") && request.target != "/" && request.target != "/login";
    const std::size_t hosts = message.count(http::field::host);
    if (hosts > 1 || (request.host.empty() && message.version() > 10) ||
        message.count(http::field::origin) > 1 || message.count(http::field::content_type) > 1) {
      return refuse(400, "a request has one Host, and at most one Origin and Content-Type");
    }
    if (message.find(http::field::transfer_encoding) != message.end() &&
        !boost::beast::iequals(message[http::field::transfer_encoding], "chunked")) {
      return refuse(400, "a body is sent as it is, or chunked");
    }
    owner_.dispatch(std::move(request),
                    [self = self()](WebAnswer answer) { self->answer(std::move(answer)); });
  }

  void answer(WebAnswer answer) {
    is_reading_ = false;
    if (is_closed_) return;
    answer_ = std::move(answer);
    head_ = answer_head(answer_, of_api_, is_last_);
    if (is_head_) answer_.body.clear();
    wait_for(owner_.limits().whole_answer);
    const std::array<asio::const_buffer, 2> both{asio::buffer(head_), asio::buffer(answer_.body)};
    asio::async_write(stream_, both, [self = self()](error_code error, std::size_t) {
      if (error || self->is_closed_) return self->close();
      self->go_on();
    });
  }

  void go_on() {
    if (answer_.is_stream && !is_head_) return become_stream();
    if (is_last_ || answer_.is_stream) return say_farewell();
    await_request();
  }

  // What is still on its way to us must be read: a close before would take the answer back.
  void say_farewell() {
    wait_for(owner_.limits().farewell);
    error_code ignored;
    if constexpr (std::is_same_v<Stream, TlsStream>) {
      stream_.async_shutdown([self = self()](error_code) { self->drain(); });
    } else {
      socket().shutdown(tcp::socket::shutdown_send, ignored);
      drain();
    }
  }

  void drain() {
    if (is_closed_) return;
    socket().async_read_some(asio::buffer(waste_), [self = self()](error_code error, std::size_t) {
      if (error || self->is_closed_) return self->close();
      self->drain();
    });
  }

  void become_stream() {
    deadline_ = kEndless;
    session_ = answer_.session;
    is_stream_ = true;
    owner_.streams(self());
    watch_for_end();
  }

  // A stream's reader has nothing to say; that it has gone is all that can come.
  void watch_for_end() {
    if (is_closed_) return;
    stream_.async_read_some(asio::buffer(waste_), [self = self()](error_code error, std::size_t) {
      if (error || self->is_closed_) return self->close();
      self->watch_for_end();
    });
  }

  void send_next() {
    if (is_closed_ || !is_stream_ || sending_) return;
    sending_ = std::exchange(next_document_ ? next_document_ : next_tick_, nullptr);
    if (!sending_) return;
    wait_for(owner_.limits().behind);
    asio::async_write(stream_, asio::buffer(*sending_), [self = self()](error_code error, std::size_t) {
      if (error || self->is_closed_) return self->close();
      self->deadline_ = kEndless;
      self->sending_ = nullptr;
      self->send_next();
    });
  }

  static constexpr std::size_t kPiece = 4096;

  ConnectionOwner& owner_;
  Stream stream_;
  double deadline_ = kEndless;
  flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::string head_;
  WebAnswer answer_;
  std::array<char, 1024> waste_{};
  EventText next_document_, next_tick_, sending_;
  bool is_closed_ = false, is_first_ = true, is_reading_ = false, is_late_ = false;
  bool is_head_ = false, is_last_ = false, of_api_ = true, is_stream_ = false;
};

}  // namespace

std::shared_ptr<Connection> make_connection(tcp::socket socket, asio::ssl::context* encryption,
                                            ConnectionOwner& owner) {
  if (!encryption) return std::make_shared<ConnectionOver<tcp::socket>>(std::move(socket), owner);
  return std::make_shared<ConnectionOver<TlsStream>>(TlsStream(std::move(socket), *encryption), owner);
}

}  // namespace t1station
