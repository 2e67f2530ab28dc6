#include "station/app/line_command.h"

#include "station/app/exit_code.h"
#include "station/app/footers.h"

#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <system_error>

#include "station/central/forwarder.h"
#include "station/line/line.h"
#include "station/line/plan_set.h"
#include "station/plant/hook.h"
#include "station/plant/mqtt.h"
#include "station/plant/mqtt_check.h"
#include "station/records/place.h"
#include "station/records/records.h"
#include "station/text/errors.h"
#include "station/text/text.h"
#include "station/web/web_server.h"

namespace t1station {
namespace {

/// Passes on that the line has changed, once there is somebody who wants to know.
class Forwarding {
 public:
  /// As long as it is there, who wants to know is: whatever ends this, they are told no more.
  class Lasting {
   public:
    explicit Lasting(Forwarding& forwarding) : forwarding_(forwarding) {}
    ~Lasting() { forwarding_.end(); }
    Lasting(const Lasting&) = delete;
    Lasting& operator=(const Lasting&) = delete;

   private:
    Forwarding& forwarding_;
  };

  void operator()() {
    const std::lock_guard lock(mutex_);
    if (server_) server_->changed();
    if (central_) central_->wake();
    if (hook_) hook_->wake();
    if (mqtt_) mqtt_->wake();
  }
  void go_to(WebServer* server) {
    const std::lock_guard lock(mutex_);
    server_ = server;
  }
  void go_to(Forwarder* central) {
    const std::lock_guard lock(mutex_);
    central_ = central;
  }
  void go_to(Hook* hook) {
    const std::lock_guard lock(mutex_);
    hook_ = hook;
  }
  void go_to(Mqtt* mqtt) {
    const std::lock_guard lock(mutex_);
    mqtt_ = mqtt;
  }
  void end() {
    const std::lock_guard lock(mutex_);
    server_ = nullptr;
    central_ = nullptr;
    hook_ = nullptr;
    mqtt_ = nullptr;
  }

 private:
  std::mutex mutex_;
  WebServer* server_ = nullptr;
  Forwarder* central_ = nullptr;
  Hook* hook_ = nullptr;
  Mqtt* mqtt_ = nullptr;
};

void complain(const Environment& around, const std::string& text) {
  around.err << "t1station: " << text << std::endl;
}

int refuse(const Environment& around, const BadFile& bad) {
  for (const std::string& problem : bad.lines()) around.err << problem << "\n";
  around.err << std::flush;
  return exit_code::kUsage;
}

// What the line's file asks of this PC, as far as it can be looked at before anything is served.
void check_interfaces(const LineFile& file) {
  for (const SlotFile& slot : file.slots) {
    if (slot.interface.empty()) continue;
    const std::string trouble = trouble_with_interface(slot.interface);
    if (!trouble.empty()) throw UsageError("slot " + slot.name + ": " + trouble);
  }
}

void wait_for_the_end(const Interrupt& interrupt) {
  pollfd item{interrupt.descriptor(), POLLIN, 0};
  while (!interrupt.is_raised()) poll(&item, 1, -1);
}

int serve(const LineFile& file, const Environment& around) {
  check_interfaces(file);
  check_web(file);
  check_mqtt(file);
  Records records(file.records);
  Forwarding forwarding;
  std::mutex log_mutex;
  const auto log = [&](const std::string& event) {
    const std::lock_guard lock(log_mutex);
    around.err << event << std::endl;
  };
  Line line(
      file, records, [&forwarding] { forwarding(); }, steady_clock(), log);
  WebServer server(file, line, file.records);
  std::optional<Hook> hook;
  std::optional<Mqtt> mqtt;
  std::optional<Forwarder> central;
  const Forwarding::Lasting lasting(forwarding);
  forwarding.go_to(&server);
  if (file.hook) forwarding.go_to(&hook.emplace(*file.hook, file.records, records, log));
  if (file.mqtt) forwarding.go_to(&mqtt.emplace(file, line, records, log));
  if (!file.central.empty()) {
    const Forwarder::Told told{[&line](const CentralState& state) { line.show_central(state); }, log};
    central.emplace(file.central, file.records, records, told);
    forwarding.go_to(&*central);
  }
  around.out << "listening on " << server.address() << std::endl;
  wait_for_the_end(around.interrupt);
  const bool has_ended = line.shut_down();
  forwarding.end();
  hook.reset();
  mqtt.reset();
  central.reset();
  const int code = line.view().records == "ok" ? exit_code::kPassed : exit_code::kBroken;
  if (has_ended) return code;
  log("a run has not ended in time; the next start will end it as interrupted");
  std::_Exit(code);  // its thread cannot be waited for
}

int run_line(const std::string& path, const Environment& around) {
  try {
    return serve(read_line_file(path), around);
  } catch (const BadFile& bad) {
    return refuse(around, bad);
  } catch (const RecordsRefused& refused) {
    complain(around, refused.what());
    return exit_code::kUsage;
  } catch (const RecordsBroken& broken) {
    complain(around, broken.what());
  } catch (const std::system_error& error) {
    complain(around, error.what());
  }
  return exit_code::kBroken;
}

/// Looks at everything, whatever is wrong with the first of it.
class FileCheck {
 public:
  explicit FileCheck(const Environment& around) : around_(around) {}

