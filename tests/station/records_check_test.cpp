// Whatever is changed in records behind the station's back, the check finds, and says where.
#include "station/records/check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "station/records/chain.h"
#include "station/records/records.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"

namespace {

using namespace records_support;
using testing::Contains;
using testing::HasSubstr;

/// Three runs: passed, failed, passed.
class RecordsCheckTest : public testing::Test {
 protected:
  RecordsCheckTest() {
    t1station::Records records(file_);
    pass(records, "AB00000001");
    fail(records, "AB00000002");
    pass(records, "AB00000003", true);
    records.mark_forwarded({runs_of(file_)[0].id});
    runs_ = runs_of(file_);
  }

  std::vector<std::string> findings(const std::optional<std::string>& head = std::nullopt) const {
    return t1station::check_records(file_, head).findings;
  }
  std::string name(std::size_t run) const {
    return "run " + runs_[run].id + " (" + runs_[run].serial + ", sequence " + std::to_string(run + 1) + ")";
  }
  std::string is_run(std::size_t run, const std::string& column = "id") const {
    return column + " = '" + runs_[run].id + "'";
  }
  // Forges, and expects a finding with these words.
  void expect_found(const std::string& statements, const std::string& words) {
    SCOPED_TRACE(statements);
    const std::string before = content_of(file_);
    ASSERT_EQ(forge(file_, statements), "");
    EXPECT_THAT(findings(), Contains(HasSubstr(words)));
    write(file_, before);
    ASSERT_EQ(findings(), std::vector<std::string>{});
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  std::vector<t1station::StoredRun> runs_;
};

TEST_F(RecordsCheckTest, RecordsThatNobodyTouchedHaveNoFindings) {
  const t1station::CheckReport report = t1station::check_records(file_, runs_[1].hash);
  EXPECT_EQ(report.findings, std::vector<std::string>{});
  EXPECT_EQ(report.runs, 3);
}

TEST_F(RecordsCheckTest, EachChangeIsFoundWhereItIs) {
  const std::string differs = ": it is not what it was: its hash differs";
  const std::string attempt = "run_id = '" + runs_[1].id + "' AND number = 2";
  expect_found("UPDATE attempt SET description = 'x' WHERE " + attempt, name(1) + differs);
  expect_found("UPDATE attempt SET outcome = 'passed' WHERE " + attempt, name(1) + differs);
  expect_found("DELETE FROM attempt WHERE " + attempt, name(1) + differs);
  expect_found("UPDATE run SET verdict = 'passed' WHERE " + is_run(1), name(1) + differs);
  expect_found("UPDATE run SET operator = 'x' WHERE " + is_run(2), name(2) + differs);
  expect_found("UPDATE measurement SET value = 35.5 WHERE attempt_id = '" + runs_[0].attempts[1].id + "'",
               name(0) + differs);
  expect_found("UPDATE connection SET build = 'x' WHERE " + is_run(0, "run_id"), name(0) + differs);
  expect_found("UPDATE plan SET text = text || '# a remark'", "the stored plan is not the one that it was");
  expect_found("UPDATE plan SET version = '4'", "its name and version are not those of its text");
  expect_found("UPDATE event SET kind = 'x' WHERE sequence = 1", "(sequence 1): it is not what it was");
  expect_found("DELETE FROM event WHERE sequence = 1", "the one before it is missing");
  expect_found("UPDATE forwarded SET at = 'x'", "forwarded run " + runs_[0].id);
}

TEST_F(RecordsCheckTest, RunsThatWereRemovedOrExchangedAreFound) {
  const std::string remove = "DELETE FROM measurement; DELETE FROM attempt WHERE " + is_run(1, "run_id") +
                             "; DELETE FROM connection WHERE " + is_run(1, "run_id") +
                             "; DELETE FROM run WHERE " + is_run(1);
  expect_found(remove, "the run of sequence 2 is missing");
  expect_found("DELETE FROM run WHERE " + is_run(1), "attempt: 2 without their run");
  expect_found("UPDATE run SET sequence = 9 WHERE " + is_run(0) + "; UPDATE run SET sequence = 1 WHERE " +
                   is_run(1) + "; UPDATE run SET sequence = 2 WHERE " + is_run(0),
               "it does not follow the run before it");
}

TEST_F(RecordsCheckTest, RunsCutOffAtTheEndShowByTheirHeadOnly) {
  forge(file_, "DELETE FROM measurement WHERE attempt_id IN (SELECT id FROM attempt WHERE " +
                   is_run(2, "run_id") + "); DELETE FROM attempt WHERE " + is_run(2, "run_id") +
                   "; DELETE FROM connection WHERE " + is_run(2, "run_id") + "; DELETE FROM run WHERE " +
                   is_run(2));
  EXPECT_EQ(findings(), std::vector<std::string>{});
  EXPECT_EQ(findings(runs_[1].hash), std::vector<std::string>{});
  EXPECT_EQ(findings(runs_[2].hash),
            std::vector<std::string>{"no run of the chain has the hash " + *runs_[2].hash});
}

TEST_F(RecordsCheckTest, ALieWhoseHashWasComputedAnewShowsByAHeadThatWasKeptElsewhere) {
  ASSERT_EQ(forge(file_, "UPDATE attempt SET seconds = 99 WHERE " + is_run(2, "run_id")), "");
  ASSERT_FALSE(findings().empty());
  t1station::Database database(file_, t1station::Database::Access::read);
  const std::string anew = run_hash(database, runs_[2].id);
  ASSERT_EQ(forge(file_, "UPDATE run SET hash = '" + anew + "' WHERE " + is_run(2)), "");
  EXPECT_EQ(findings(), std::vector<std::string>{});
  EXPECT_EQ(findings(runs_[2].hash),
            std::vector<std::string>{"no run of the chain has the hash " + *runs_[2].hash});
}

TEST_F(RecordsCheckTest, TriggersThatWereTakenAwayAreFound) {
  sql(file_, "DROP TRIGGER run_delete");
  EXPECT_EQ(findings(), std::vector<std::string>{"the schema: run_delete is missing"});
}

TEST_F(RecordsCheckTest, ACutFileIsFoundWhereverItIsCut) {
  const std::string whole = content_of(file_);
  for (std::size_t size = 0; size < whole.size(); size += 1024) {
    write(file_, whole.substr(0, size));
    EXPECT_FALSE(findings().empty()) << size;
  }
}

constexpr std::size_t kPage = 4096;

// A number of two bytes, the higher one first.
std::size_t number_at(std::string_view bytes, std::size_t place) {
  return static_cast<std::size_t>(static_cast<unsigned char>(bytes[place])) << 8U |
         static_cast<unsigned char>(bytes[place + 1]);
}

// Whether a place lies in one of the page's free blocks, which are chained from its header on.
bool is_free(std::string_view page, std::size_t header, std::size_t place) {
  for (std::size_t block = number_at(page, header + 1); block != 0; block = number_at(page, block)) {
    if (place >= block + 4 && place < block + number_at(page, block + 2)) return true;
  }
  return false;
}

// Some of the places of a page that are in use: its header's first, and in the content between free space and
// end.
std::vector<std::size_t> used_places(std::string_view page, bool is_first) {
  const std::size_t header = is_first ? 100 : 0, content = number_at(page, header + 5);
  std::vector<std::size_t> places{header};
  for (std::size_t place = content; place < kPage; place += 1 + (kPage - content) / 12) {
    if (!is_free(page, header, place)) places.push_back(place);
  }
  return places;
}

TEST_F(RecordsCheckTest, AFlippedByteIsFoundOnEveryPage) {
  const std::string whole = content_of(file_);
  ASSERT_GT(whole.size(), 10 * kPage);
  for (std::size_t page = 0; page < whole.size() / kPage; ++page) {
    const std::string_view content = std::string_view(whole).substr(page * kPage, kPage);
    for (const std::size_t place : used_places(content, page == 0)) {
      std::string flipped = whole;
      flipped[page * kPage + place] = static_cast<char>(flipped[page * kPage + place] ^ 0x10);
      write(file_, flipped);
      EXPECT_FALSE(findings().empty()) << "page " << page << ", byte " << place;
    }
  }
}

TEST_F(RecordsCheckTest, ADamagedHeaderIsFound) {
  const std::string whole = content_of(file_);
  for (const std::size_t place : {0U, 16U, 20U, 28U, 56U, 68U, 71U, 80U}) {
    std::string flipped = whole;
    flipped[place] = static_cast<char>(flipped[place] ^ 0x10);
    write(file_, flipped);
    EXPECT_FALSE(findings().empty()) << place;
  }
}

}  // namespace
