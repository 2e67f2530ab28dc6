// What a broker should keep, and what of it the broker has.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "station/plant/broker.h"

namespace t1station {

/// Topics, each with the last thing that it says: what it said before is not sent any more. Of each topic one
/// message is on its way at a time.
class Retained {
 public:
  void set(const std::string& topic, std::string payload) { topics_[topic].wanted = std::move(payload); }
  /// Nothing of it is at the broker.
  void start_anew() {
    for (auto& [name, topic] : topics_) topic = {std::move(topic.wanted), {}, 0};
  }
  /// Sends what the broker does not have yet.
  void send_to(Broker& broker) {
    for (auto& [name, topic] : topics_) {
      if (topic.number != 0 || topic.sent == topic.wanted) continue;
      topic.number = broker.publish({name, topic.wanted});
      topic.sent = topic.wanted;
    }
  }
  void take(const std::vector<int>& acknowledged) {
    for (auto& [name, topic] : topics_) {
      if (std::find(acknowledged.begin(), acknowledged.end(), topic.number) != acknowledged.end())
        topic.number = 0;
    }
  }
  bool is_there() const {
    return std::all_of(topics_.begin(), topics_.end(), [](const auto& named) {
      return named.second.number == 0 && named.second.sent == named.second.wanted;
    });
  }

 private:
  struct Topic {
    std::string wanted, sent;
    int number = 0;  ///< of the message that is on its way; 0: none is
  };
  std::map<std::string, Topic> topics_;
};

}  // namespace t1station
