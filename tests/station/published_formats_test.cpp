// Stored runs of every verdict against the field lists of the formats that other programs read.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "station/app/app.h"
#include "station/records/records.h"
#include "tests/harness/own_directory.h"
#include "tests/station/records_support.h"
#include "tests/station/scripted_link.h"

namespace {

using namespace records_support;
using t1station::AttemptOutcome;
using t1station::RunEnd;

// A name with * must be there, and exactly one of those with |. A list holds what each of its entries is.
// "number?" may be null too; "A|B" is one of these words; "object" has any keys, and "null" is nothing else.
constexpr const char* kOcpLine = R"({
  "sequenceNumber*": "integer", "timestamp*": "text",
  "schemaVersion|": {"major*": "integer", "minor*": "integer"},
  "testRunArtifact|": {
    "testRunStart|": {"name*": "text", "version*": "text", "commandLine*": "text", "parameters*": "object",
      "dutInfo*": {"dutInfoId*": "text", "name": "text", "platformInfos": [{"info*": "text"}],
        "softwareInfos": [{"softwareInfoId*": "text", "name*": "text", "version": "text", "revision": "text",
          "softwareType": "UNSPECIFIED|FIRMWARE|SYSTEM|APPLICATION", "computerSystem": "text"}],
        "hardwareInfos": [{"hardwareInfoId*": "text", "name*": "text", "version": "text", "revision": "text",
          "location": "text", "serialNumber": "text", "partNumber": "text", "partType": "text",
          "manufacturer": "text", "manufacturerPartNumber": "text"}],
        "metadata": "object"},
      "metadata": "object"},
    "testRunEnd|": {"status*": "COMPLETE|ERROR|SKIP", "result*": "PASS|FAIL|NOT_APPLICABLE"},
    "log|": {"severity*": "INFO|DEBUG|WARNING|ERROR|FATAL", "message*": "text"},
    "error|": {"symptom*": "text", "message": "text", "softwareInfoIds": ["text"]}},
  "testStepArtifact|": {
    "testStepId*": "text",
    "testStepStart|": {"name*": "text"},
    "testStepEnd|": {"status*": "COMPLETE|ERROR|SKIP"},
    "measurement|": {"name*": "text", "value*": "number", "unit": "text",
      "validators": [{"name": "text", "type*": "GREATER_THAN_OR_EQUAL|LESS_THAN_OR_EQUAL", "value*": "number"}],
      "hardwareInfoId": "text", "subcomponent": "object", "metadata": "object"},
    "diagnosis|": {"verdict*": "text", "type*": "PASS|FAIL|UNKNOWN", "message": "text", "hardwareInfoId": "text"},
    "log|": {"severity*": "INFO|DEBUG|WARNING|ERROR|FATAL", "message*": "text"},
    "error|": {"symptom*": "text", "message": "text", "softwareInfoIds": ["text"]},
    "extension|": {"name*": "text", "content*": "object"}}
})";

constexpr const char* kCfxMessage = R"({
  "MessageName*": "CFX.Production.TestAndInspection.UnitsTested", "Version*": "1.3", "TimeStamp*": "text",
  "UniqueID*": "text", "Source*": "text", "Target*": "null", "RequestID*": "null",
  "MessageBody*": {
    "$type*": "CFX.Production.TestAndInspection.UnitsTested, CFX", "TransactionId*": "text",
    "TestMethod*": "Automated",
    "Tester*": {"OperatorIdentifier*": "text?", "ActorType*": "Human", "LastName*": "null", "FirstName*": "null",
      "LoginName*": "text?"},
    "SamplingInformation*": {"SamplingMethod*": "NoSampling", "LotSize*": "null", "SampleSize*": "null"},
    "TestedUnits*": [{"UnitIdentifier*": "text", "UnitPositionNumber*": "integer",
      "OverallResult*": "Passed|Failed|Error|Aborted",
      "Tests*": [{"UniqueIdentifier*": "text", "TestName*": "text", "TestStartTime*": "text",
        "TestEndTime*": "text", "TestConditions*": ["null"], "TestProcedure*": "text", "Comments*": "text",
        "Result*": "Passed|Failed|Error|Aborted", "Error*": "text?",
        "SymptomsFound*": [{"UniqueIdentifier*": "text", "SymptomCode*": "text", "SymptomCategory*": "null",
          "Description*": "text", "Comments*": "null", "ComponentsOfInterest*": ["null"],
          "RegionOfInterest*": "null", "Priority*": "integer", "RelatedMeasurements*": ["null"]}],
        "DefectsFound*": ["null"],
        "Measurements*": [{"$type*": "CFX.Structures.NumericMeasurement, CFX",
          "MeasuredValue*": {"Value*": "number?", "ValueUnits*": "text?", "ExpectedValue*": "null",
            "ExpectedValueUnits*": "null", "MinimumAcceptableValue*": "number?",
            "MaximumAcceptableValue*": "number?"},
          "UniqueIdentifier*": "text", "MeasurementName*": "text", "TimeRecorded*": "text",
          "Sequence*": "integer", "Result*": "Passed|Failed|Error|Aborted", "CRDs*": "null"}]}]}]}
})";

bool is_a(const nlohmann::json& value, std::string words) {
  if (words.back() == '?') {
    if (value.is_null()) return true;
    words.pop_back();
  }
  if (words == "text") return value.is_string();
  if (words == "number") return value.is_number();
  if (words == "integer") return value.is_number_integer();
  if (words == "object") return value.is_object();
  if (words == "null") return value.is_null();
  if (!value.is_string()) return false;
  const std::string word = value;
  return ("|" + words + "|").find("|" + word + "|") != std::string::npos;
}

