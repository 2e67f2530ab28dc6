// Stored runs in the formats of others, read back by libraries that know these formats.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>

#include "station/app/app.h"
#include "station/records/records.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace records_support;
using nlohmann::json;
using t1station::AttemptOutcome;
using testing::ElementsAre;
using testing::HasSubstr;

/// A retried pass, a run whose temperature was too high, one that timed out, and one without an end.
class RecordsFormatsTest : public testing::Test {
 protected:
  RecordsFormatsTest() {
    pass(records_, "AB00000001", true);
    const std::string hot = records_.begin_run(unit("AB00000002"), plan());
    const std::string connection = records_.add_connection(hot, "192.0.2.7:36001", kBuild);
    records_.end_attempt(records_.begin_attempt(clock_attempt(hot, connection)),
                         ended(AttemptOutcome::passed));
    records_.end_attempt(records_.begin_attempt(temperature_attempt(hot, connection)), measured(70.5));
    records_.end_run(hot, {});
    const std::string silent = records_.begin_run(unit("AB00000003"), plan());
    records_.end_attempt(records_.begin_attempt(clock_attempt(
                             silent, records_.add_connection(silent, "192.0.2.7:36001", kBuild))),
                         ended(AttemptOutcome::timed_out));
    records_.end_run(silent, {});
    records_.begin_run(unit("<AB&\"4\">"), plan());
  }

  std::string exported(const std::string& format, const std::string& serial = {},
                       const std::vector<std::string>& more = {}) {
    std::ostringstream out, err;
    const ManualClock clock;
    t1station::Interrupt interrupt;
    const t1station::Environment around{out, err, clock, interrupt, "2026-11-22T03:17:12"};
    std::vector<std::string> words{"records", "export", file_, "--format", format, "--serial", serial};
    words.insert(words.end(), more.begin(), more.end());
    EXPECT_EQ(t1station::run_app(words, around), 0) << err.str();
    err_ = err.str();
    return out.str();
  }
  std::vector<json> exported_lines(const std::string& format) {
    std::istringstream text(exported(format));
    std::vector<json> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(json::parse(line));
    return lines;
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  t1station::Records records_{file_};
  std::string err_;  // what the last export said
};

TEST_F(RecordsFormatsTest, OcpIsNumberedWithoutGapsAndEachLineIsOneArtifact) {
  const std::vector<json> lines = exported_lines("ocp");
  EXPECT_EQ(lines.at(0)["schemaVersion"], (json{{"major", 2}, {"minor", 0}}));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i]["sequenceNumber"], i);
    EXPECT_THAT(lines[i]["timestamp"].get<std::string>(),
                testing::MatchesRegex(R"(20..-..-..T..:..:..\....Z)"));
    EXPECT_EQ(lines[i].size(), 3U) << lines[i];
    const json step = lines[i].value("testStepArtifact", json::array({1, 2}));
    EXPECT_EQ(step.size(), 2U) << lines[i];
  }
}

TEST_F(RecordsFormatsTest, OcpSaysOfEachRunWhatCameOfItAndNothingOfAnEndThatWasNot) {
  std::vector<std::string> said;
  for (const json& line : exported_lines("ocp")) {
    if (line.contains("testStepArtifact")) {
      const json& step = line["testStepArtifact"];
      if (step.contains("diagnosis")) said.push_back(step["diagnosis"]["verdict"]);
      if (step.contains("error")) said.push_back(step["error"]["symptom"]);
      if (step.contains("measurement")) said.push_back(step["measurement"]["value"].dump());
      continue;
    }
    const json run = line.value("testRunArtifact", json::object());
    if (run.contains("testRunStart"))
      said.push_back(run["testRunStart"]["dutInfo"]["hardwareInfos"][0]["serialNumber"]);
    if (run.contains("testRunEnd"))
      said.push_back(run["testRunEnd"]["status"].get<std::string>() + " " +
                     run["testRunEnd"]["result"].get<std::string>());
  }
  EXPECT_THAT(said,
              ElementsAre("AB00000001", "clock-failed", "clock-passed", "35.25", "temperature-passed",
                          "COMPLETE PASS", "AB00000002", "clock-passed", "70.5", "temperature-failed",
                          "COMPLETE FAIL", "AB00000003", "timed_out", "ERROR NOT_APPLICABLE", "<AB&\"4\">"));
}

TEST_F(RecordsFormatsTest, OcpGivesALimitAsAValidator) {
  for (const json& line : exported_lines("ocp")) {
    const json step = line.value("testStepArtifact", json::object());
    if (!step.contains("measurement")) continue;
    EXPECT_EQ(step["measurement"]["unit"], "degC");
    EXPECT_EQ(step["measurement"]["validators"][0],
              (json{{"name", "low"}, {"type", "GREATER_THAN_OR_EQUAL"}, {"value", 10.0}}));
    EXPECT_EQ(step["measurement"]["validators"][1]["type"], "LESS_THAN_OR_EQUAL");
  }
}

