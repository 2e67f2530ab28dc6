// The finished line with a central database: what it shows, and that neither of the two holds up or loses the
// other.
#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <random>

#include "tests/central/central_station.h"
#include "tests/station/web_client.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// A line of two slots at whose boards nobody is: each run ends in error at once.
class CentralLineTest : public CentralTest {
 protected:
  CentralLineTest() { records_support::write(path("plan.toml"), records_support::plan_text()); }

  std::string path(const std::string& name) const { return directory_.file(name); }
  void write_line(const std::string& central) {
    std::string text =
        "[station]\nname = \"ICT-3\"\nrecords = \"records.db\"\nlisten = \"127.0.0.1:0\"\n"
        "board_wait = 0.001\n";
    for (const std::string name : {"1", "2"}) {
      text += "[[slot]]\nname = \"" + name + "\"\nboard = \"127.0.0.1:1\"\nplan = \"plan.toml\"\n";
    }
    records_support::write(path("line.toml"), text + "[central]\npostgresql = \"" + central + "\"\n");
  }
  void start() {
    line_ = std::make_unique<Child>(std::vector<std::string>{T1STATION_PROGRAM, "line", path("line.toml")});
    const std::string said = line_->next_line("its address");
    const std::size_t colon = said.rfind(':');
    port_ = said.substr(colon + 1, said.size() - colon - 2);
  }
  nlohmann::json document() const { return nlohmann::json::parse(ask(port_, "GET", "/api/line").body); }
  std::string metrics() const { return ask(port_, "GET", "/metrics").body; }
  /// Waits until that is said of the central database.
  void await_central(const nlohmann::json& wanted) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (document()["central"] != wanted && std::chrono::steady_clock::now() < end) continue;
    EXPECT_EQ(document()["central"], wanted);
  }
  /// Waits until so many runs are there.
  void await_runs(int count) const {
    const std::string runs = "SELECT count(*) FROM run", wanted = std::to_string(count);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (sql(runs) != wanted && std::chrono::steady_clock::now() < end) continue;
    EXPECT_EQ(sql(runs), wanted);
  }
  /// Scans so many units as they fit in.
  void scan(int count) {
    const std::string fields = "Content-Type: application/json\r\n";
    for (int taken = 0; taken < count;) {
      for (const std::string slot : {"1", "2"}) {
        ask(port_, "POST", "/api/slots/" + slot + "/acknowledge", "{}", fields);
      }
      const std::string serial = "AB" + std::to_string(200000000 + ++units_).substr(1);
      if (ask(port_, "POST", "/api/scan", R"({"text": ")" + serial + "\"}", fields).status == 200) ++taken;
    }
  }
  std::vector<std::string> column(const std::string& query) const {
    return records_support::column(path("records.db"), query);
  }

  std::unique_ptr<Child> line_;

 private:
  const OwnDirectory directory_;
  std::string port_;
  int units_ = 0;
};

TEST_F(CentralLineTest, ItShowsHowFarTheDatabaseIsAndGoesOnWithoutIt) {
  write_line(url());
  start();
  scan(1);
  await_runs(1);
  await_central({{"state", "connected"}, {"behind", 0}});
  server().stop();
  await_central({{"state", "waiting"}, {"behind", 0}});
  scan(2);
  await_central({{"state", "waiting"}, {"behind", 2}});
  EXPECT_THAT(metrics(), HasSubstr("\nboardtest_central_behind 2\n"));
  server().start();
  await_central({{"state", "connected"}, {"behind", 0}});
  EXPECT_EQ(sql("SELECT count(*) FROM run"), "3");
  line_->terminate();
  EXPECT_EQ(line_->exit_status(), 0);
}

TEST_F(CentralLineTest, ItEndsInTimeWhileItsDatabaseHangs) {
  SwallowingNetwork network(server().port());
  network.swallow(true);
  write_line(server().url_at(network.port(), database, "maker"));
  start();
  scan(1);
  line_->terminate();
  EXPECT_EQ(line_->exit_status(), 0);
}

/// As many as a tenth of what the environment variable BOARDTEST_CENTRAL_KILLS says.
TEST_F(CentralLineTest, NothingIsLostOrDoubledWhenTheLineAndTheServerAreKilled) {
  const char* const wanted = std::getenv("BOARDTEST_CENTRAL_KILLS");
  const int kills = wanted == nullptr ? 2 : std::max(std::stoi(wanted) / 10, 1);
  std::mt19937_64 random(20261122);
  write_line(url());
  start();
  for (int kill = 0; kill < kills; ++kill) {
    scan(static_cast<int>(1 + random() % 8));
    if (random() % 2 == 0) server().kill();
    scan(static_cast<int>(random() % 3));
    line_->signal(SIGKILL);
    line_->exit_status();
    start();
    server().start();
  }
  await_central({{"state", "connected"}, {"behind", 0}});
  line_->terminate();
  EXPECT_EQ(line_->exit_status(), 0);
  EXPECT_EQ(findings(), std::vector<std::string>{});
  const std::string runs = "SELECT string_agg(id || hash, ',' ORDER BY sequence) FROM run";
  EXPECT_EQ(
      sql(runs),
      column("SELECT group_concat(id || hash, ',') FROM (SELECT * FROM run ORDER BY sequence)").front());
}

TEST_F(CentralLineTest, ABadUrlIsSaidWithItsPlaceAndWithoutItsPassword) {
  write_line("postgresql://line:geheim@db/boards");
  for (const std::vector<std::string>& words : {std::vector<std::string>{"line", "check"}, {"line"}}) {
    std::vector<std::string> command{T1STATION_PROGRAM};
    command.insert(command.end(), words.begin(), words.end());
    command.push_back(path("line.toml"));
    Child child(command);
    EXPECT_EQ(child.exit_status(), 4);
    EXPECT_THAT(child.err(), AllOf(HasSubstr("line.toml:15:14: a password in the URL would be seen"),
                                   Not(HasSubstr("geheim"))));
  }
}

}  // namespace
