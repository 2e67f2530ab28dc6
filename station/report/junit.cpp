// Results as JUnit XML. The writer escapes; texts are clean of control characters already.
#include "station/report/junit.h"

#include <array>
#include <cstdio>
#include <sstream>

#include "station/catalogue/codes.h"
#include "station/report/attempt_words.h"
#include "station/report/junit_xml.h"
#include "station/text/software.h"
#include "station/text/text.h"

namespace t1station {
namespace {

std::string measured_text(double number) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.10g", number);
  return text.data();
}

void set_counts(pugi::xml_node& element, const RunReport& report) {
  set_attribute(element, "tests", std::to_string(report.results.size()));
  set_attribute(element, "failures", std::to_string(report.count(Outcome::failed)));
  set_attribute(element, "errors",
                std::to_string(report.count(Outcome::timed_out) + report.count(Outcome::broken)));
}

void add_step(pugi::xml_node details, const Result& result) {
  add_property(details, "step", result.step);
  add_property(details, "attempts", std::to_string(result.attempts));
  if (!result.answer.empty()) add_property(details, "answer", result.answer);
  for (const Measurement& measurement : result.measurements) {
    const std::string value =
        measurement.value ? measured_text(*measurement.value) + " " + measurement.unit : "";
    add_property(details, ("measurement " + measurement.name).c_str(), value + " " + measurement.outcome);
  }
}

void add_verdict(pugi::xml_node& test_case, const Result& result) {
  const char* element = nullptr;
  switch (result.outcome) {
    case Outcome::passed:
      return;
    case Outcome::failed:
      element = "failure";
      break;
    case Outcome::timed_out:
    case Outcome::broken:
      element = "error";
      break;
    case Outcome::interrupted:
    case Outcome::not_run:
      element = "skipped";
      break;
  }
  const std::string words = clean_text(failure_words(result));
  pugi::xml_node verdict = test_case.append_child(element);
  set_attribute(verdict, "message", words);
  if (result.outcome == Outcome::interrupted || result.outcome == Outcome::not_run) return;
  set_attribute(verdict, "type", std::string(outcome_name(result.outcome)));
  verdict.append_child(pugi::node_pcdata).set_value(words.c_str());
}

}  // namespace

std::string junit_report(const RunReport& report) {
  pugi::xml_document xml;
  pugi::xml_node declaration = xml.append_child(pugi::node_declaration);
  set_attribute(declaration, "version", "1.0");
  set_attribute(declaration, "encoding", "UTF-8");

  pugi::xml_node suites = xml.append_child("testsuites");
  set_counts(suites, report);
  set_attribute(suites, "time", milliseconds_text(report.seconds()));

  pugi::xml_node suite = suites.append_child("testsuite");
  set_attribute(suite, "name", "boardtest");
  set_counts(suite, report);
  set_attribute(suite, "skipped",
                std::to_string(report.count(Outcome::interrupted) + report.count(Outcome::not_run)));
  set_attribute(suite, "time", milliseconds_text(report.seconds()));
  set_attribute(suite, "timestamp", report.started);
  set_attribute(suite, "hostname", report.board);

  pugi::xml_node properties = suite.append_child("properties");
  add_property(properties, "build", report.build);
  add_property(properties, "software", software());
  if (report.ended) {
    add_property(properties, "serial", report.serial);
    add_property(properties, "plan", report.plan + " " + report.plan_version);
    add_property(properties, "run", report.run);
    add_property(properties, "verdict", std::string(verdict_name(report.ended->verdict)));
    add_property(properties, "reason", report.ended->reason);
    add_property(properties, "retried", report.ended->retried ? "1" : "0");
    add_property(properties, "hash", report.ended->hash);
  }

  for (const Result& result : report.results) {
    pugi::xml_node test_case = suite.append_child("testcase");
    set_attribute(test_case, "classname", "boardtest." + name_of(result.code));
    set_attribute(test_case, "name", std::to_string(result.code) + " " + title_of(result.code));
    set_attribute(test_case, "time", milliseconds_text(result.seconds));
    if (result.parameter || !result.step.empty()) {
      pugi::xml_node details = test_case.append_child("properties");
      if (result.parameter) add_property(details, "parameter", std::to_string(*result.parameter));
      if (!result.step.empty()) add_step(details, result);
    }
    add_verdict(test_case, result);
  }
  std::ostringstream text;
  xml.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
  return text.str();
}

}  // namespace t1station
