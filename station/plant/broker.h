// A connection to an MQTT broker that only says things.
#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "station/line/mqtt_file.h"

namespace t1station {

/// The broker cannot be reached, refuses, does not answer or has gone. what() says why, for people.
class BrokerTrouble : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A topic and what it says.
struct MqttMessage {
  std::string topic, payload;
};

/// One connection, for one thread. What it publishes is retained, and sent until the broker has it (QoS 1).
class Broker {
 public:
  /// Connects, which nothing can end. `will` is what the broker publishes once this station is gone without
  /// a farewell. Throws BrokerTrouble.
  Broker(const MqttFile& mqtt, const MqttMessage& will);
  /// Closes the connection; without leave() before, the broker publishes the will.
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  /// Whether the broker has taken this station; nothing may be published before.
  bool is_welcome() const;
  /// Hands a message over for sending. Returns the number by which it is acknowledged.
  int publish(const MqttMessage& message);
  /// Sends and receives until something has come, one of `others` is ready, or `patience` is over. Throws
  /// BrokerTrouble.
  void work(std::vector<pollfd>& others, std::chrono::milliseconds patience);
  /// The numbers of messages that the broker has; each is said once.
  std::vector<int> take_acknowledged();
  /// Takes leave, so that the will is forgotten.
  void leave();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace t1station
