// What a station keeps comes into the central database once, whole and in order, whatever happens on the way.
#include <sched.h>
#include <sys/mount.h>

#include <cstdlib>
#include <fstream>
#include <random>

#include "tests/central/central_station.h"

namespace {

using t1station::CentralState;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using ForwarderTest = CentralTest;

std::string serial(int number) {
  return "AB" + std::to_string(100000000 + number).substr(1);
}

TEST_F(ForwarderTest, RunsAndEventsAreThereAsTheyAreInTheFileAndTheTablesWereMade) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001"});
  records_support::fail(station.records(), "AB00000002");
  station.records().add_event("acknowledge", "1", {}, "李", "{}");
  station.wake();
  await_all(station);
  station.await({"connected", 0});
  station.end();
  expect_the_same(station);
  EXPECT_THAT(station.events("central_waiting"), IsEmpty());
  EXPECT_EQ(records_support::column(station.file(), "SELECT count(*) FROM forwarded"),
            std::vector<std::string>{"2"});
}

TEST_F(ForwarderTest, ADatabaseThatComesLaterGetsAllAndTheOutageIsOneEvent) {
  server().stop();
  CentralStation station;
  station.pass({"AB00000001", "AB00000002"});
  station.begin(url());
  station.await_log("central database: waiting: ");
  station.pass({"AB00000003"});
  station.await({"waiting", 3});
  server().start();
  await_all(station);
  station.await({"connected", 0});
  station.end();
  expect_the_same(station);
  EXPECT_THAT(station.events("central_waiting"), ElementsAre(HasSubstr("refused")));
  EXPECT_THAT(station.events("central_connected"), SizeIs(1));
}

/// As many kills as the environment variable BOARDTEST_CENTRAL_KILLS says.
TEST_F(ForwarderTest, AServerThatIsKilledInTheMiddleLosesNothingAndDoublesNothing) {
  const char* const wanted = std::getenv("BOARDTEST_CENTRAL_KILLS");
  const int kills = wanted == nullptr ? 3 : std::stoi(wanted);
  constexpr int kRuns = 20;
  std::mt19937_64 random(20261122);
  CentralStation station;
  for (int kill = 0; kill < kills; ++kill) {
    station.begin(url());
    for (int run = 0; run < kRuns; ++run) station.pass({serial(kill * kRuns + run)});
    station.await_behind(static_cast<std::int64_t>(random() % kRuns));
    server().kill();
    // Sometimes the station begins afresh, too, and does not know what had arrived.
    if (random() % 2 == 0) {
      station.close();
      station.open();
      station.begin(url());
    }
    server().start();
    await_all(station);
    station.end();
  }
  expect_the_same(station);
  EXPECT_EQ(sql("SELECT count(*) FROM run"), std::to_string(kills * kRuns));
}

TEST_F(ForwarderTest, ARunThatIsRefusedHoldsUpThoseBehindItAndIsSaid) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001"});
  await_all(station);
  sql("ALTER TABLE run ADD CONSTRAINT no_such_unit CHECK (serial <> 'AB00000002')");
  station.pass({"AB00000002", "AB00000003"});
  station.await_log("no_such_unit");
  station.await({"waiting", 2});
  EXPECT_THAT(station.events("central_waiting"), ElementsAre(HasSubstr("violates check constraint")));
  sql("ALTER TABLE run DROP CONSTRAINT no_such_unit");
  await_all(station);
  station.end();
  expect_the_same(station);
}

