// The point check of a slot: units whose verdict is known before.
#include <gmock/gmock.h>

#include <atomic>
#include <sstream>

#include "station/app/app.h"
#include "tests/station/board_texts.h"
#include "tests/station/line_at_work.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace t1station;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kGood = "GOLD-1";
constexpr const char* kBad = "BAD-1";
constexpr const char* kProduct = "AB00000001";
const std::string kCheck = "[check]\nevery_hours = 8\ngood = [\"GOLD-1\"]\nbad = [\"BAD-1\"]\n";

class LineCheckTest : public LineAtWork {
 protected:
  /// The board in the slot from now on.
  void put_in(bool is_good) { is_good_ = is_good; }
  void check_with(const char* unit, bool is_good) {
    put_in(is_good);
    if (test(unit).run->verdict != Verdict::passed) line_->acknowledge("1", "Li");
  }

  std::atomic<bool> is_good_ = true;
  const AnsweringBoard board_{
      [this](int code) { return board_texts::reply(code, "x", is_good_ ? "Pass" : "Fail", "21.5"); }};
};

TEST_F(LineCheckTest, ASlotTakesUnitsOnceAGoodUnitHasPassedAndABadOneFailed) {
  begin({board_.address()}, kCheck);
  EXPECT_EQ(slot(0).state, SlotState::locked);
  EXPECT_EQ(slot(0).reason, "its check is due: test the good and the bad check unit");
  check_with(kBad, false);
  EXPECT_EQ(slot(0).state, SlotState::locked);
  EXPECT_EQ(slot(0).reason, "its check is due: test the good check unit");
  EXPECT_THAT([this] { line_->unlock("1", "in a hurry", "Wang"); },
              testing::ThrowsMessage<LineRefusal>("slot 1 takes no unit: " + slot(0).reason));
  EXPECT_EQ(refused(kProduct, "1"), "slot 1 takes no unit: its check is due: test the good check unit");
  check_with(kGood, true);
  EXPECT_EQ(test(kProduct).run->verdict, Verdict::passed);
  EXPECT_EQ(runs().at(0).kind, "check");
  EXPECT_EQ(runs().at(2).kind, "production");
  EXPECT_EQ(line_->view().today.runs, 1) << "checks are no production";

  begin({board_.address()}, kCheck);
  EXPECT_EQ(slot(0).state, SlotState::idle) << "the check holds for eight hours, also after a restart";
}

TEST_F(LineCheckTest, AWrongResultThatTheStationDidNotLiveToLockForLocksAtTheNextStart) {
  end();
  {
    Records records(path("records.db"));
    NewRun bad = records_support::unit(kBad);
    bad.kind = "check";
    records.begin_run(bad, records_support::plan());  // and the station is gone
  }
  begin({board_.address()}, "[check]\nevery_hours = 0.0000001\ngood = [\"GOLD-1\"]\nbad = [\"BAD-1\"]\n");
  line_->acknowledge("1", "Li");
  EXPECT_EQ(slot(0).reason, "the bad check unit BAD-1 ended as interrupted, not as failed");
}

TEST_F(LineCheckTest, AWrongResultOfACheckUnitLocksTheSlotUntilItIsUnlockedAndCheckedAnew) {
  begin({board_.address()}, kCheck);
  check_with(kGood, true);
  put_in(true);
  test(kBad);
  EXPECT_EQ(slot(0).state, SlotState::locked);
  EXPECT_EQ(slot(0).reason, "the bad check unit BAD-1 ended as passed, not as failed");
  begin({board_.address()}, kCheck);
  EXPECT_THAT(refused(kGood, "1"), HasSubstr("slot 1 is locked: the bad check unit"));
  line_->unlock("1", "contact cleaned", "Wang");
  EXPECT_EQ(slot(0).reason, "its check is due: test the good and the bad check unit");
  check_with(kGood, true);
  EXPECT_THAT(refused(kProduct, "1"), HasSubstr("its check is due: test the bad check unit"));
  check_with(kBad, false);
  put_in(true);
  EXPECT_EQ(test(kProduct).run->verdict, Verdict::passed);
}

TEST_F(LineCheckTest, UnitsBetweenAWrongCheckAndTheOneBeforeAreSuspect) {
  begin({board_.address()}, kCheck);
  const auto suspects = [&](const std::string& slot) {
    std::ostringstream out, err;
    const ManualClock still;
    Interrupt interrupt;
    const int code = run_app({"records", "suspect", path("records.db"), "--slot", slot},
                             Environment{out, err, still, interrupt, "2026-11-22T03:17:12"});
    return (code == 0 ? out.str() : std::to_string(code) + ": ") + err.str();
  };
  EXPECT_THAT(suspects("1"), HasSubstr("4: t1station: there is no check of slot 1"));
  check_with(kGood, true);
  check_with(kBad, false);
  EXPECT_THAT(suspects("1"),
              AllOf(HasSubstr("t1station: nothing is suspect in slot 1 since the good check of 20"),
                    HasSubstr("; no check was wrong so far\n")));
  put_in(true);
  test(kProduct);
  EXPECT_THAT(suspects("1"), HasSubstr("1 run of slot 1 since the good check of 20"));
  EXPECT_THAT(suspects("1"), HasSubstr(kProduct)) << "nothing is wrong so far: those since the last check";
  check_with(kBad, false);
  EXPECT_THAT(suspects("1"), HasSubstr(kProduct)) << "half a check says nothing of the slot";
  check_with(kGood, false);
  EXPECT_THAT(suspects("1"),
              AllOf(HasSubstr(kProduct), HasSubstr("1 run of slot 1 since the good check of 20"),
                    HasSubstr(", before the wrong check of 20")));
  line_->unlock("1", "contact cleaned", "Wang");
  check_with(kGood, true);
  check_with(kBad, false);
  put_in(true);
  test("AB00000009");
  EXPECT_THAT(suspects("1"), AllOf(HasSubstr(kProduct), Not(HasSubstr("AB00000009"))));
  EXPECT_THAT(suspects("1"), Not(HasSubstr("GOLD-1")));
}

}  // namespace
