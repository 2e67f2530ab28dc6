// A station is killed at a moment of its run; what its records say then is held against what others saw of
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"
#include "tests/kills/traced_program.h"
#include "tests/station/board_texts.h"
#include "tests/station/fake_board.h"
#include "tests/station/records_support.h"

namespace {

using namespace board_texts;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kPlan[] = R"(format = 1
name = "main-board"
version = "3"
serial = '[A-Z]{2}[0-9]{8}'
[[step]]
name = "clock"
test = "rtc"
attempts = 2
[[step]]
name = "temperature"
test = "temp"
[[step.measure]]
name = "degrees"
match = '(-?[0-9.]+)'
low = 10.0
high = 60.0
[[step]]
name = "again"
test = "rtc"
)";

const json kOutcomes{"failed", "passed", "passed", "passed"};

/// What is kept before a station begins that is to be killed.
enum class Before {
  nothing,
  run_without_end  ///< that a killed station left
};

/// A run of a unit, as it was seen from outside.
struct Seen {
  Traced station;
  std::vector<std::string> requests;  ///< for tests, that the board got

  /// Results that stand on the operator's screen, each in a line behind "[1/3]".
  std::size_t shown() const {
    return static_cast<std::size_t>(std::count(station.err.begin(), station.err.end(), '['));
  }
};

/// The attempts of a run that have an end, in their order.
std::vector<json> ended_attempts(const json& run) {
  std::vector<json> ended;
  std::ranges::copy_if(run.at("attempts"), std::back_inserter(ended),
                       [](const json& attempt) { return !attempt.at("outcome").is_null(); });
  return ended;
}

/// The call with which a station asks its board in the middle of a run; before it, a sanitizer makes calls of
/// its own.
std::size_t middle_request(const std::vector<Call>& calls) {
  std::vector<std::size_t> requests;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (calls[i].name == "sendto") requests.push_back(i);
  }
  return requests.at(requests.size() / 2);
}

class KilledStationTest : public testing::Test {
 protected:
  KilledStationTest() {
    records_support::write(plan_, kPlan);
    const std::size_t asking = middle_request(run_unit("AB00000001").station.calls);
    start_anew();
    EXPECT_EQ(run_unit("AB00000001", KillAt{asking}).station.exit_status, 128 + SIGKILL);
    EXPECT_EQ(runs().at(0).at("verdict"), nullptr);
    std::filesystem::create_directory(left_);
    for (const std::string& suffix : kSuffixes)
      std::filesystem::rename(file_ + suffix, left_ + "/records.db" + suffix);
  }

  /// Kills a station at that moment and looks at everything that is left of it.
  void expect_truth_behind(Before before, const KillAt& kill, const Call& call) {
    SCOPED_TRACE((kill.is_before ? "killed before call " : "killed behind call ") +
                 std::to_string(kill.call) + ", " + call.name + " " + call.on + ", and " +
                 std::to_string(kill.instructions) + " instructions; " +
                 (before == Before::nothing ? "new records" : "records of a killed station"));
    begin(before);
    const Seen killed = run_unit("AB00000002", kill);
    ASSERT_EQ(killed.station.exit_status, 128 + SIGKILL);
    const std::vector<json> kept = runs();
    const auto of_killed =
        std::ranges::find(kept, "AB00000002", [](const json& run) { return run.at("serial"); });
    if (of_killed == kept.end()) {
      EXPECT_THAT(killed.requests, IsEmpty()) << "a board was asked, and nothing is kept of it";
      EXPECT_EQ(killed.station.out + killed.station.err, "");
    } else {
      expect_kept(killed, *of_killed);
    }
    expect_next_start(kept);
  }

  /// The calls of a station that nobody kills.
  std::vector<Call> calls(Before before) {
    begin(before);
    const Traced whole = run_unit("AB00000002").station;
    EXPECT_EQ(whole.exit_status, 0) << whole.err;
    return whole.calls;
  }

 private:
  static inline const std::vector<std::string> kSuffixes{"", "-wal", "-shm"};

  void start_anew() const {
    for (const std::string& suffix : kSuffixes) std::filesystem::remove(file_ + suffix);
    std::filesystem::remove(file_ + "-journal");
    std::filesystem::remove(report_);
  }
  void begin(Before before) const {
    start_anew();
    if (before == Before::nothing) return;
    for (const std::string& suffix : kSuffixes)
      std::filesystem::copy(left_ + "/records.db" + suffix, file_ + suffix);
  }

  /// A unit's way through the plan, on a board whose clock fails once.
  Seen run_unit(const std::string& serial, const std::optional<KillAt>& kill = std::nullopt) {
    FakeBoard board(
        {{sends(greeting()), hears(), sends(reply(1536, rtc_name_gbk, "Fail", read_failed_gbk)), hears(),
          sends(rtc_pass()), hears(), sends(reply(7426, light_name_gbk, "Pass", "35.25")), hears(),
          sends(rtc_pass()), hears()}});
    Seen seen{run_traced({T1STATION_PROGRAM, board.address(), "run", "--plan", plan_, "--serial", serial,
                          "--records", file_, "--json", report_, "--quiet"},
                         kill),
              board.requests()};
    std::erase(seen.requests, request(62208).substr(4));  // taking leave
    return seen;
  }

  /// All runs as another process finds them, the oldest first; none where there are no records yet.
  std::vector<json> runs() const {
    std::vector<json> found;
    Child reader({T1STATION_PROGRAM, "records", "export", file_, "--format", "jsonl"});
    std::istringstream lines(reader.rest());
    for (std::string line; std::getline(lines, line);) found.push_back(json::parse(line));
    return found;
  }
  void expect_sound() const {
    Child check({T1STATION_PROGRAM, "records", "check", file_});
    EXPECT_EQ(check.exit_status(), 0) << check.rest() << check.err();
  }

