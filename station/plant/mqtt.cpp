#include "station/plant/mqtt.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <map>
#include <optional>
#include <thread>
#include <vector>

#include "station/central/leaving.h"
#include "station/central/signal.h"
#include "station/line/slot_json.h"
#include "station/plant/broker.h"
#include "station/plant/retained.h"
#include "station/records/reader.h"
#include "station/text/json.h"

namespace t1station {
namespace {

using std::chrono::milliseconds;

// Between two tries in an outage: the first pause, doubled each time up to the longest one.
constexpr milliseconds kFirstTry{500}, kLongestPause{30'000};
constexpr auto kSettled = std::chrono::minutes(1);  // a connection that held so long is no try
constexpr milliseconds kBetweenLooks{100};          // as an event stream's pace
constexpr milliseconds kBetweenChecks{1000};        // of what the broker owes
constexpr milliseconds kFarewell{400};
constexpr const char* kOffline = R"({"online":false})";

std::string verdict_json(const StoredRun& run) {
  return json_text({{"id", run.id},
                    {"serial", run.serial},
                    {"kind", run.kind},
                    {"plan", {{"name", run.plan_name}, {"version", run.plan_version}}},
                    {"verdict", json_or_null(run.verdict)},
                    {"reason", json_or_null(run.reason)},
                    {"retried", run.retried.value_or(0) != 0},
                    {"started", run.started},
                    {"ended", json_or_null(run.ended)},
                    {"seconds", json_or_null(run.seconds)},
                    {"hash", json_or_null(run.hash)}});
}

}  // namespace

struct Mqtt::State {
  State(const LineFile& file, Line& a_line, Records& to_records,
        std::function<void(const std::string&)> to_log);

  void work();
  void serve();
  void keep_up(Broker& broker);
  void take_leave(Broker& broker);
  void look();
  void look_at_runs();
  void take_up_verdicts();
  void say(const StoredRun& run);
  bool wait(Broker& broker);
  bool pause();
  void trouble(const std::string& why);
  void end_trouble();
  void show(const std::string& state);
  void add_event(std::string_view kind, const std::string& detail);
  std::string slot_topic(const std::string& slot, const char* what) const {
    return mqtt.topic + "/slots/" + slot + "/" + what;
  }
  std::string own_topic() const { return mqtt.topic + "/state"; }

  const MqttFile mqtt;
  const std::string station;
  const std::string started = record_time();
  Line& line;
  Records& records;
  const std::function<void(const std::string&)> log;
  RecordsReader reader;
  std::int64_t told = -1;  // sequence of the last run whose verdict is said; less than 0: none is yet
  const Signal news, stop;
  Leaving leaving;

