// Units on a line: where a scan goes, what a slot shows, what a person can do.
#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <thread>

#include "station/records/reader.h"
#include "station/text/software.h"
#include "tests/station/board_texts.h"
#include "tests/station/line_at_work.h"
#include "tests/station/recording_disk.h"

namespace {

using namespace t1station;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string nobody = "127.0.0.1:1";
constexpr const char* kUnit = "AB00000001";
constexpr const char* kOther = "AB00000002";
constexpr const char* kThird = "AB00000003";

AnsweringBoard::Answer failing_clock() {
  return [](int code) {
    const char* value = code == 1536 ? "Fail" : "Pass";
    return board_texts::reply(code, "x", value,
                              value == std::string("Fail") ? board_texts::read_failed_gbk : "21.5");
  };
}

class LineTest : public LineAtWork {};

TEST_F(LineTest, AScannedUnitGoesThroughItsPlanAndTheVerdictIsShown) {
  const AnsweringBoard board;
  begin({board.address()});
  const ScanTaken taken = scan("\u3000 AB00000001\u00a0\r\n");
  EXPECT_EQ(taken.slot, "1");
  const SlotView done = await_state(0, SlotState::done);
  EXPECT_EQ(done.run->id, taken.run);
  EXPECT_EQ(done.run->serial, kUnit);
  EXPECT_EQ(done.run->verdict, Verdict::passed);
  EXPECT_EQ(done.run->total, 2U);
  EXPECT_EQ(done.plan_name, "main-board");
  const StoredRun stored = runs().at(0);
  EXPECT_EQ(stored.started, done.run->started);
  EXPECT_EQ(stored.operator_name, "Li");
  EXPECT_EQ(stored.software, t1station::software());
  EXPECT_EQ(stored.slot, "1");
}

TEST_F(LineTest, WhatASlotShowsIsStoredBefore) {
  const AnsweringBoard board(failing_clock());
  std::string wrong;
  begin({board.address()});
  scan(kUnit);
  await(0, [&](const SlotView& slot) {
    const StoredRun stored = runs().at(0);
    if (slot.run && slot.run->verdict && !stored.verdict) wrong = "verdict";
    if (slot.run && slot.run->attempt > 0 &&
        stored.attempts.size() < static_cast<std::size_t>(slot.run->attempt))
      wrong = "attempt";
    if (slot.run && !slot.run->failures.empty() && !stored.attempts.back().outcome) wrong = "failure";
    return slot.state == SlotState::done;
  });
  EXPECT_EQ(wrong, "");
}

TEST_F(LineTest, AFailureSaysItsStepAndTheBoardsWordsAndWaitsToBeAcknowledged) {
  const AnsweringBoard board(failing_clock());
  begin({board.address()});
  const SlotView done = test(kUnit);
  ASSERT_EQ(done.run->failures.size(), 1U);
  EXPECT_EQ(done.run->failures[0].step, "clock");
  EXPECT_EQ(done.run->failures[0].description, board_texts::read_failed);
  EXPECT_EQ(done.run->failures[0].attempt, 2);
  EXPECT_EQ(done.run->failures[0].attempts, 2);
  EXPECT_TRUE(done.run->retried);

  EXPECT_EQ(refused(kOther), "no slot is free");
  EXPECT_EQ(next_slot(), "");
  line_->acknowledge("1", "Li");
  EXPECT_EQ(slot(0).state, SlotState::idle);
  EXPECT_EQ(test(kOther).run->verdict, Verdict::failed);
}

TEST_F(LineTest, AVerdictIsAcknowledgedOnceHoweverManyDoSoAtTheSameTime) {
  begin({nobody});
  test(kUnit);
  std::atomic<int> taken = 0;
  {
    std::vector<std::jthread> people;
    for (int i = 0; i < 8; ++i) {
      people.emplace_back([&] {
        if (refusal([&] { line_->acknowledge("1", "Li"); }) == "not refused") ++taken;
      });
    }
  }
  EXPECT_EQ(taken, 1);
  EXPECT_EQ(records_support::column(file_.records, "SELECT id FROM event WHERE kind = 'acknowledge'").size(),
            1U);
}

TEST_F(LineTest, AVerdictThatNobodyAcknowledgedIsThereAgainAfterARestart) {
  const AnsweringBoard board(failing_clock());
  begin({board.address(), nobody});
  const std::optional<RunView> before = test(kUnit).run;
  begin({board.address(), nobody});
  const SlotView again = slot(0);
  EXPECT_TRUE(before->seconds.has_value());
  EXPECT_EQ(again.run->seconds, before->seconds);
  EXPECT_EQ(again.run->step, before->step);
  EXPECT_EQ(again.state, SlotState::done);
  EXPECT_EQ(again.run->serial, kUnit);
  EXPECT_EQ(again.run->verdict, Verdict::failed);
  EXPECT_EQ(again.run->total, 2U);
  EXPECT_EQ(again.run->failures.at(0).description, board_texts::read_failed);
  EXPECT_EQ(refused(kUnit), "AB00000001 is in slot 1 now");
  line_->acknowledge("1", "Li");
  begin({board.address(), nobody});
  EXPECT_EQ(slot(0).state, SlotState::idle);
}

TEST_F(LineTest, AUnitGoesToTheFirstIdleSlotElseToTheLongestPass) {
  const AnsweringBoard one, two;
  begin({one.address(), two.address()});
  EXPECT_EQ(next_slot(), "1");
  test(kUnit);
  EXPECT_EQ(next_slot(), "2");
  test(kOther);
  EXPECT_EQ(next_slot(), "1");
  test(kThird);
  EXPECT_EQ(next_slot(), "2");
  EXPECT_EQ(slot(0).run->serial, kThird);
  EXPECT_EQ(slot(1).run->serial, kOther);
}

TEST_F(LineTest, ANamedSlotHoldsForOneScanTakenOrRefusedAndAMinute) {
  const AnsweringBoard board;
  begin({nobody, nobody, board.address()});
  EXPECT_EQ(scan("slot:3").slot, "3");
  EXPECT_EQ(next_slot(), "3");
  EXPECT_THAT(refused("no serial"), HasSubstr("no serial number of a plan of slot 3"));
  EXPECT_EQ(next_slot(), "1");

  scan("slot:3");
  EXPECT_EQ(test(kUnit).name, "3");
  EXPECT_EQ(next_slot(), "1");

  scan("slot:3");
  clock.turn(59);
  EXPECT_EQ(next_slot(), "3");
  clock.turn(2);
  EXPECT_EQ(next_slot(), "1");
  EXPECT_EQ(refused("slot:9"), "there is no slot 9");
}

TEST_F(LineTest, ARefusedScanIsAnEventWithItsReason) {
  const AnsweringBoard board;
  begin({board.address()});
  EXPECT_EQ(refused("12345"), "12345 is no serial number of a plan of slot 1");
  EXPECT_EQ(refused(kUnit, "7"), "there is no slot 7");
  test(kUnit);
  EXPECT_EQ(refused(kUnit), "AB00000001 is in slot 1 now");
  EXPECT_THAT(records_support::column(file_.records,
                                      "SELECT detail FROM event WHERE kind = 'refused' ORDER BY sequence"),
              ElementsAre(HasSubstr("12345 is no serial number"), HasSubstr("there is no slot 7"),
                          HasSubstr("is in slot 1 now")));
}

TEST_F(LineTest, AUnitToRepairIsRefusedUntilItIsReleased) {
  const AnsweringBoard board(failing_clock());
  begin({board.address()});
  for (int run = 0; run < 2; ++run) {
    test(kUnit);
    line_->acknowledge("1", "Li");
  }
  EXPECT_THAT(refused(kUnit), HasSubstr("to repair"));
  EXPECT_EQ(slot(0).state, SlotState::idle);
  line_->release(kUnit, "new clock", "Wang");
  EXPECT_EQ(test(kUnit).run->verdict, Verdict::failed);
  EXPECT_THAT(refusal([&] { line_->release("ZZ00000000", "x", ""); }, LineRefusal::Why::unknown),
              HasSubstr("no run of ZZ00000000"));
}

TEST_F(LineTest, ALockedSlotTakesNoUnitAlsoAfterARestart) {
  const AnsweringBoard board;
  begin({board.address()});
  EXPECT_EQ(refusal([&] { line_->lock("1", "\u3000 ", "Wang"); }, LineRefusal::Why::malformed),
            "a reason is needed");
  line_->lock("1", "pin 7 is bent", "Wang");
  EXPECT_EQ(slot(0).state, SlotState::locked);
  EXPECT_EQ(slot(0).reason, "pin 7 is bent");
  begin({board.address()});
  EXPECT_EQ(slot(0).state, SlotState::locked);
  EXPECT_EQ(refused(kUnit), "no slot is free");
  EXPECT_EQ(refused(kUnit, "1"), "slot 1 is locked: pin 7 is bent");
  line_->unlock("1", "pin is straight", "Wang");
  EXPECT_EQ(test(kUnit).run->verdict, Verdict::passed);
}

TEST_F(LineTest, APlanThatChangesOnDiskIsTakenUpForTheNextRun) {
  std::promise<void> go_on;
  std::shared_future<void> may_go_on = go_on.get_future().share();
  const AnsweringBoard board([may_go_on](int code) {
    may_go_on.wait();
    return board_texts::reply(code, "x", "Pass", "21.5");
  });
  begin({board.address()});
  scan(kUnit);
  await_state(0, SlotState::testing);
  records_support::write(path("plan.toml"), records_support::plan_text("4"));
  go_on.set_value();
  await_state(0, SlotState::done);
  test(kOther);
  EXPECT_EQ(runs().at(0).plan_version, "3");
  EXPECT_EQ(runs().at(1).plan_version, "4");

  records_support::write(path("plan.toml"), "format = 2\n");
  EXPECT_THAT(refused(kThird), HasSubstr("plan.toml:1:1: \"name\" is missing"));
  EXPECT_EQ(slot(0).state, SlotState::locked);
  records_support::write(path("plan.toml"), records_support::plan_text("5"));
  await(0, [](const SlotView& slot) { return slot.state != SlotState::locked; });
}

TEST_F(LineTest, AStoppedRunStillRunsWhatAlwaysRunsAndASecondStopEndsIt) {
  records_support::write(path("plan.toml"),
                         "format = 1\nname = \"p\"\nversion = \"1\"\nserial = '.*'\n"
                         "[[step]]\nname = \"clock\"\ntest = 1536\ntimeout = 600\n"
                         "[[step]]\nname = \"back\"\ntest = 1537\ntimeout = 600\nalways = true\n");
  std::promise<void> asked, asked_again;
  const AnsweringBoard board([&](int code) {
    (code == 1536 ? asked : asked_again).set_value();
    return std::string();
  });
  begin({board.address()});
  scan(kUnit);
  asked.get_future().wait();
  line_->stop("1", "Li");
  asked_again.get_future().wait();
  line_->stop("1", "Li");
  const SlotView done = await_state(0, SlotState::done);
  EXPECT_EQ(done.run->verdict, Verdict::stopped);
  EXPECT_EQ(done.reason, "stopped by a person");
  EXPECT_EQ(refusal([&] { line_->stop("1", "Li"); }), "nothing runs in slot 1");
}

TEST_F(LineTest, AStopBeforeTheBoardCameWaitsForNothingToPutBack) {
  records_support::write(path("plan.toml"),
                         "format = 1\nname = \"p\"\nversion = \"1\"\nserial = '.*'\n"
                         "[[step]]\nname = \"clock\"\ntest = 1536\n"
                         "[[step]]\nname = \"back\"\ntest = 1537\nalways = true\n");
  std::string text = line_text({nobody});
  text.replace(text.find("0.1"), 3, "86400");
  begin_file(text);
  scan(kUnit);
  await_state(0, SlotState::waiting);
  line_->stop("1", "Li");
  EXPECT_EQ(await_state(0, SlotState::done).run->verdict, Verdict::stopped);
}

TEST_F(LineTest, AStationThatIsShutDownStopsItsRuns) {
  std::promise<void> asked;
  const AnsweringBoard board([&](int) {
    asked.set_value();
    return std::string();
  });
  begin({board.address(), nobody});
  scan(kUnit);
  asked.get_future().wait();
  EXPECT_TRUE(line_->shut_down());
  EXPECT_EQ(runs().at(0).verdict, "stopped");
  EXPECT_EQ(runs().at(0).reason, "the station was shut down");
  EXPECT_EQ(refused(kOther), "the station is being shut down");
}

TEST_F(LineTest, AnAnswerGoesToTheSlotThatAskedFirst) {
  records_support::write(
      path("plan.toml"),
      "format = 1\nname = \"p\"\nversion = \"1\"\nserial = '.*'\n"
      "[[step]]\nname = \"light\"\ntest = 1536\nconfirm = { zh = \"亮了吗?\", en = \"Is it on?\" }\n");
  const AnsweringBoard one, two;
  begin({one.address(), two.address()});
  EXPECT_EQ(refused("answer:yes"), "no slot asks anything");
  const auto asks = [](const SlotView& slot) { return slot.run && slot.run->question.has_value(); };
  scan("slot:2");
  scan(kUnit);
  EXPECT_EQ(await(1, asks).run->question->en, "Is it on?");
  scan(kOther);
  await(0, asks);
  EXPECT_TRUE(slot(1).has_answer);
  EXPECT_EQ(scan("answer:no").slot, "2");
  EXPECT_EQ(await_state(1, SlotState::done).run->verdict, Verdict::failed);
  line_->answer("1", true, "Li");
  EXPECT_EQ(await_state(0, SlotState::done).run->verdict, Verdict::passed);
  EXPECT_EQ(refusal([&] { line_->answer("1", true, "Li"); }), "slot 1 asks nothing");
}

TEST_F(LineTest, ABoardThatNeverComesIsARunThatEndedInError) {
  begin({nobody});
  const SlotView done = test(kUnit);
  EXPECT_EQ(done.run->verdict, Verdict::error);
  EXPECT_THAT(done.reason, HasSubstr("no connection to 127.0.0.1:1"));
  EXPECT_EQ(runs().at(0).board, std::nullopt);
}

TEST_F(LineTest, WhenNothingCanBeStoredNothingIsShownAndNoUnitIsTaken) {
  RecordingDisk disk;
  std::atomic<bool> is_full = false;
  disk.fault = [&](std::string_view call, std::string_view) {
    return is_full && call == "write" ? SQLITE_FULL : SQLITE_OK;
  };
  vfs = disk.name();
  const AnsweringBoard board([&](int code) {
    is_full = true;
    return board_texts::reply(code, "x", "Pass", "21.5");
  });
  const AnsweringBoard silent([](int) { return std::string(); });
  begin({board.address(), silent.address()});
  scan("slot:2");
  scan(kThird);
  await(1, [](const SlotView& slot) { return slot.run && slot.run->attempt == 1; });
  scan(kUnit);
  const SlotView broken = await_state(0, SlotState::locked);
  EXPECT_FALSE(broken.run.has_value());
  EXPECT_THAT(broken.reason, HasSubstr("cannot store"));
  EXPECT_FALSE(await_state(1, SlotState::locked).run.has_value()) << "its test is ended without a verdict";
  EXPECT_EQ(line_->view().records, broken.reason);
  EXPECT_EQ(refusal([&] { scan(kOther); }, LineRefusal::Why::cannot_store), broken.reason);
  end();

  vfs.clear();
  begin({board.address(), nobody});
  EXPECT_EQ(slot(0).run->verdict, Verdict::interrupted);
}

TEST_F(LineTest, RecordsThatAreTakenAwayUnderTheLineStopIt) {
  for (const char* taken : {"records.db", "records.db-wal"}) {
    begin({nobody});
    std::filesystem::rename(path(taken), path("taken"));
    EXPECT_THAT(refusal([&] { scan(kUnit); }, LineRefusal::Why::cannot_store), HasSubstr("was taken away"));
    EXPECT_EQ(slot(0).state, SlotState::locked);
    EXPECT_THAT(refusal([&] { scan("slot:1"); }, LineRefusal::Why::cannot_store),
                HasSubstr("was taken away"));
    std::filesystem::rename(path("taken"), path(taken));
  }
}

TEST_F(LineTest, TodaysFiguresCountEndedRuns) {
  bool is_broken = true;
  const AnsweringBoard board([&](int code) {
    return board_texts::reply(code, "x", std::exchange(is_broken, false) ? "Fail" : "Pass", "21.5");
  });
  begin({board.address()});
  EXPECT_EQ(line_->view().today.first_pass_yield, std::nullopt);
  test(kUnit);
  test(kOther);
  const RunCounts today = line_->view().today;
  EXPECT_EQ(today.runs, 2);
  EXPECT_EQ(today.passed, 2);
  EXPECT_EQ(today.first_pass_yield, 0.5) << "the first was retried";
}

}  // namespace
