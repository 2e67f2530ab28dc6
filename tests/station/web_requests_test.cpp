// What each request to a line's server is answered, where nobody needs to log in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sqlite3.h>

#include "tests/station/board_texts.h"
#include "tests/station/fake_board.h"
#include "tests/station/recording_disk.h"
#include "tests/station/web_line.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

class WebRequestsTest : public testing::Test {
 protected:
  void start() { line_.start(); }
  json body_of(const WebReply& reply) { return json::parse(reply.body); }
  /// The first slot of the line's document, once it is in this state.
  json slot_in(const std::string& state) {
    WebClient client(line_.port());
    client.send(line_.words("GET", "/api/events"));
    client.head();
    while (true) {
      const json slot = json::parse(client.event_of("line"))["slots"][0];
      if (slot["state"] == state) return slot;
      line_.pass(1);
    }
  }

  WebLine line_;
};

TEST_F(WebRequestsTest, TheLinesDocumentHasEveryKeyAndNullsForWhatIsNotThere) {
  start();
  const WebReply reply = line_.get("/api/line");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.field("content-type"), "application/json");
  json line = body_of(reply);
  EXPECT_THAT(line["time"].get<std::string>(), testing::MatchesRegex("20..-..-..T..:..:..\\....Z"));
  line.erase("time");
  const json slot = {{"name", "1"},
                     {"state", "idle"},
                     {"next", true},
                     {"answers", false},
                     {"reason", nullptr},
                     {"run", nullptr},
                     {"plan", {{"name", "main-board"}, {"version", "3"}}}};
  json second = slot;
  second["name"] = "2";
  second["next"] = false;
  EXPECT_EQ(line,
            (json{{"station", "ICT-3"},
                  {"language", "zh"},
                  {"records", "ok"},
                  {"central", {{"state", "off"}, {"behind", 0}}},
                  {"mqtt", {{"state", "off"}}},
                  {"today",
                   {{"runs", 0}, {"passed", 0}, {"failed", 0}, {"error", 0}, {"first_pass_yield", nullptr}}},
                  {"slots", {slot, second}}}));
}

TEST_F(WebRequestsTest, AScanBeginsARunWhichWaitsIsStoppedAndAcknowledged) {
  start();
  const json taken = body_of(line_.post("/api/scan", R"({"text": " AB00000001\n", "operator": "Wu"})"));
  EXPECT_EQ(taken["slot"], "1");
  const json slot = slot_in("waiting");
  EXPECT_EQ(slot["run"]["id"], taken["run"]);
  EXPECT_EQ(slot["run"]["serial"], "AB00000001");
  EXPECT_EQ(slot["run"]["verdict"], nullptr);
  EXPECT_EQ(slot["run"]["retried"], false);
  EXPECT_EQ(slot["run"]["question"], nullptr);
  EXPECT_EQ(slot["run"]["total"], 2);

  EXPECT_EQ(line_.post("/api/slots/1/acknowledge", "{}").status, 409);
  const WebReply stopped = line_.post("/api/slots/1/stop", R"({"operator": null})");
  EXPECT_EQ(stopped.status, 200);
  EXPECT_EQ(stopped.body, "{}");
  EXPECT_EQ(slot_in("done")["run"]["verdict"], "stopped");
  EXPECT_EQ(line_.post("/api/slots/1/acknowledge", "{}").body, "{}");
  EXPECT_EQ(slot_in("idle")["run"], nullptr);

  const json run = line_.json("/api/runs/" + taken["run"].get<std::string>());
  EXPECT_EQ(run["operator"], "Wu");
  EXPECT_EQ(run["verdict"], "stopped");
  EXPECT_EQ(run["attempts"], json::array());
}

TEST_F(WebRequestsTest, AUnitThatFailsIsShownWithTheBoardsWordsAndTheMeasuredValue) {
  using namespace board_texts;
  const int temperature = records_support::plan().steps.at(1).code;
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(),
                    sends(reply(temperature, "x", "Pass", "72.5")), hears()}});
  line_.file.slots[0].board = {"127.0.0.1", board.port()};
  start();
  const std::string run = body_of(line_.post("/api/scan", R"({"text": "AB00000001"})"))["run"];
  const json slot = slot_in("done");
  EXPECT_EQ(slot["run"]["verdict"], "failed");
  EXPECT_EQ(slot["run"]["failures"], (json{{{"step", "temperature"},
                                            {"outcome", "failed"},
                                            {"description", "72.5"},
                                            {"attempt", 1},
                                            {"attempts", 1},
                                            {"measurements",
                                             {{{"name", "degrees"},
                                               {"value", 72.5},
                                               {"unit", "degC"},
                                               {"low", 10.0},
                                               {"high", 60.0},
                                               {"outcome", "high"}}}}}}));
  const json stored = line_.json("/api/runs/" + run);
  EXPECT_EQ(stored["attempts"].size(), 2U);
  EXPECT_EQ(stored["attempts"][1]["measurements"][0]["outcome"], "high");
  const std::string figures = line_.get("/metrics").body;
  EXPECT_THAT(figures, HasSubstr("boardtest_runs_total{slot=\"1\",verdict=\"failed\"} 1\n"));
  EXPECT_THAT(figures, HasSubstr("boardtest_attempts_total{slot=\"1\",outcome=\"passed\"} 1\n"));
  EXPECT_EQ(line_.get("/metrics").body, figures);  // nothing is counted twice
}