TEST_F(RecordsFormatsTest, CfxIsOneMessageForEachEndedRunAndTheSameEachTime) {
  const std::vector<json> messages = exported_lines("cfx");
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_EQ(messages, exported_lines("cfx"));
  const json& hot = messages[1];
  EXPECT_EQ(hot["MessageName"], "CFX.Production.TestAndInspection.UnitsTested");
  EXPECT_EQ(hot["Version"], "1.3");
  EXPECT_EQ(hot["Source"], "ICT-3");
  EXPECT_NE(hot["UniqueID"], messages[0]["UniqueID"]);
  EXPECT_EQ(hot["MessageBody"]["$type"], "CFX.Production.TestAndInspection.UnitsTested, CFX");
  const json& tested = hot["MessageBody"]["TestedUnits"][0];
  EXPECT_EQ(tested["UnitIdentifier"], "AB00000002");
  EXPECT_EQ(tested["OverallResult"], "Failed");
  const json& temperature = tested["Tests"][1];
  EXPECT_EQ(temperature["Result"], "Failed");
  EXPECT_EQ(temperature["SymptomsFound"][0]["Description"], "degrees 70.5 degC, above 60: said so");
  EXPECT_EQ(temperature["Measurements"][0]["MeasuredValue"]["Value"], 70.5);
  EXPECT_EQ(temperature["Measurements"][0]["MeasuredValue"]["MaximumAcceptableValue"], 60.0);
  EXPECT_EQ(messages[2]["MessageBody"]["TestedUnits"][0]["OverallResult"], "Error");
}

TEST_F(RecordsFormatsTest, JunitIsASuiteForEachRun) {
  pugi::xml_document xml;
  ASSERT_TRUE(xml.load_string(exported("junit").c_str()));
  std::vector<std::string> counts;
  for (const pugi::xml_node& suite : xml.child("testsuites").children("testsuite")) {
    counts.push_back(std::string(suite.attribute("tests").value()) + " " +
                     suite.attribute("failures").value() + " " + suite.attribute("errors").value());
  }
  EXPECT_THAT(counts, ElementsAre("3 1 0", "2 1 0", "1 0 1", "0 0 0"));
  EXPECT_STREQ(xml.select_node("//testsuite[2]/testcase[2]/failure/@message").attribute().value(),
               "degrees 70.5 degC, above 60: said so");
  EXPECT_STREQ(xml.select_node("//testsuite[1]/testcase[1]/failure/@message").attribute().value(), "said so");
  EXPECT_STREQ(
      xml.select_node("//testsuite[4]/properties/property[@name='serial']/@value").attribute().value(),
      "<AB&\"4\">");
}

TEST_F(RecordsFormatsTest, JunitNamesWhatFailedWhereTheBoardSaysThatAllIsWell) {
  const std::string id = records_.begin_run(unit("AB00000005"), plan());
  t1station::AttemptEnd end = measured(5);
  end.description = "测试成功";
  end.answer = "no";
  records_.end_attempt(
      records_.begin_attempt(temperature_attempt(id, records_.add_connection(id, "192.0.2.7:36001", kBuild))),
      end);
  records_.end_run(id, {});
  EXPECT_THAT(
      exported("junit", "AB00000005"),
      HasSubstr("<failure message=\"degrees 5 degC, below 10; answered no: 测试成功\" type=\"failed\">"));
}

TEST_F(RecordsFormatsTest, JunitIsNeverGreenForARunThatDidNotPass) {
  const std::string id = records_.begin_run(unit("AB00000005"), plan());
  records_.end_run(id, {t1station::RunEnd::Why::error, "no connection to 192.0.2.7:36001", 60});
  pugi::xml_document xml;
  ASSERT_TRUE(xml.load_string(exported("junit", "AB00000005").c_str()));
  const pugi::xml_node suite = xml.child("testsuites").child("testsuite");
  EXPECT_STREQ(suite.attribute("tests").value(), "1");
  EXPECT_STREQ(suite.attribute("errors").value(), "1");
  EXPECT_STREQ(suite.child("testcase").attribute("name").value(), "verdict");
  EXPECT_STREQ(suite.child("testcase").child("error").attribute("message").value(),
               "no connection to 192.0.2.7:36001");
}

TEST_F(RecordsFormatsTest, AUnitOfACheckIsToldFromProductionAndNoFactoryMessageUnlessItIsAskedFor) {
  t1station::NewRun check = unit("GOOD-1");
  check.kind = "check";
  const std::string id = records_.begin_run(check, plan());
  records_.end_run(id, {});
  EXPECT_THAT(exported("junit"), HasSubstr("<property name=\"kind\" value=\"check\" />"));
  EXPECT_THAT(exported("junit"), HasSubstr("<property name=\"kind\" value=\"production\" />"));
  EXPECT_EQ(exported_lines("cfx").size(), 3U);
  EXPECT_EQ(err_,
            "t1station: runs of check units are left out: such a message has no word for them; --kind check "
            "writes them\n");
  EXPECT_THAT(exported("cfx", {}, {"--kind", "check"}), HasSubstr("GOOD-1"));
  EXPECT_THAT(exported("cfx", {}, {"--run", id}), HasSubstr("GOOD-1"));
  EXPECT_THAT(exported("csv", {}, {"--kind", "production"}), testing::Not(HasSubstr("GOOD-1")));
}

TEST_F(RecordsFormatsTest, HtmlShowsAUnitsRunsWithVerdictLimitsAndHash) {
  const std::string retried = exported("html", "AB00000001");
  EXPECT_THAT(retried, HasSubstr("✓ 合格 PASS"));
  EXPECT_THAT(retried, HasSubstr("有重测 retried"));
  EXPECT_THAT(retried, HasSubstr(*runs_of(file_).at(0).hash));
  const std::string hot = exported("html", "AB00000002");
  EXPECT_THAT(hot, HasSubstr("✕ 不合格 FAIL"));
  for (const char* cell : {"degrees", "70.5", "degC", "10 … 60"}) {
    EXPECT_THAT(hot, HasSubstr(">" + std::string(cell) + "</td>"));
  }
  EXPECT_THAT(hot, HasSubstr("偏高 too high"));
  EXPECT_THAT(exported("html", "AB00000003"), HasSubstr("! 异常 ERROR"));
  EXPECT_THAT(exported("html", "<AB&\"4\">"), HasSubstr("&lt;AB&amp;\"4\"&gt;"));
}

}  // namespace
