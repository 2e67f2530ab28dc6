#include "station/report/run_junit.h"

#include <algorithm>
#include <sstream>

#include "station/catalogue/codes.h"
#include "station/report/junit_xml.h"
#include "station/text/text.h"

namespace t1station {
namespace {

void add_what_is_there(pugi::xml_node properties, const char* name, const std::optional<std::string>& value) {
  if (value) add_property(properties, name, *value);
}

// What an attempt that did not pass is in JUnit's words; null for a pass.
const char* element_of(const StoredAttempt& attempt) {
  if (attempt.outcome == "passed") return nullptr;
  if (attempt.outcome == "failed") return "failure";
  return !attempt.outcome || attempt.outcome == "stopped" ? "skipped" : "error";
}

std::string count_of(const StoredRun& run, std::string_view element) {
  return std::to_string(
      std::count_if(run.attempts.begin(), run.attempts.end(), [&](const StoredAttempt& attempt) {
        const char* of = element_of(attempt);
        return of && of == element;
      }));
}

void add_case(pugi::xml_node suite, const StoredAttempt& attempt) {
  pugi::xml_node test = suite.append_child("testcase");
  set_attribute(test, "classname", "boardtest." + name_of(static_cast<std::int32_t>(attempt.code)));
  set_attribute(test, "name",
                attempt.step + (attempt.number > 1 ? ", attempt " + std::to_string(attempt.number) : ""));
  set_attribute(test, "time", milliseconds_text(attempt.seconds.value_or(0)));
  if (const char* element = element_of(attempt)) {
    pugi::xml_node verdict = test.append_child(element);
    const std::string words = attempt.description.value_or("");
    set_attribute(verdict, "message", words);
    if (attempt.outcome) set_attribute(verdict, "type", *attempt.outcome);
    verdict.append_child(pugi::node_pcdata).set_value(clean_text(words).c_str());
  }
}

}  // namespace

std::string_view junit_header() {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
}

std::string_view junit_footer() {
  return "</testsuites>\n";
}

std::string junit_suite(const StoredRun& run) {
  pugi::xml_document xml;
  pugi::xml_node suite = xml.append_child("testsuite");
  set_attribute(suite, "name", run.plan_name + " " + run.plan_version + " of " + run.serial);
  set_attribute(suite, "id", run.id);
  set_attribute(suite, "tests", std::to_string(run.attempts.size()));
  set_attribute(suite, "failures", count_of(run, "failure"));
  set_attribute(suite, "errors", count_of(run, "error"));
  set_attribute(suite, "skipped", count_of(run, "skipped"));
  set_attribute(suite, "time", milliseconds_text(run.seconds.value_or(0)));
  set_attribute(suite, "timestamp", run.started.substr(0, run.started.find('.')));
  set_attribute(suite, "hostname", run.station);
  pugi::xml_node properties = suite.append_child("properties");
  add_property(properties, "serial", run.serial);
  add_property(properties, "run", run.id);
  add_what_is_there(properties, "verdict", run.verdict);
  add_what_is_there(properties, "reason", run.reason);
  add_what_is_there(properties, "slot", run.slot);
  add_what_is_there(properties, "operator", run.operator_name);
  add_what_is_there(properties, "board", run.board);
  add_what_is_there(properties, "build", run.build);
  add_property(properties, "software", run.software);
  add_what_is_there(properties, "hash", run.hash);
  for (const StoredAttempt& attempt : run.attempts) add_case(suite, attempt);
  std::ostringstream text;
  suite.print(text, "  ", pugi::format_default, pugi::encoding_utf8, 1);
  return text.str();
}

}  // namespace t1station
