#include "station/plant/hook.h"

#include <poll.h>

#include <array>
#include <chrono>
#include <exception>
#include <thread>

#include "station/central/signal.h"
#include "station/plant/command_run.h"
#include "station/records/reader.h"
#include "station/report/run_json.h"
#include "station/text/json.h"

namespace t1station {

struct Hook::State {
  State(const HookFile& with, const std::string& file, Records& to_records,
        std::function<void(const std::string&)> to_log)
      : hook(with), reader(file), records(to_records), log(std::move(to_log)), told(reader.last_sequence()) {}

  void work();
  void tell(const StoredRun& run);
  bool wait() const;

  const HookFile hook;
  RecordsReader reader;
  Records& records;
  const std::function<void(const std::string&)> log;
  std::int64_t told;  // sequence of the last run that the command was told of
  const Signal news, stop;
  std::thread thread;
};

// Returns whether there may be something to tell.
bool Hook::State::wait() const {
  std::array<pollfd, 2> items{{{news.descriptor(), POLLIN, 0}, {stop.descriptor(), POLLIN, 0}}};
  poll(items.data(), items.size(), -1);
  return items[1].revents == 0;
}

void Hook::State::work() {
  try {
    while (wait()) {
      news.take();
      // What is behind when the station ends is not told any more.
      for (auto run = reader.ended_run(told + 1); run; run = reader.ended_run(told + 1)) {
        tell(*run);
        ++told;
        pollfd ending{stop.descriptor(), POLLIN, 0};
        if (poll(&ending, 1, 0) > 0) return;
      }
    }
  } catch (const RecordsBroken&) {
    // The line says so, and stores nothing more.
  } catch (const std::exception& error) {
    log("hook: no run is told of any more: " + std::string(error.what()));
  }
}

void Hook::State::tell(const StoredRun& run) {
  const std::chrono::milliseconds patience(static_cast<std::int64_t>(hook.timeout * 1000));
  const std::string trouble = run_command(hook.command, run_json(run) + "\n", patience, stop.descriptor());
  if (trouble.empty()) return;
  records.add_event("hook_failed", run.slot.value_or(""), run.id, {},
                    json_text({{"serial", run.serial}, {"reason", trouble}}));
  log("hook: run " + run.id + ": " + trouble);
}

Hook::Hook(const HookFile& hook, const std::string& records_file, Records& records,
           std::function<void(const std::string&)> log)
    : state_(std::make_unique<State>(hook, records_file, records, std::move(log))) {
  state_->thread = std::thread([this] { state_->work(); });
}

Hook::~Hook() {
  state_->stop.give();
  state_->thread.join();
}

void Hook::wake() {
  state_->news.give();
}

}  // namespace t1station