TEST_F(WebRequestsTest, AScanMayNameASlotBeforeOrWithTheUnit) {
  start();
  EXPECT_EQ(body_of(line_.post("/api/scan", R"({"text": "slot:2"})")), (json{{"slot", "2"}}));
  EXPECT_EQ(line_.json("/api/line")["slots"][1]["next"], true);
  EXPECT_EQ(body_of(line_.post("/api/scan", R"({"text": "AB00000001", "slot": "1"})"))["slot"], "1");
}

TEST_F(WebRequestsTest, WhatTheLineRefusesIsAnsweredWithItsReason) {
  start();
  const auto status = [this](std::string_view target, std::string_view body) {
    const WebReply reply = line_.post(target, body);
    EXPECT_EQ(body_of(reply).size(), 1U) << reply.body;
    EXPECT_NE(body_of(reply).value("error", ""), "");
    return reply.status;
  };
  EXPECT_EQ(status("/api/scan", R"({"text": "X"})"), 409);
  EXPECT_EQ(status("/api/scan", R"({"text": " "})"), 400);
  EXPECT_EQ(status("/api/slots/1/stop", "{}"), 409);
  EXPECT_EQ(status("/api/slots/1/acknowledge", "{}"), 409);
  EXPECT_EQ(status("/api/slots/1/answer", R"({"answer": "yes"})"), 409);
  EXPECT_EQ(status("/api/slots/1/unlock", R"({"reason": "x"})"), 409);
  EXPECT_EQ(status("/api/slots/9/stop", "{}"), 404);
  EXPECT_EQ(status("/api/slots/9/lock", R"({"reason": "x"})"), 404);
  EXPECT_EQ(status("/api/units/AB00000009/release", R"({"reason": "x"})"), 404);
  EXPECT_EQ(status("/api/login", R"({"name": "x", "password": "y"})"), 409);
}

TEST_F(WebRequestsTest, ALockedSlotSaysWhyAndTakesUnitsAgainWhenItIsUnlocked) {
  start();
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": "坏针", "operator": "Wu"})").body, "{}");
  EXPECT_EQ(line_.json("/api/line")["slots"][0]["state"], "locked");
  EXPECT_THAT(line_.json("/api/line")["slots"][0]["reason"].get<std::string>(), HasSubstr("坏针"));
  EXPECT_EQ(line_.post("/api/slots/1/unlock", R"({"reason": "new pin"})").body, "{}");
  EXPECT_EQ(line_.json("/api/line")["slots"][0]["state"], "idle");
}

TEST_F(WebRequestsTest, RunsAreListedNewestFirstAndChosenByTheirColumns) {
  std::vector<std::string> ids;
  {
    t1station::Records records(line_.file.records);
    records_support::pass(records, "AB00000001");
    records_support::fail(records, "AB00000002");
    records_support::pass(records, "AB00000003");
  }
  for (const t1station::StoredRun& run : records_support::runs_of(line_.file.records)) ids.push_back(run.id);
  start();
  const auto listed = [this](const std::string& query) {
    std::vector<std::string> found;
    const json runs = line_.json("/api/runs" + query)["runs"];
    for (const json& run : runs) found.push_back(run["id"]);
    return found;
  };
  using testing::ElementsAre;
  EXPECT_THAT(listed(""), ElementsAre(ids[2], ids[1], ids[0]));
  EXPECT_THAT(listed("?limit=1"), ElementsAre(ids[2]));
  EXPECT_THAT(listed("?before=" + ids[1]), ElementsAre(ids[0]));
  EXPECT_THAT(listed("?verdict=failed&serial="), ElementsAre(ids[1]));
  EXPECT_THAT(listed("?serial=AB0000000%31"), ElementsAre(ids[0]));
  EXPECT_THAT(listed("?from=2000-01-01&to=2001-01-01T00:00:00.000Z"), ElementsAre());
  EXPECT_THAT(listed("?serial='+OR+'1'='1"), ElementsAre());
  EXPECT_EQ(line_.json("/api/runs")["runs"][0].count("attempts"), 0U);
  EXPECT_THAT(line_.get("/metrics").body, testing::Not(HasSubstr("verdict=")));  // of today's start only
}

TEST_F(WebRequestsTest, AQuestionAboutRunsThatMakesNoSenseIsRefused) {
  start();
  for (const char* query :
       {"limit=0", "limit=1001", "limit=1e2", "limit=-1", "limit=99999999999999999999", "verdict=good",
        "from=yesterday", "to=2026-02-30", "serial=a&serial=b", "sort=up", "from=2026-11-23&to=2026-11-22",
        "before=zzz", "serial=%", "serial=%4", "serial=%zz", "serial=%ff", "serial=%0a"}) {
    EXPECT_EQ(line_.get(std::string("/api/runs?") + query).status, 400) << query;
  }
  EXPECT_EQ(line_.get("/api/runs/nothing").status, 404);
  EXPECT_EQ(line_.get("/api/runs/").status, 404);
  EXPECT_EQ(line_.get("/api/runs/'%20OR%201=1").status, 404);
}