/// A small disk at a folder of the server's, for this program and what it starts from now on: only root can
/// make one.
class SmallDisk {
 public:
  explicit SmallDisk(std::string folder) : folder_(std::move(folder)) {
    std::filesystem::create_directory(folder_);
    is_there_ = unshare(CLONE_NEWNS) == 0 && mount("", "/", "", MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=16m,mode=700,uid=65534,gid=65534") == 0;
  }
  ~SmallDisk() {
    if (is_there_) umount2(folder_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool is_there() const { return is_there_; }
  /// Something else takes all the room that is left, and gives it back.
  void fill() const {
    std::ofstream file(filler(), std::ios::binary);
    const std::string block(4096, 'x');
    while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) continue;
  }
  void make_room() const { std::filesystem::remove(filler()); }

 private:
  std::string filler() const { return folder_ + "/filler"; }
  std::string folder_;
  bool is_there_ = false;
};

TEST_F(ForwarderTest, ADiskWithoutRoomIsWaitedForUntilThereIsSome) {
  server().stop();  // what runs already does not see the disk
  const SmallDisk disk(server().file("small"));
  server().start();
  if (!disk.is_there()) GTEST_SKIP() << "only root can make a disk";
  ASSERT_EQ(sql("CREATE TABLESPACE small LOCATION '" + server().file("small") + "'"), "");
  ASSERT_EQ(server().sql("postgres", "ALTER DATABASE " + database + " SET TABLESPACE small"), "");
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001"});
  await_all(station);
  disk.fill();
  for (int unit = 2; unit < 40; ++unit) station.pass({"AB" + std::to_string(unit)});
  station.await_log("No space left on device");
  EXPECT_EQ(sql("SELECT count(*) FROM run WHERE (SELECT count(*) FROM attempt WHERE run_id = run.id) <> 2"),
            "0")
      << "half a run is there";
  disk.make_room();
  await_all(station);
  station.end();
  expect_the_same(station);
  EXPECT_EQ(server().sql("postgres", "ALTER DATABASE " + database + " SET TABLESPACE pg_default"), "");
  EXPECT_EQ(server().sql("postgres", "DROP TABLESPACE small"), "");
}

// As the server reports it, from a trigger, also where nobody can make a disk.
TEST_F(ForwarderTest, ADatabaseWhoseDiskIsFullIsWaitedForUntilItHasRoom) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001"});
  await_all(station);
  sql("CREATE FUNCTION full_disk() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
      "RAISE EXCEPTION 'could not extend file' USING ERRCODE = '53100'; END $$; "
      "CREATE TRIGGER full_disk BEFORE INSERT ON measurement EXECUTE FUNCTION full_disk()");
  station.pass({"AB00000002"});
  station.await_log("could not extend file");
  EXPECT_EQ(sql("SELECT count(*) FROM run"), "1") << "half a run is there";
  sql("DROP TRIGGER full_disk ON measurement");
  await_all(station);
  station.end();
  expect_the_same(station);
}

TEST_F(ForwarderTest, AChangedPasswordIsSaidAndTheNewOneIsTakenFromThePasswordFile) {
  CentralStation station;
  const std::string passwords = station.path("passwords");
  const auto write = [&](const std::string& password) {
    records_support::write(passwords, "127.0.0.1:*:*:locked:" + password + "\n");
    std::filesystem::permissions(passwords,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  };
  sql("ALTER ROLE locked PASSWORD 'old'; ALTER DATABASE " + database + " OWNER TO locked");
  write("old");
  station.begin(url("locked", "passfile=" + passwords));
  station.pass({"AB00000001"});
  await_all(station);
  sql("ALTER ROLE locked PASSWORD 'new'");
  server().kill();
  server().start();
  station.pass({"AB00000002"});
  station.await_log("password authentication failed");
  write("new");
  await_all(station);
  station.end();
  expect_the_same(station);
}

TEST_F(ForwarderTest, ANewerSchemaIsNotWrittenTo) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001"});
  await_all(station);
  // The version is looked at with each connection, and a station connects as soon as it can.
  sql("INSERT INTO boardtest_schema VALUES (2)");
  server().stop();
  server().start();
  station.pass({"AB00000002"});
  station.await_log("made by a newer t1station");
  station.await({"waiting", 1});
  sql("DELETE FROM boardtest_schema WHERE version = 2");
  await_all(station);
  station.end();
  expect_the_same(station);
}

TEST_F(ForwarderTest, ANetworkThatSwallowsEverythingIsGivenUpAndTriedAgain) {
  SwallowingNetwork network(server().port());
  CentralStation station;
  station.times.patience = {std::chrono::milliseconds(300), std::chrono::milliseconds(300)};
  station.begin(server().url_at(network.port(), database, "maker"));
  station.pass({"AB00000001"});
  await_all(station);
  network.swallow(true);
  station.pass({"AB00000002"});
  station.await_log("no answer in time");
  station.await({"waiting", 1});
  network.swallow(false);
  await_all(station);
  station.end();
  expect_the_same(station);
}

TEST_F(ForwarderTest, AStationEndsWhileItsDatabaseHangs) {
  SwallowingNetwork network(server().port());
  network.swallow(true);
  CentralStation station;
  station.times.patience = {std::chrono::hours(1), std::chrono::hours(1)};
  station.begin(server().url_at(network.port(), database, "maker"));
  station.pass({"AB00000001"});
  station.end();  // hangs for ever otherwise
  EXPECT_EQ(records_support::column(station.file(), "SELECT count(*) FROM forwarded"),
            std::vector<std::string>{"0"});
}

TEST_F(ForwarderTest, ADatabaseThatWasPutBackGetsAgainWhatItLost) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001", "AB00000002", "AB00000003"});
  await_all(station);
  station.end();
  forge(
      "DELETE FROM measurement WHERE attempt_id IN (SELECT attempt.id FROM attempt JOIN run ON run.id = "
      "run_id "
      "WHERE sequence > 1); DELETE FROM attempt WHERE run_id IN (SELECT id FROM run WHERE sequence > 1); "
      "DELETE FROM connection WHERE run_id IN (SELECT id FROM run WHERE sequence > 1); "
      "DELETE FROM run WHERE sequence > 1; DELETE FROM event WHERE sequence > 1");
  station.begin(url());
  station.await_log("it has lost 2 runs, which are sent again");
  await_all(station);
  station.end();
  expect_the_same(station);
}

