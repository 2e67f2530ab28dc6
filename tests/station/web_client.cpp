#include "tests/station/web_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <stdexcept>

struct WebClient::Encryption {
  explicit Encryption(int socket)
      : context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free), ssl(SSL_new(context.get()), SSL_free) {
    SSL_set_fd(ssl.get(), socket);
    if (SSL_connect(ssl.get()) != 1) throw std::runtime_error("no encrypted connection");
  }
  std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context;
  std::unique_ptr<SSL, void (*)(SSL*)> ssl;
};

WebClient::WebClient(const std::string& port, bool is_encrypted) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port)));
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(socket_);
    throw std::runtime_error("nobody listens on port " + port);
  }
  if (is_encrypted) encryption_ = std::make_unique<Encryption>(socket_);
}

WebClient::~WebClient() {
  close(socket_);
}

void WebClient::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = encryption_
                             ? SSL_write(encryption_->ssl.get(), bytes.data(), static_cast<int>(bytes.size()))
                             : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;  // what the server thinks of it, its answer says
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void WebClient::send_end() {
  shutdown(socket_, SHUT_WR);
}

void WebClient::take_little() {
  const int few = 2048;
  setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &few, sizeof few);
}

bool WebClient::read_more() {
  constexpr int kLimit = 20000;
  pollfd item{socket_, POLLIN, 0};
  const bool is_waiting = encryption_ && SSL_pending(encryption_->ssl.get()) > 0;
  if (!is_waiting && poll(&item, 1, kLimit) != 1) throw std::runtime_error("nothing came for 20 seconds");
  std::array<char, 16384> bytes{};
  const ssize_t count = encryption_ ? SSL_read(encryption_->ssl.get(), bytes.data(), bytes.size())
                                    : recv(socket_, bytes.data(), bytes.size(), 0);
  if (count <= 0) return false;
  read_.append(bytes.data(), static_cast<std::size_t>(count));
  return true;
}

WebReply WebClient::head() {
  std::size_t end = read_.find("\r\n\r\n");
  for (; end == std::string::npos; end = read_.find("\r\n\r\n")) {
    if (!read_more()) return {};
  }
  WebReply reply;
  reply.head = read_.substr(0, end + 2);
  read_.erase(0, end + 4);
  reply.status = std::stoi(reply.head.substr(reply.head.find(' ') + 1));
  for (std::size_t at = reply.head.find("\r\n") + 2; at < reply.head.size();) {
    const std::size_t line_end = reply.head.find("\r\n", at), colon = reply.head.find(':', at);
    std::string name = reply.head.substr(at, colon - at);
    for (char& letter : name) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    reply.fields[name] += reply.head.substr(colon + 2, line_end - colon - 2);
    at = line_end + 2;
  }
  return reply;
}

WebReply WebClient::reply(bool has_body) {
  WebReply reply = head();
  if (reply.status == 0 || !has_body) return reply;
  const std::string length = reply.field("content-length");
  const std::size_t size = length.empty() ? std::string::npos : std::stoul(length);
  while (read_.size() < size && read_more()) continue;
  reply.body = read_.substr(0, size);
  read_.erase(0, reply.body.size());
  return reply;
}

std::string WebClient::event() {
  std::size_t end = read_.find("\n\n");
  for (; end == std::string::npos; end = read_.find("\n\n")) {
    if (!read_more()) throw std::runtime_error("the stream ended");
  }
  std::string event = read_.substr(0, end);
  read_.erase(0, end + 2);
  return event;
}

std::string WebClient::event_of(std::string_view kind) {
  const std::string start = "event: " + std::string(kind) + "\ndata: ";
  while (true) {
    const std::string one = event();
    if (one.starts_with(start)) return one.substr(start.size());
  }
}

bool WebClient::ends() {
  while (read_more()) continue;
  return true;
}

std::string web_request(std::string_view method, std::string_view target, std::string_view body,
                        std::string_view fields) {
  std::string words = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n";
  if (fields.find("Host:") == std::string_view::npos) words += "Host: localhost:PORT\r\n";
  if (method == "POST" && fields.find("Content-Type:") == std::string_view::npos) {
    words += "Content-Type: application/json\r\n";
  }
  if (!body.empty()) words += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  return words + std::string(fields) + "\r\n" + std::string(body);
}

WebReply ask(const std::string& port, std::string_view method, std::string_view target, std::string_view body,
             std::string_view fields) {
  WebClient client(port);
  std::string words = web_request(method, target, body, fields);
  for (std::size_t at = words.find("PORT"); at != std::string::npos; at = words.find("PORT")) {
    words.replace(at, 4, port);
  }
  client.send(words);
  return client.reply(method != "HEAD");
}