  /// What the board got and what was shown is in the run, and a pass is there only with all that makes one.
  void expect_kept(const Seen& killed, const json& run) const {
    expect_sound();
    const json& attempts = run.at("attempts");
    ASSERT_LE(killed.requests.size(), attempts.size()) << "sent, and not stored";
    for (std::size_t i = 0; i < killed.requests.size(); ++i)
      EXPECT_EQ(attempts.at(i).at("request"), killed.requests[i]);
    const std::vector<json> ended = ended_attempts(run);
    EXPECT_LE(killed.shown(), ended.size()) << "shown, and not stored: " << killed.station.err;
    for (std::size_t i = 0; i < ended.size(); ++i) EXPECT_EQ(ended[i].at("outcome"), kOutcomes.at(i));
    if (run.at("verdict").is_null()) {
      EXPECT_EQ(killed.station.out, "") << "a verdict was shown, and not stored";
      EXPECT_FALSE(std::filesystem::exists(report_));
    } else {
      EXPECT_EQ(run.at("verdict"), "passed");
      EXPECT_EQ(ended.size(), kOutcomes.size());
      EXPECT_EQ(killed.requests.size(), kOutcomes.size());
    }
  }

  /// The next station ends what has no end, changes nothing else, and works.
  void expect_next_start(const std::vector<json>& kept) {
    const Seen next = run_unit("AB00000003");
    EXPECT_EQ(next.station.exit_status, 0) << next.station.err;
    expect_sound();
    const std::vector<json> now = runs();
    ASSERT_EQ(now.size(), kept.size() + 1);
    EXPECT_EQ(now.back().at("verdict"), "passed");
    for (std::size_t i = 0; i < kept.size(); ++i) {
      if (!kept[i].at("verdict").is_null()) {
        EXPECT_EQ(now[i], kept[i]);
        continue;
      }
      EXPECT_EQ(now[i].at("verdict"), "interrupted");
      const json& attempts = kept[i].at("attempts");
      ASSERT_EQ(now[i].at("attempts").size(), attempts.size());
      for (std::size_t k = 0; k < attempts.size(); ++k) {
        const json& attempt = now[i].at("attempts").at(k);
        if (attempts.at(k).at("outcome").is_null()) {
          EXPECT_EQ(attempt.at("outcome"), "interrupted");
        } else {
          EXPECT_EQ(attempt, attempts.at(k));
        }
      }
    }
  }

  /// In memory, where the PC has such a folder: who is killed leaves there what he leaves on a disk, and a
  /// sync, of which these tests make thousands, waits for nobody else's.
  const OwnDirectory directory_{std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                                    : std::filesystem::temp_directory_path()};
  const std::string plan_ = directory_.file("plan.toml"), file_ = directory_.file("records.db"),
                    report_ = directory_.file("report.json"), left_ = directory_.file("left");
};

/// Whether a request, a line on the screen or a verdict goes out with this call.
bool goes_out(const Call& call) {
  return call.name == "sendto" || call.on == "stdout" || call.on == "stderr";
}

TEST_F(KilledStationTest, NothingGoesOutBeforeWhatWasWrittenIsSynced) {
  std::string unsynced;
  std::size_t outgoing = 0;
  for (const Call& call : calls(Before::nothing)) {
    if (call.name == "pwrite64" && (call.on == "records.db" || call.on == "records.db-wal"))
      unsynced = call.on;
    if (call.name == "fdatasync" && call.on == unsynced) unsynced.clear();
    if (!goes_out(call)) continue;
    EXPECT_EQ(unsynced, "") << call.name << " to " << call.on;
    ++outgoing;
  }
  EXPECT_GT(outgoing, 9U) << "four requests and their results, and the verdict";
}

TEST_F(KilledStationTest, AroundAllThatIsStoredOrGoesOutNothingIsSaidThatIsNotStored) {
  const std::vector<Call> all = calls(Before::nothing);
  int kills = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!goes_out(all[i]) && all[i].name == "pwrite64") continue;
    // A line on the screen is written in pieces.
    const bool is_first = i == 0 || all[i - 1].on != "stderr" || all[i].on != "stderr";
    const bool is_last = i + 1 == all.size() || all[i + 1].on != "stderr" || all[i].on != "stderr";
    for (const bool is_before : {true, false}) {
      if (!(is_before ? is_first : is_last)) continue;
      expect_truth_behind(Before::nothing, {i, is_before}, all[i]);
      ++kills;
    }
  }
  RecordProperty("kills", kills);
  EXPECT_GT(kills, 80);
}

using KilledAnytimeTest = KilledStationTest;

/// As many as the environment variable BOARDTEST_KILLS says.
TEST_F(KilledAnytimeTest, NothingIsSaidThatIsNotStored) {
  const char* const wanted = std::getenv("BOARDTEST_KILLS");
  const int kills = wanted == nullptr ? 30 : std::stoi(wanted);
  std::mt19937_64 random(20261122);
  const auto below = [&random](std::size_t end) { return static_cast<std::size_t>(random() % end); };
  const std::map<Before, std::vector<Call>> all{{Before::nothing, calls(Before::nothing)},
                                                {Before::run_without_end, calls(Before::run_without_end)}};
  for (int i = 0; i < kills; ++i) {
    const Before before = below(2) == 0 ? Before::nothing : Before::run_without_end;
    KillAt kill{below(all.at(before).size()), below(4) == 0};
    if (!kill.is_before) kill.instructions = below(std::size_t{1} << below(14));
    expect_truth_behind(before, kill, all.at(before).at(kill.call));
  }
}

}  // namespace