TEST_F(ForwarderTest, AnotherRunUnderTheSameIdIsTroubleAndNeverOverwritten) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001", "AB00000002"});
  await_all(station);
  station.end();
  const std::string hash = sql("SELECT hash FROM run WHERE sequence = 2");
  forge("UPDATE run SET hash = 'other' WHERE sequence = 2");
  station.begin(url());
  station.await_log("the database has another run 2 of this station than its file");
  station.end();
  EXPECT_EQ(sql("SELECT hash FROM run WHERE sequence = 2"), "other");

  // The same where the run stands in another chain, so that only its id is in the way.
  forge("UPDATE run SET chain = 'another' WHERE sequence = 2");
  station.forget_log();
  station.begin(url());
  station.await_log("the database has something else under the keys of run ");
  station.end();
  EXPECT_EQ(sql("SELECT chain FROM run WHERE sequence = 2"), "another");
  EXPECT_THAT(station.events("central_waiting"), SizeIs(2));

  forge("UPDATE run SET hash = '" + hash + "', chain = (SELECT chain FROM event LIMIT 1) WHERE sequence = 2");
  station.begin(url());
  await_all(station);
  station.end();
  expect_the_same(station);
}

TEST_F(ForwarderTest, AFileThatWasPutBackFromACopyIsTrouble) {
  CentralStation station;
  station.begin(url());
  station.pass({"AB00000001"});
  await_all(station);
  station.close();
  const std::string copy = records_support::content_of(station.file());
  station.open();
  station.begin(url());
  station.pass({"AB00000002"});
  await_all(station);
  station.close();
  records_support::write(station.file(), copy);
  station.open();
  station.begin(url());
  station.await_log("put back from a copy");
  station.await({"waiting", 0});
}

TEST_F(ForwarderTest, TextsThatPostgresqlCannotHoldComeBackAsTheyWere) {
  CentralStation station;
  t1station::NewRun unit = records_support::unit("AB00000001");
  unit.operator_name = std::string("a\0b", 3) + "\xFF\xC3 \xF4\x8F\xBC\x80";
  const std::string run = station.records().begin_run(unit, records_support::plan());
  station.records().end_run(run, {});
  station.records().add_event("note", "1", {}, unit.operator_name, R"({"serial": "x\u0000y"})");
  station.begin(url());
  await_all(station);
  station.end();
  expect_the_same(station);
  EXPECT_EQ(sql("SELECT length(operator) FROM run"), "10");  // a, b, a blank; three bytes and four
}

}  // namespace