TEST_F(WebRequestsTest, FiguresAreThoseOfTheRunsInTheWindow) {
  {
    t1station::Records records(line_.file.records);
    records_support::pass(records, "AB00000001");
    records_support::fail(records, "AB00000002");
  }
  start();
  EXPECT_DOUBLE_EQ(line_.json("/api/stats")["first_pass_yield"], 0.5);
  EXPECT_EQ(line_.json("/api/stats?plan=main-board&from=2020-01-01")["runs"], 2);
  EXPECT_EQ(line_.json("/api/stats?plan=other")["runs"], 0);
  EXPECT_EQ(line_.json("/api/stats?to=2020-01-01")["to"], "2020-01-01T00:00:00.000Z");
  EXPECT_EQ(line_.json("/api/stats?plan='+OR+'1'='1")["runs"], 0);
  for (const char* query :
       {"from=yesterday", "to=2026-02-30", "slot=1", "from=%ff", "from=2026-11-23&to=2026-11-22"}) {
    EXPECT_EQ(line_.get(std::string("/api/stats?") + query).status, 400) << query;
  }
}

TEST_F(WebRequestsTest, ABodyThatMakesNoSenseIsRefused) {
  start();
  for (const char* body :
       {"", "x", "[]", "\"x\"", "null", "7", "{", "{}", R"({"text": 7})", R"({"text": null})",
        R"({"text": ["AB00000001"]})", R"({"text": {"text": "AB00000001"}})",
        R"({"text": "AB00000001", "slto": "2"})", R"({"text": "AB00000001", "text": "AB00000002"})",
        R"({"text": "AB00000001"} {})", R"({"text": "AB00000001",})", "{\"text\": \"\xFF\"}",
        R"({"text": "AB00000001", "operator": "a\nb"})", R"({"text": "\ud800"})"}) {
    EXPECT_EQ(line_.post("/api/scan", body).status, 400) << body;
  }
  EXPECT_EQ(line_.post("/api/scan", std::string(60000, '[')).status, 400);
  EXPECT_EQ(line_.post("/api/slots/1/answer", R"({"answer": "maybe"})").status, 400);
  EXPECT_EQ(line_.post("/api/slots/1/lock", "{}").status, 400);
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": "  "})").status, 400);
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": ")" + std::string(201, 'x') + "\"}").status, 400);
  EXPECT_EQ(line_.json("/api/runs")["runs"], json::array());
}

TEST_F(WebRequestsTest, RecordsThatCannotBeWrittenAreToldAndScansAreRefused) {
  RecordingDisk disk;
  std::atomic<bool> is_full = false;
  disk.fault = [&is_full](std::string_view call, std::string_view) {
    return is_full && call == "write" ? SQLITE_FULL : SQLITE_OK;
  };
  disk.is_recording = false;
  line_.start(disk.name());
  EXPECT_EQ(line_.get("/healthz").status, 200);
  is_full = true;
  EXPECT_EQ(line_.post("/api/scan", R"({"text": "AB00000001"})").status, 503);
  EXPECT_EQ(line_.get("/healthz").status, 503);
  EXPECT_THAT(line_.get("/metrics").body, HasSubstr("boardtest_records_ok 0\n"));
  EXPECT_NE(line_.json("/api/line")["records"], "ok");
  EXPECT_EQ(line_.post("/api/slots/1/lock", R"({"reason": "x"})").status, 503);
  line_.stop();
}

TEST_F(WebRequestsTest, FiguresSayWhatTheSlotsAreDoing) {
  start();
  const WebReply reply = line_.get("/metrics");
  EXPECT_EQ(reply.field("content-type"), "text/plain; version=0.0.4; charset=utf-8");
  EXPECT_THAT(reply.body, HasSubstr("boardtest_slots{state=\"idle\"} 2\n"));
  EXPECT_THAT(reply.body, HasSubstr("boardtest_slots{state=\"locked\"} 0\n"));
  EXPECT_THAT(reply.body, HasSubstr("boardtest_records_ok 1\n"));
  EXPECT_THAT(reply.body, HasSubstr("boardtest_central_behind 0\n"));
}

TEST_F(WebRequestsTest, WhereNobodyLogsInEverybodyIsAnEngineer) {
  start();
  EXPECT_EQ(line_.json("/api/session"), (json{{"name", nullptr}, {"role", "engineer"}}));
  EXPECT_EQ(line_.post("/api/logout", "{}").body, "{}");
  EXPECT_EQ(line_.get("/").field("content-type"), "text/html; charset=utf-8");
  EXPECT_EQ(line_.get("/page/line.js").field("content-type"), "text/javascript; charset=utf-8");
}

}  // namespace
