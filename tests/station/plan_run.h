// A unit on its way through a plan, over scripted connections, kept in real records. Time is the script's.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/plan/plan_file.h"
#include "station/run/runner.h"
#include "tests/harness/own_directory.h"
#include "tests/station/board_texts.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"

/// What happened in a run, in its order: "store ..." for the journal, "hear ..." for a listener, "send ..."
/// for what goes to the board. `at` is called with each line, at that moment.
struct Diary {
  void write(const std::string& line) {
    lines.push_back(line);
    if (at) at(line);
  }
  std::vector<std::string> lines;
  std::function<void(const std::string& line)> at;
};

/// Keeps a diary of what another journal stores.
class DiaryJournal final : public t1station::Journal {
 public:
  DiaryJournal(t1station::Journal& kept, Diary& diary) : kept_(kept), diary_(diary) {}

  void connected(std::string_view build) override {
    diary_.write("store connection");
    kept_.connected(build);
  }
  void attempt_starts(t1station::NewAttempt attempt) override {
    diary_.write("store start of " + attempt.step + " " + std::to_string(attempt.number));
    kept_.attempt_starts(std::move(attempt));
  }
  void attempt_ended(const t1station::AttemptEnd& end) override {
    diary_.write("store " + std::string(attempt_outcome_name(end.outcome)));
    kept_.attempt_ended(end);
  }
  void run_ended(const t1station::RunEnd& end) override {
    diary_.write("store verdict");
    kept_.run_ended(end);
  }

 private:
  t1station::Journal& kept_;
  Diary& diary_;
};

/// Writes what it hears into the diary.
class DiaryListener final : public t1station::Listener {
 public:
  explicit DiaryListener(Diary& diary) : diary_(diary) {}

  void notice(const std::string& /*text*/) override {}
  void waiting(const std::string& /*reason*/, double elapsed) override {
    if (on_tick) on_tick(elapsed);
  }
  void on(const t1station::RunEvent& event) override {
    using namespace t1station;
    if (std::holds_alternative<Connected>(event)) diary_.write("hear connection");
    if (const auto* started = std::get_if<AttemptStarted>(&event))
      diary_.write("hear start of " + started->step.name + " " + std::to_string(started->number));
    if (const auto* ended = std::get_if<AttemptEnded>(&event))
      diary_.write("hear " + std::string(outcome_name(ended->result.outcome)));
    if (const auto* ended = std::get_if<StepEnded>(&event)) diary_.write("hear end of " + ended->step.name);
    if (const auto* tick = std::get_if<AttemptTicked>(&event); tick && on_tick) on_tick(tick->elapsed);
    if (const auto* awaited = std::get_if<AnswerAwaited>(&event); awaited && on_awaiting)
      on_awaiting(awaited->left);
  }

  std::function<void(double elapsed)> on_tick;
  std::function<void(double left)> on_awaiting;

 private:
  Diary& diary_;
};

/// Scripted connections as the station's own behave when a person stops the run: every wait ends.
class StoppableConnector final : public t1station::Connector {
 public:
  StoppableConnector(ScriptedConnector& script, const t1station::Interrupt& interrupt, Diary& diary)
      : script_(script), interrupt_(interrupt), diary_(diary) {}

  std::unique_ptr<t1station::Link> connect() override {
    if (interrupt_.is_raised()) throw t1station::LinkError("interrupted");
    return std::make_unique<StoppableLink>(script_.connect(), interrupt_, diary_);
  }
  void pause(double seconds) override {
    script_.pause(seconds);
    if (interrupt_.is_raised()) throw t1station::Interrupted();
  }

 private:
  class StoppableLink final : public t1station::Link {
   public:
    StoppableLink(std::unique_ptr<t1station::Link> link, const t1station::Interrupt& interrupt, Diary& diary)
        : link_(std::move(link)), interrupt_(interrupt), diary_(diary) {}
    void send(std::string_view bytes) override {
      diary_.write("send " + std::string(bytes == board_texts::request(62208) ? "quit" : "request"));
      link_->send(bytes);
    }
    t1station::Received receive(double seconds) override {
      if (interrupt_.is_raised()) return {t1station::Received::Kind::interrupted, {}, {}};
      return link_->receive(seconds);
    }

   private:
    std::unique_ptr<t1station::Link> link_;
    const t1station::Interrupt& interrupt_;
    Diary& diary_;
  };

  ScriptedConnector& script_;
  const t1station::Interrupt& interrupt_;
  Diary& diary_;
};

/// A plan's step with the test of the clock.
inline std::string step_text(const std::string& name, const std::string& rest = "") {
  return "[[step]]\nname = \"" + name + "\"\ntest = \"rtc\"\ntimeout = 20\n" + rest + "\n";
}

class PlanRun : public testing::Test {
 protected:
  using Answers = std::vector<std::vector<Event>>;

  /// The next connection greets and then gives these answers; behind the last one nobody is there.
  void connection(const Answers& answers, const std::string& greeting = board_texts::greeting()) {
    starts_.push_back({bytes_after(0, greeting)});
    answers_.push_back(answers);
  }

  /// Takes a unit through a plan of these steps, and stores its verdict.
  void run(const std::string& steps, const std::string& head = "") {
    const t1station::Plan plan = t1station::parse_plan(
        "p.toml", "format = 1\nname = \"main-board\"\nversion = \"3\"\nserial = '.*'\n" + head + steps);
    t1station::Records records(file_, vfs_);
    const std::string id = records.begin_run(records_support::unit("VX00000001"), plan);
    t1station::RecordsJournal kept(records, id, "192.0.2.7:36001");
    DiaryJournal journal(kept, diary_);
    script_ = std::make_unique<ScriptedConnector>(clock_, starts_, answers_);
    StoppableConnector connector(*script_, interrupt_, diary_);
    t1station::RunSettings settings;
    settings.patience.absence = 60;
    settings.one_build = true;
    settings.build = plan.build;
    t1station::Runner runner(connector, clock_, interrupt_, listener_, journal, slot_, settings);
    results_ = runner.run(plan.steps);
    ended_ = kept.ended();
  }

  /// The run as it stands in the file now, read over a connection of its own.
  t1station::StoredRun stored() const { return records_support::runs_of(file_).at(0); }
  t1station::StoredAttempt last_attempt() const { return stored().attempts.back(); }
  /// "STEP NUMBER OUTCOME" of each attempt that is stored.
  std::vector<std::string> attempts() const {
    std::vector<std::string> lines;
    for (const t1station::StoredAttempt& attempt : stored().attempts) {
      lines.push_back(attempt.step + " " + std::to_string(attempt.number) + " " +
                      attempt.outcome.value_or("-"));
    }
    return lines;
  }
  std::string verdict() const { return std::string(verdict_name(ended_.verdict)); }
  std::size_t connections() const { return script_->links.size(); }
  /// How many requests for tests went out, over all connections.
  std::ptrdiff_t requests() const {
    return std::count(diary_.lines.begin(), diary_.lines.end(), "send request");
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  std::string vfs_;  ///< that the records are written through; empty: the usual one
  ManualClock clock_;
  t1station::Interrupt interrupt_;
  Diary diary_;
  DiaryListener listener_{diary_};
  t1station::Slot slot_;
  std::vector<std::vector<Event>> starts_;
  std::vector<Answers> answers_;
  std::unique_ptr<ScriptedConnector> script_;
  std::vector<t1station::Result> results_;
  t1station::EndedRun ended_;
};
