#include "station/plant/broker.h"

#include <mosquitto.h>
#include <openssl/x509.h>
#include <sys/socket.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

#include "station/plant/mqtt_check.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

using std::chrono::milliseconds;

constexpr int kKeepAlive = 10;   // seconds; a broker gives up a station that is silent for half as long again
constexpr int kAtLeastOnce = 1;  // QoS
constexpr auto kPatience = std::chrono::seconds(10);  // for the broker to answer
constexpr const char* kNoAnswer = "it has not answered for 10 seconds";
constexpr int kAllThereIs = 100;  // packets to read at a time

using Client = std::unique_ptr<mosquitto, void (*)(mosquitto*)>;

const char* path_or_null(const std::optional<NamedFile>& file) {
  return file ? file->path.c_str() : nullptr;
}

// Nobody is there who could be asked.
int no_passphrase_for_it(char* /*into*/, int /*size*/, int /*writes*/, void* /*client*/) {
  return 0;
}

// The library is never cleaned up: a thread that was left behind may be in it.
void prepare_library() {
  static const int result = mosquitto_lib_init();
  if (result != MOSQ_ERR_SUCCESS) throw BrokerTrouble(mosquitto_strerror(result));
}

std::string address_of(const MqttFile& mqtt) {
  const bool has_colon = mqtt.host.find(':') != std::string::npos;
  return (has_colon ? "[" + mqtt.host + "]" : mqtt.host) + ":" + std::to_string(mqtt.port);
}

}  // namespace

struct Broker::State {
  State(const MqttFile& mqtt, const MqttMessage& will);

  void set_up(const MqttFile& mqtt, const MqttMessage& will);
  void listen_to_library();
  void expect(int result) const;
  void expect_answer() const;
  [[noreturn]] void fail(const std::string& reason) const;

  const std::string address;
  const Client client;
  bool is_welcome = false;
  std::string complaint;  // of the library, or the broker's refusal
  std::vector<int> acknowledged;
  std::size_t unanswered = 1;                      // messages, and the greeting
  std::chrono::steady_clock::time_point answered;  // last, or when there was nothing to answer
};

Broker::State::State(const MqttFile& mqtt, const MqttMessage& will)
    : address(address_of(mqtt)),
      // The same name each time: a connection that the broker still believes in ends then, with its will.
      client((prepare_library(), mosquitto_new(mqtt.topic.c_str(), true, this)), mosquitto_destroy) {
  if (!client) fail(std::generic_category().message(errno));
  listen_to_library();
  set_up(mqtt, will);
  expect(mosquitto_connect(client.get(), mqtt.host.c_str(), mqtt.port, kKeepAlive));
  answered = std::chrono::steady_clock::now();
}

void Broker::State::set_up(const MqttFile& mqtt, const MqttMessage& will) {
  expect(mosquitto_int_option(client.get(), MOSQ_OPT_TCP_NODELAY, 1));
  expect(mosquitto_will_set(client.get(), will.topic.c_str(), static_cast<int>(will.payload.size()),
                            will.payload.data(), kAtLeastOnce, true));
  if (!mqtt.user.empty()) {
    std::string password;
    try {
      if (mqtt.password_file) password = read_password(mqtt.password_file->path);
    } catch (const UsageError& error) {
      fail(error.what());
    }
    expect(mosquitto_username_pw_set(client.get(), mqtt.user.c_str(),
                                     mqtt.password_file ? password.c_str() : nullptr));
  }
  if (!mqtt.is_encrypted) return;
  expect(mosquitto_tls_set(client.get(), path_or_null(mqtt.ca),
                           mqtt.ca ? nullptr : X509_get_default_cert_dir(), path_or_null(mqtt.certificate),
                           path_or_null(mqtt.key), no_passphrase_for_it));
}

void Broker::State::listen_to_library() {
  mosquitto_connect_callback_set(client.get(), [](mosquitto* /*client*/, void* state, int code) {
    State& self = *static_cast<State*>(state);
    self.is_welcome = code == 0;
    self.unanswered = 0;
    if (code != 0) self.complaint = mosquitto_connack_string(code);
  });
  mosquitto_publish_callback_set(client.get(), [](mosquitto* /*client*/, void* state, int number) {
    State& self = *static_cast<State*>(state);
    self.acknowledged.push_back(number);
    --self.unanswered;
    self.answered = std::chrono::steady_clock::now();
  });
  mosquitto_log_callback_set(client.get(),
                             [](mosquitto* /*client*/, void* state, int level, const char* text) {
                               if (level == MOSQ_LOG_ERR)
                                 static_cast<State*>(state)->complaint = clean_text(text);
                             });
}

void Broker::State::fail(const std::string& reason) const {
  throw BrokerTrouble(address + ": " + reason);
}

void Broker::State::expect(int result) const {
  const int error = errno;
  if (result == MOSQ_ERR_SUCCESS) return;
  if (result == MOSQ_ERR_KEEPALIVE) fail(kNoAnswer);
  if (!complaint.empty()) fail(complaint);
  fail(result == MOSQ_ERR_ERRNO ? std::generic_category().message(error) : mosquitto_strerror(result));
}

// A broker that has closed the connection in the middle of a greeting is asked no more.
void Broker::State::expect_answer() const {
  const int socket = mosquitto_socket(client.get());
  if (socket < 0) expect(MOSQ_ERR_CONN_LOST);
  char byte = 0;
  if (!is_welcome && recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0) expect(MOSQ_ERR_CONN_LOST);
  if (unanswered > 0 && std::chrono::steady_clock::now() - answered > kPatience) {
    fail(kNoAnswer);
  }
}

Broker::Broker(const MqttFile& mqtt, const MqttMessage& will) : state_(std::make_unique<State>(mqtt, will)) {}

Broker::~Broker() = default;

bool Broker::is_welcome() const {
  return state_->is_welcome;
}

int Broker::publish(const MqttMessage& message) {
  int number = 0;
  if (state_->unanswered == 0) state_->answered = std::chrono::steady_clock::now();
  ++state_->unanswered;
  state_->expect(mosquitto_publish(state_->client.get(), &number, message.topic.c_str(),
                                   static_cast<int>(message.payload.size()), message.payload.data(),
                                   kAtLeastOnce, true));
  return number;
}

void Broker::work(std::vector<pollfd>& others, milliseconds patience) {
  mosquitto* const client = state_->client.get();
  const auto wanted = static_cast<short>(mosquitto_want_write(client) ? POLLIN | POLLOUT : POLLIN);
  others.push_back({mosquitto_socket(client), wanted, 0});
  poll(others.data(), others.size(), static_cast<int>(patience.count()));
  others.pop_back();
  // Always: what TLS has read already makes no socket ready.
  state_->expect(mosquitto_loop_read(client, kAllThereIs));
  if (mosquitto_want_write(client)) state_->expect(mosquitto_loop_write(client, kAllThereIs));
  state_->expect(mosquitto_loop_misc(client));
  state_->expect_answer();
}

std::vector<int> Broker::take_acknowledged() {
  return std::exchange(state_->acknowledged, {});
}

void Broker::leave() {
  mosquitto_disconnect(state_->client.get());
}

}  // namespace t1station
