// Tables in partitions by time, as packaging/central-partitions.sql makes them.
#include "station/central/delivery.h"
#include "tests/central/central_station.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

class CentralPartitionsTest : public CentralTest {
 protected:
  std::string init() {
    Child child({T1STATION_PROGRAM, "records", "central", "init", url(), "--role", "station"});
    EXPECT_EQ(child.exit_status(), 0) << child.err();
    return child.rest();
  }
  // As psql does with the file, whose transaction is its own.
  std::string make_partitions() const { return sql(records_support::content_of(PARTITIONS), "maker"); }
  std::string call(const std::string& procedure) const { return sql("CALL " + procedure, "maker"); }
  void send(CentralStation& station) {
    t1station::forward_all(url("station"), station.file(), station.records(), {}, -1);
  }

  CentralStation station_;
};

/// The time at which a run that is going on has been going on for a while.
std::string time_behind(const std::string& start) {
  std::string now = t1station::record_time();
  while (now == start) now = t1station::record_time();
  return now;
}

TEST_F(CentralPartitionsTest, StationsSendThereAsEverAndTheOldestPartGoesAsAWhole) {
  init();
  ASSERT_EQ(make_partitions(), "");
  init();
  t1station::Records& records = station_.records();
  records_support::pass(records, "AB00000001");
  const std::string run = records.begin_run(records_support::unit("AB00000002"), records_support::plan());
  const std::string connection = records.add_connection(run, "192.0.2.7:36001", records_support::kBuild);
  const std::string end = time_behind(t1station::record_time());  // in the middle of the second run
  for (const int number : {1, 2}) {
    records.end_attempt(records.begin_attempt(records_support::clock_attempt(run, connection, number)),
                        records_support::ended(t1station::AttemptOutcome::failed));
  }
  records.end_run(run, {});
  records_support::pass(records, "AB00000003");
  EXPECT_EQ(call("boardtest_add_partition('old', '2026-01-01Z', '" + end + "')"), "");
  EXPECT_EQ(call("boardtest_add_partition('new', '" + end + "', '2100-01-01Z')"), "");
  send(station_);
  expect_the_same(station_);
  EXPECT_EQ(sql("SELECT (SELECT count(*) FROM run_old), (SELECT count(*) FROM attempt_old), "
                "(SELECT count(*) FROM attempt_new)"),
            "2|2|4");
  for (const std::string table : {"run", "run_old"}) {
    EXPECT_THAT(sql("DELETE FROM " + table), HasSubstr("records are never changed or deleted")) << table;
    EXPECT_THAT(sql("DELETE FROM " + table, "station"), HasSubstr("permission denied")) << table;
  }

  EXPECT_THAT(call("boardtest_drop_partition('new', '" + end + "')"),
              HasSubstr("run_new is no partition that ends"));
  const std::string drop = "boardtest_drop_partition('old', '" + end + "')";
  EXPECT_THAT(call(drop), HasSubstr("the last run or event of a chain would go")) << "its only event";
  records.add_event("acknowledge", "1", {}, "Li", "{}");
  send(station_);
  EXPECT_EQ(call(drop), "");
  EXPECT_EQ(sql("SELECT serial, (SELECT count(*) FROM attempt) FROM run"), "AB00000003|2");
  EXPECT_THAT(findings(),
              AllOf(Contains(HasSubstr("the runs of sequence 1 to 2 are missing")),
                    Each(Not(HasSubstr("its hash differs"))), Each(Not(HasSubstr("without their")))));
  EXPECT_THAT(sql("DELETE FROM attempt"), HasSubstr("records are never changed or deleted"));
  records_support::pass(records, "AB00000004");
  send(station_);
  EXPECT_EQ(sql("SELECT string_agg(serial, ' ' ORDER BY serial) FROM run"), "AB00000003 AB00000004")
      << "what was dropped is not sent again";
}

TEST_F(CentralPartitionsTest, TablesWithRunsStayAsTheyAre) {
  init();
  records_support::pass(station_.records(), "AB00000001");
  send(station_);
  EXPECT_THAT(make_partitions(), HasSubstr("partitions are made before the first one is sent"));
  expect_the_same(station_);
}

}  // namespace
