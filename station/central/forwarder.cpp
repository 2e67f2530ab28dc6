#include "station/central/forwarder.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <optional>
#include <thread>

#include "station/central/address.h"
#include "station/central/delivery.h"
#include "station/central/leaving.h"
#include "station/central/signal.h"
#include "station/text/json.h"

namespace t1station {
namespace {

using std::chrono::milliseconds;

// How long a thread may take that looks up a name, which nothing can end.
constexpr auto kLastPatience = std::chrono::seconds(1);

}  // namespace

struct Forwarder::State {
  State(const std::string& to_url, const std::string& file, Records& to_records, Told to_tell,
        const ForwarderTimes& with_times)
      : url(to_url), outbox(file), records(to_records), told(std::move(to_tell)), times(with_times) {
    there = outbox.last_forwarded();
    shown = {"waiting", outbox.last_run() - there};
    told.state(shown);
  }

  void work();
  void deliver();
  void trouble(const std::string& reason, bool is_refusal);
  void end_trouble();
  void show(const std::string& state);
  void pause();

  const std::string url;
  Outbox outbox;
  Records& records;
  const Told told;
  const ForwarderTimes times;
  const Signal stop, news;

  std::int64_t there = 0;  // sequence of the last run that is known to be there
  CentralState shown;
  std::string reason;        // of the outage; empty: none
  bool was_refused = false;  // in this outage
  milliseconds next_pause{0};

  Leaving leaving;
};

void Forwarder::State::work() {
  try {
    for (;;) {
      try {
        deliver();
      } catch (const CentralTrouble& error) {
        trouble(error.what(), error.is_refusal());
      } catch (const RecordsRefused& error) {
        trouble(error.what(), true);
      } catch (const SqlError& error) {
        trouble("the records cannot be read: " + std::string(error.what()), true);
      }
      pause();
    }
  } catch (const CentralStopped&) {
    // As was asked for.
  } catch (const LeftBehind&) {
    // It hung in its last call.
  } catch (const RecordsBroken&) {
    // The line says so, and stores nothing more.
  } catch (const std::exception& error) {
    told.log("central database: nothing is sent any more: " + std::string(error.what()));
  }
}

// Ends by an exception only.
void Forwarder::State::deliver() {
  std::optional<Postgres> database;
  // What looks up the host's name may hang for longer than the station may take to end.
  leaving.may_hang([&] { database.emplace(url, times.patience, stop.descriptor()); });
  Delivery delivery(outbox, *database, records);
  if (delivery.runs() < there) {
    told.log("central database: it has lost " + std::to_string(there - delivery.runs()) +
             " runs, which are sent again");
  }
  for (;;) {
    news.take();
    bool is_more = false;
    try {
      is_more = delivery.send_some();
    } catch (const CentralTrouble&) {
      there = delivery.runs();
      throw;
    }
    there = delivery.runs();
    end_trouble();
    show("connected");
    if (!is_more) database->rest(news.descriptor());
  }
}

void Forwarder::State::show(const std::string& state) {
  CentralState now{state, shown.behind};
  try {
    now.behind = std::max<std::int64_t>(outbox.last_run() - there, 0);
  } catch (const SqlError&) {
    // The next try says so.
  }
  if (now == shown) return;
  shown = now;
  told.state(shown);
}

// An outage is one event, and a second one when the database first was out of reach and then refuses.
void Forwarder::State::trouble(const std::string& why, bool is_refusal) {
  const bool is_event = reason.empty() || (is_refusal && !was_refused), is_new = why != reason;
  reason = why;
  was_refused = was_refused || is_refusal;
  if (is_event) {
    records.add_event("central_waiting", {}, {}, {}, json_text({{"reason", why}}));
  }
  if (is_new) told.log("central database: waiting: " + why);
  show("waiting");
}

void Forwarder::State::end_trouble() {
  next_pause = milliseconds(0);
  if (reason.empty()) return;
  reason.clear();
  was_refused = false;
  records.add_event("central_connected", {}, {}, {}, {});
  told.log("central database: connected again");
}

// What is behind is counted all the while.
void Forwarder::State::pause() {
  next_pause = std::clamp(next_pause * 2, times.first_pause, times.longest_pause);
  const auto end = std::chrono::steady_clock::now() + next_pause;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now()).count();
    if (left <= 0) return;
    std::array<pollfd, 2> items{{{stop.descriptor(), POLLIN, 0}, {news.descriptor(), POLLIN, 0}}};
    poll(items.data(), items.size(), static_cast<int>(left));
    if (items[0].revents != 0) throw CentralStopped();
    if (items[1].revents == 0) continue;
    news.take();
    show("waiting");
  }
}

Forwarder::Forwarder(const std::string& url, const std::string& file, Records& records, Told told,
                     const ForwarderTimes& times) {
  check_central_url(url);
  state_ = std::make_shared<State>(url, file, records, std::move(told), times);
  // The thread keeps what it needs, should it have to be left behind.
  std::thread([state = state_] {
    state->work();
    state->leaving.end();
  }).detach();
}

Forwarder::~Forwarder() {
  state_->stop.give();
  state_->leaving.leave(kLastPatience);
}

void Forwarder::wake() {
  state_->news.give();
}

}  // namespace t1station