std::string trouble_with(const nlohmann::json& value, const nlohmann::json& shape, const std::string& place);

std::string trouble_with_object(const nlohmann::json& value, const nlohmann::json& shape,
                                const std::string& place) {
  if (!value.is_object()) return place + " is no object";
  std::size_t known = 0, choices = 0, chosen = 0;
  for (const auto& [marked, inner] : shape.items()) {
    const char mark = marked.back();
    const std::string name = mark == '*' || mark == '|' ? marked.substr(0, marked.size() - 1) : marked;
    if (mark == '|') ++choices;
    if (!value.contains(name)) {
      if (mark == '*') return place + " has no " + name;
      continue;
    }
    ++known;
    if (mark == '|') ++chosen;
    const std::string trouble = trouble_with(value[name], inner, place + "." + name);
    if (!trouble.empty()) return trouble;
  }
  if (known != value.size()) return place + " has a key that nobody knows: " + value.dump();
  return choices > 0 && chosen != 1 ? place + " is not exactly one thing: " + value.dump() : "";
}

// Nothing when the value has that shape.
std::string trouble_with(const nlohmann::json& value, const nlohmann::json& shape, const std::string& place) {
  if (shape.is_object()) return trouble_with_object(value, shape, place);
  if (shape.is_string()) return is_a(value, shape) ? "" : place + " is " + value.dump();
  if (!value.is_array()) return place + " is no list";
  for (const nlohmann::json& entry : value) {
    std::string trouble = trouble_with(entry, shape[0], place + "[]");
    if (!trouble.empty()) return trouble;
  }
  return {};
}

/// Runs of every verdict and one without an end; one whose number was not found, one that a person judged.
class PublishedFormatsTest : public testing::Test {
 protected:
  PublishedFormatsTest() {
    records_.emplace(file_);
    begin("AB00000009", true);  // the station dies here
    records_.reset();
    records_.emplace(file_);
    pass(*records_, "AB00000001", true);
    fail(*records_, "AB00000002");
    t1station::AttemptEnd unfound = measured(70);
    unfound.measurements[0].value.reset();
    unfound.measurements[0].low.reset();
    unfound.measurements[0].unit = "";
    unfound.measurements[0].outcome = "not_found";
    unfound.answer = "no";
    end("AB00000003", unfound);
    end("AB00000004", ended(AttemptOutcome::timed_out));
    end("AB00000005", ended(AttemptOutcome::broken));
    end("AB00000006", ended(AttemptOutcome::stopped));
    records_->end_run(records_->begin_run(unit("AB00000007"), plan()), {RunEnd::Why::error, "no board", 60});
    begin("AB00000008", true);
  }

  /// A run whose first step passed, by somebody; the second one has begun where that is said.
  std::string begin(std::string_view serial, bool is_in_second) {
    t1station::NewRun run = unit(serial);
    run.operator_name = "Li";
    const std::string id = records_->begin_run(run, plan());
    const std::string connection = records_->add_connection(id, "192.0.2.7:36001", kBuild);
    records_->end_attempt(records_->begin_attempt(clock_attempt(id, connection)),
                          ended(AttemptOutcome::passed));
    if (is_in_second) records_->begin_attempt(temperature_attempt(id, connection));
    return id;
  }
  void end(std::string_view serial, const t1station::AttemptEnd& end) {
    const std::string id = begin(serial, false);
    const std::string connection = runs_of(file_).back().connections.at(0).id;
    records_->end_attempt(records_->begin_attempt(temperature_attempt(id, connection)), end);
    records_->end_run(id, {});
  }

  std::vector<nlohmann::json> exported(const std::string& format) {
    std::ostringstream out, err;
    const ManualClock clock;
    t1station::Interrupt interrupt;
    const t1station::Environment around{out, err, clock, interrupt, "2026-11-22T03:17:12"};
    EXPECT_EQ(t1station::run_app({"records", "export", file_, "--format", format}, around), 0) << err.str();
    std::istringstream text(out.str());
    std::vector<nlohmann::json> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(nlohmann::json::parse(line));
    return lines;
  }
  void expect_shape(const std::string& format, const char* shape) {
    for (const nlohmann::json& line : exported(format))
      EXPECT_EQ(trouble_with(line, nlohmann::json::parse(shape), format), "");
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
  std::optional<t1station::Records> records_;
};

TEST_F(PublishedFormatsTest, ARunOfAnyVerdictHasTheFieldsOfTheOpenTestOutputAndNoOther) {
  std::map<std::string, int> ends;
  for (const t1station::StoredRun& run : runs_of(file_)) ++ends[run.verdict.value_or("open")];
  EXPECT_EQ(
      ends,
      (std::map<std::string, int>{
          {"passed", 1}, {"failed", 2}, {"error", 3}, {"stopped", 1}, {"interrupted", 1}, {"open", 1}}));
  expect_shape("ocp", kOcpLine);
}

TEST_F(PublishedFormatsTest, ARunOfAnyVerdictHasTheFieldsOfAFactoryMessageAndNoOther) {
  EXPECT_EQ(exported("cfx").size(), 8U);
  expect_shape("cfx", kCfxMessage);
}

}  // namespace
