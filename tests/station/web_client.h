// A client that says byte for byte what a test wants to say to the server of a line.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

/// An answer as it came.
struct WebReply {
  int status = 0;  // 0: the connection ended before an answer
  std::string head;
  std::map<std::string, std::string> fields;  // names in small letters
  std::string body;

  std::string field(const std::string& name) const {
    const auto found = fields.find(name);
    return found == fields.end() ? std::string() : found->second;
  }
};

/// One connection to a server on 127.0.0.1. No wait of it is longer than 20 seconds; what does not come until
/// then is a std::runtime_error.
class WebClient {
 public:
  /// Encrypts when it is told to, and trusts whoever answers.
  explicit WebClient(const std::string& port, bool is_encrypted = false);
  ~WebClient();
  WebClient(const WebClient&) = delete;
  WebClient& operator=(const WebClient&) = delete;

  void send(std::string_view bytes);
  /// Nothing more is sent; the answer can still come.
  void send_end();
  /// The next answer. A body without a length goes on to the end; `has_body` is false for those to HEAD.
  WebReply reply(bool has_body = true);
  /// The head of an answer only.
  WebReply head();
  /// The next event of a stream, without its empty line.
  std::string event();
  /// The data of the next event of this kind; others are passed over.
  std::string event_of(std::string_view kind);
  /// Whether the other side ends the connection now, after what it had to say.
  bool ends();
  /// Takes only so many bytes ahead, as a reader that does not read.
  void take_little();

 private:
  struct Encryption;
  bool read_more();

  int socket_ = -1;
  std::unique_ptr<Encryption> encryption_;
  std::string read_;
};

/// The words of a request, with a Host that the server knows.
std::string web_request(std::string_view method, std::string_view target, std::string_view body = {},
                        std::string_view fields = {});

/// One request over a connection of its own.
WebReply ask(const std::string& port, std::string_view method, std::string_view target,
             std::string_view body = {}, std::string_view fields = {});
