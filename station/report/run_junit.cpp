#include "station/report/run_junit.h"

#include <algorithm>
#include <sstream>

#include "station/catalogue/codes.h"
#include "station/report/attempt_words.h"
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

std::size_t count_of(const StoredRun& run, std::string_view element) {
  return static_cast<std::size_t>(
      std::count_if(run.attempts.begin(), run.attempts.end(), [&](const StoredAttempt& attempt) {
        const char* of = element_of(attempt);
        return of && of == element;
      }));
}

// Whether it ended otherwise than passed, and no attempt says so: the board never came, or another one did.
bool has_error_of_its_own(const StoredRun& run) {
  return run.verdict && run.verdict != "passed" && count_of(run, "failure") + count_of(run, "error") == 0;
}

void add_trouble(pugi::xml_node test, const char* element, const std::optional<std::string>& type,
                 const std::string& words) {
  pugi::xml_node trouble = test.append_child(element);
  set_attribute(trouble, "message", words);
  if (type) set_attribute(trouble, "type", *type);
  trouble.append_child(pugi::node_pcdata).set_value(clean_text(words).c_str());
}

void add_case(pugi::xml_node suite, const StoredAttempt& attempt) {
  pugi::xml_node test = suite.append_child("testcase");
  set_attribute(test, "classname", "boardtest." + name_of(static_cast<std::int32_t>(attempt.code)));
  set_attribute(test, "name",
                attempt.step + (attempt.number > 1 ? ", attempt " + std::to_string(attempt.number) : ""));
  set_attribute(test, "time", milliseconds_text(attempt.seconds.value_or(0)));
  if (const char* element = element_of(attempt)) {
    add_trouble(test, element, attempt.outcome, failure_words(attempt));
  }
}

void add_case_of_run(pugi::xml_node suite, const StoredRun& run) {
  pugi::xml_node test = suite.append_child("testcase");
  set_attribute(test, "classname", "boardtest.run");
  set_attribute(test, "name", "verdict");
  set_attribute(test, "time", milliseconds_text(0));
  add_trouble(test, "error", run.verdict, run.reason.value_or(""));
}

}  // namespace

std::string_view junit_header() {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
}

std::string_view junit_footer() {
  return "</testsuites>\n";
}

std::string junit_suite(const StoredRun& run) {
  const std::size_t of_run = has_error_of_its_own(run) ? 1 : 0;
  pugi::xml_document xml;
  pugi::xml_node suite = xml.append_child("testsuite");
  set_attribute(suite, "name", run.plan_name + " " + run.plan_version + " of " + run.serial);
  set_attribute(suite, "id", run.id);
  set_attribute(suite, "tests", std::to_string(run.attempts.size() + of_run));
  set_attribute(suite, "failures", std::to_string(count_of(run, "failure")));
  set_attribute(suite, "errors", std::to_string(count_of(run, "error") + of_run));
  set_attribute(suite, "skipped", std::to_string(count_of(run, "skipped")));
  set_attribute(suite, "time", milliseconds_text(run.seconds.value_or(0)));
  set_attribute(suite, "timestamp", run.started.substr(0, run.started.find('.')));
  set_attribute(suite, "hostname", run.station);
  pugi::xml_node properties = suite.append_child("properties");
  add_property(properties, "serial", run.serial);
  add_property(properties, "run", run.id);
  add_property(properties, "kind", run.kind);
  add_what_is_there(properties, "verdict", run.verdict);
  add_what_is_there(properties, "reason", run.reason);
  add_what_is_there(properties, "slot", run.slot);
  add_what_is_there(properties, "operator", run.operator_name);
  add_what_is_there(properties, "board", run.board);
  add_what_is_there(properties, "build", run.build);
  add_property(properties, "software", run.software);
  add_what_is_there(properties, "hash", run.hash);
  for (const StoredAttempt& attempt : run.attempts) add_case(suite, attempt);
  if (of_run > 0) add_case_of_run(suite, run);
  std::ostringstream text;
  suite.print(text, "  ", pugi::format_default, pugi::encoding_utf8, 1);
  return text.str();
}

}  // namespace t1station