  int check(const std::string& path) {
    try {
      std::vector<FileProblem> problems;
      const LineFile file = read_line_file(path, problems);
      if (!problems.empty()) code_ = refuse(around_, BadFile(path, problems));
      for (const SlotFile& slot : file.slots) check_slot(file, slot);
      collect(path, [&] { check_web(file); });
      collect(path, [&] { check_mqtt(file); });
      collect(path, [&] { check_interfaces(file); });
      if (!file.records.empty()) collect(path, [&] { check_writable_records(file.records); });
      if (code_ == exit_code::kPassed) show(file);
    } catch (const BadFile& bad) {
      code_ = refuse(around_, bad);
    }
    return code_;
  }

 private:
  void check_slot(const LineFile& file, const SlotFile& slot) {
    const PlanSet plans = read_plan_set(slot, file.path, {});
    for (const std::string& trouble : plans.trouble) {
      if (!said_.insert(trouble).second) continue;  // slots share plans
      around_.err << trouble << std::endl;
      code_ = exit_code::kUsage;
    }
  }

  // What has no place of its own in the file is said of its first line.
  template <typename Checking>
  void collect(const std::string& path, const Checking& checking) {
    try {
      checking();
    } catch (const BadFile& bad) {
      code_ = refuse(around_, bad);
    } catch (const std::runtime_error& error) {
      code_ = refuse(around_, BadFile(path, {{1, 1, error.what()}}));
    }
  }

  void show(const LineFile& file) const {
    around_.out << clean_text(file.path) << ": station " << clean_text(file.station) << ", records in "
                << clean_text(file.records) << "\n";
    for (const SlotFile& slot : file.slots) {
      around_.out << "slot " << slot.name << ": board " << slot.board.text();
      if (!slot.interface.empty()) around_.out << " through " << slot.interface;
      for (const std::shared_ptr<const Plan>& plan : read_plan_set(slot, file.path, {}).plans) {
        around_.out << ", plan " << plan->name << " version " << plan->version;
      }
      around_.out << "\n";
    }
  }

  const Environment& around_;
  std::set<std::string> said_;
  int code_ = exit_code::kPassed;
};

}  // namespace

void add_line_command(CLI::App& app, Action& action) {
  CLI::App* line = app.add_subcommand("line", "Test many boards side by side, with a page for the operator");
  const auto file = std::make_shared<std::string>();
  line->add_option("FILE", *file, "The line: a TOML file (docs/line.md)");
  line->footer(footers::kLine);
  const auto checked = std::make_shared<std::string>();
  CLI::App* check = line->add_subcommand("check", "Say what is wrong with a line, its plans, users and keys");
  check->add_option("FILE", *checked, "The line: a TOML file")->required();
  check->footer(footers::kLineCheck);
  check->callback([&action, checked] {
    action = [checked](const Environment& around) { return FileCheck(around).check(*checked); };
  });
  line->callback([&action, line, file] {
    if (!line->get_subcommands().empty()) return;
    if (file->empty()) throw UsageError("which line? t1station line FILE");
    action = [file](const Environment& around) { return run_line(*file, around); };
  });
}

}  // namespace t1station