  std::map<std::string, SlotView> slots;  // as they were said last
  Retained retained;
  std::chrono::steady_clock::time_point looked;
  std::string shown = "off";
  std::string reason;  // of the outage; empty: none
  milliseconds next_pause{0};
};

Mqtt::State::State(const LineFile& file, Line& a_line, Records& to_records,
                   std::function<void(const std::string&)> to_log)
    : mqtt(*file.mqtt),
      station(file.station),
      line(a_line),
      records(to_records),
      log(std::move(to_log)),
      reader(file.records) {}

void Mqtt::State::work() {
  try {
    show("waiting");
    do {
      const auto begun = std::chrono::steady_clock::now();
      try {
        serve();
        return;
      } catch (const BrokerTrouble& error) {
        trouble(error.what());
      }
      // Two stations that send each other away do so ever more slowly.
      if (std::chrono::steady_clock::now() - begun > kSettled) next_pause = milliseconds(0);
    } while (pause());
  } catch (const LeftBehind&) {
    // It hung in its last call.
  } catch (const std::exception& error) {
    log("mqtt: nothing is said any more: " + std::string(error.what()));
    show("waiting");
  }
}

// Returns when the station ends.
void Mqtt::State::serve() {
  std::optional<Broker> broker;
  leaving.may_hang([&] { broker.emplace(mqtt, MqttMessage{own_topic(), kOffline}); });
  while (!broker->is_welcome()) {
    if (!wait(*broker)) return;
  }
  retained.start_anew();
  keep_up(*broker);
  take_leave(*broker);
}

void Mqtt::State::keep_up(Broker& broker) {
  do {
    look();
    retained.send_to(broker);
    if (retained.is_there()) end_trouble();
  } while (wait(broker));
}

// The broker gets all that may have changed since it was looked, and that the station is off.
void Mqtt::State::take_leave(Broker& broker) {
  const auto end = std::chrono::steady_clock::now() + kFarewell;
  looked = {};
  look();
  retained.set(own_topic(), kOffline);
  std::vector<pollfd> nobody;
  for (;;) {
    retained.send_to(broker);
    if (retained.is_there()) break;
    const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
    if (left <= milliseconds(0)) return;
    broker.work(nobody, left);
    retained.take(broker.take_acknowledged());
  }
  broker.leave();
}

// Waits for the broker, for news that may be said by now, or the end, and returns whether it is not that.
bool Mqtt::State::wait(Broker& broker) {
  const auto until_look =
      std::chrono::ceil<milliseconds>(looked + kBetweenLooks - std::chrono::steady_clock::now());
  const bool may_look = until_look <= milliseconds(0);
  std::vector<pollfd> others{{stop.descriptor(), POLLIN, 0}};
  if (may_look) others.push_back({news.descriptor(), POLLIN, 0});
  broker.work(others, may_look ? kBetweenChecks : until_look);
  retained.take(broker.take_acknowledged());
  return others.front().revents == 0;
}

// As often as a stream of events would be told.
void Mqtt::State::look() {
  if (std::chrono::steady_clock::now() - looked < kBetweenLooks) return;
  looked = std::chrono::steady_clock::now();
  news.take();
  const LineView view = line.view();
  Json names = Json::array();
  for (const SlotView& slot : view.slots) {
    names.push_back(slot.name);
    const auto [said, is_first] = slots.try_emplace(slot.name, slot);
    if (!is_first && said->second == slot) continue;
    said->second = slot;
    retained.set(slot_topic(slot.name, "state"), slot_json(slot));
  }
  retained.set(own_topic(), json_text({{"online", true},
                                       {"station", view.station},
                                       {"started", started},
                                       {"records", view.records},
                                       {"slots", names}}));
  look_at_runs();
}

// Verdicts are taken from the records: what is said there is stored.
void Mqtt::State::look_at_runs() {
  try {
    if (told < 0) return take_up_verdicts();
    for (auto run = reader.ended_run(told + 1); run; run = reader.ended_run(++told + 1)) say(*run);
  } catch (const RecordsBroken&) {
    // The line says so.
  }
}

// The last verdict of each slot, whoever was told of it before.
void Mqtt::State::take_up_verdicts() {
  const std::int64_t last = reader.last_sequence();
  for (const auto& [name, slot] : slots) {
    if (const auto run = reader.last_ended(station, name)) say(*run);
  }
  told = last;
}

void Mqtt::State::say(const StoredRun& run) {
  const std::string slot = run.slot.value_or("");
  if (run.station == station && slots.contains(slot))
    retained.set(slot_topic(slot, "verdict"), verdict_json(run));
}

// An outage is one event.
void Mqtt::State::trouble(const std::string& why) {
  const bool is_event = reason.empty(), is_new = why != reason;
  reason = why;
  if (is_event) add_event("mqtt_failed", json_text({{"reason", why}}));
  if (is_new) log("mqtt: waiting: " + why);
  show("waiting");
}

void Mqtt::State::end_trouble() {
  show("connected");
  if (reason.empty()) return;
  reason.clear();
  add_event("mqtt_connected", {});
  log("mqtt: connected again");
}

void Mqtt::State::show(const std::string& state) {
  if (state == shown) return;
  shown = state;
  line.show_mqtt(state);
}

void Mqtt::State::add_event(std::string_view kind, const std::string& detail) {
  try {
    records.add_event(kind, {}, {}, {}, detail);
  } catch (const RecordsBroken&) {
    // The line says so; slots are told of all the same.
  }
}

// Returns false when the station ends. What happens meanwhile is looked at, so that little is left to do.
bool Mqtt::State::pause() {
  next_pause = std::clamp(next_pause * 2, kFirstTry, kLongestPause);
  const auto end = std::chrono::steady_clock::now() + next_pause;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
    if (left <= milliseconds(0)) return true;
    pollfd ending{stop.descriptor(), POLLIN, 0};
    poll(&ending, 1, static_cast<int>(std::min(left, kBetweenChecks).count()));
    if (ending.revents != 0) return false;
    look();
  }
}

Mqtt::Mqtt(const LineFile& file, Line& line, Records& records, std::function<void(const std::string&)> log)
    : state_(std::make_shared<State>(file, line, records, std::move(log))) {
  // The thread keeps what it needs, should it have to be left behind.
  std::thread([state = state_] {
    state->work();
    state->leaving.end();
  }).detach();
}

Mqtt::~Mqtt() {
  state_->stop.give();
  state_->leaving.leave(kFarewell);
}

void Mqtt::wake() {
  state_->news.give();
}

}  // namespace t1station
