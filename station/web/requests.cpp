#include "station/web/requests.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>

#include "station/figures/records_figures.h"
#include "station/records/records.h"
#include "station/report/figures_json.h"
#include "station/report/run_json.h"
#include "station/text/json.h"
#include "station/text/text.h"
#include "station/web/asked.h"
#include "station/web/documents.h"
#include "station/web/json_body.h"
#include "station/web/pages.h"
#include "station/web/report_pages.h"
#include "station/web/run_question.h"

namespace t1station {
namespace {

constexpr int kRunsByDefault = 100, kMostRuns = 1000;

WebAnswer json_answer(std::string body) {
  WebAnswer answer;
  answer.body = std::move(body);
  return answer;
}

WebAnswer json_answer(const Json& body) {
  return json_answer(json_text(body));
}

WebAnswer done() {
  return json_answer(std::string("{}"));
}

// Who is logged in is the operator, whatever the body says.
std::string operator_of(const Call& call, const JsonBody& body) {
  const std::optional<std::string> said = body.optional_line("operator");
  return call.asker.name.empty() ? said.value_or("") : call.asker.name;
}

int asked_limit(const Call& call) {
  const std::optional<std::string> word = asked(call, "limit");
  if (!word) return kRunsByDefault;
  int limit = 0;
  const char* end = word->data() + word->size();
  const auto [stop, error] = std::from_chars(word->data(), end, limit);
  if (error == std::errc() && stop == end && limit >= 1 && limit <= kMostRuns) return limit;
  throw WebError(400, "\"limit\" is 1 to " + std::to_string(kMostRuns));
}

// As it was sent: a page has one way to write it.
std::string_view path_of(const WebRequest& request) {
  return std::string_view(request.target).substr(0, request.target.find('?'));
}

WebAnswer show_page(const Call& call, Subject& /*subject*/) {
  const PageFile* file = page_file(path_of(call.request));
  if (!file) throw WebError(404, "there is no such page");
  WebAnswer answer = json_answer(std::string(file->bytes));
  answer.media_type = file->media_type;
  return answer;
}

WebAnswer show_line(const Call& /*call*/, Subject& subject) {
  return json_answer(with_time(LineDocument().text(subject.line().view()), record_time()));
}

WebAnswer show_session(const Call& call, Subject& /*subject*/) {
  Json session{{"name", nullptr}, {"role", role_name(call.asker.role)}};
  if (!call.asker.name.empty()) session["name"] = call.asker.name;
  return json_answer(session);
}

WebAnswer show_runs(const Call& call, Subject& subject) {
  RunFilter filter = asked_runs(call, {"limit"});
  filter.limit = asked_limit(call);
  return json_answer(runs_document(subject.runs(filter)));
}

WebAnswer show_run(const Call& call, Subject& subject) {
  const std::optional<StoredRun> run = subject.reader().run(call.words[0]);
  if (!run) throw WebError(404, "there is no such run");
  return json_answer(run_json(*run));
}

WebAnswer show_stats(const Call& call, Subject& subject) {
  refuse_other_names(call.target, {"from", "to", "plan", "batch"});
  const auto [from, to] = asked_times(call);
  const FigureWindow window{from, to, asked(call, "plan"), asked(call, "batch")};
  return json_answer(figures_json(subject.figures(window)));
}

WebAnswer show_metrics(const Call& /*call*/, Subject& subject) {
  WebAnswer answer = json_answer(metrics_text(subject.line().view(), subject.counts(), subject.streams));
  answer.media_type = "text/plain; version=0.0.4; charset=utf-8";
  return answer;
}

WebAnswer show_health(const Call& /*call*/, Subject& subject) {
  const std::string records = subject.line().view().records;
  if (records != "ok") throw WebError(503, records);
  return json_answer(Json{{"records", records}});
}

WebAnswer open_events(const Call& call, Subject& /*subject*/) {
  WebAnswer answer;
  answer.media_type = "text/event-stream";
  answer.is_stream = true;
  answer.session = call.session;
  return answer;
}

WebAnswer scan(const Call& call, Subject& subject) {
  const JsonBody body(call.request.body, {"text", "slot", "operator"});
  const ScanTaken taken =
      subject.line().scan(body.text("text"), body.optional_text("slot"), operator_of(call, body));
  Json answer{{"slot", taken.slot}};
  if (!taken.run.empty()) answer["run"] = taken.run;
  return json_answer(answer);
}

WebAnswer stop(const Call& call, Subject& subject) {
  subject.line().stop(call.words[0], operator_of(call, {call.request.body, {"operator"}}));
  return done();
}

WebAnswer acknowledge(const Call& call, Subject& subject) {
  subject.line().acknowledge(call.words[0], operator_of(call, {call.request.body, {"operator"}}));
  return done();
}

WebAnswer answer_question(const Call& call, Subject& subject) {
  const JsonBody body(call.request.body, {"answer", "operator"});
  const std::string word = body.text("answer");
  if (word != "yes" && word != "no") throw WebError(400, "\"answer\" is yes or no");
  subject.line().answer(call.words[0], word == "yes", operator_of(call, body));
  return done();
}

WebAnswer lock(const Call& call, Subject& subject) {
  const JsonBody body(call.request.body, {"reason", "operator"});
  subject.line().lock(call.words[0], body.line("reason"), operator_of(call, body));
  return done();
}

WebAnswer unlock(const Call& call, Subject& subject) {
  const JsonBody body(call.request.body, {"reason", "operator"});
  subject.line().unlock(call.words[0], body.line("reason"), operator_of(call, body));
  return done();
}

WebAnswer release(const Call& call, Subject& subject) {
  const JsonBody body(call.request.body, {"reason", "operator"});
  subject.line().release(call.words[0], body.line("reason"), operator_of(call, body));
  return done();
}

constexpr std::array<RequestRow, 24> kRows{{
    {"GET", "/", false, Role::viewer, Place::at_once, show_page},
    {"GET", "/login", true, Role::viewer, Place::at_once, show_page},
    {"GET", "/results", false, Role::viewer, Place::figures, show_results},
    {"GET", "/runs", false, Role::viewer, Place::reading, show_run_list},
    {"GET", "/runs/*", false, Role::viewer, Place::reading, show_run_report},
    {"GET", "/page/report.css", false, Role::viewer, Place::at_once, show_report_style},
    {"GET", "/page/*", false, Role::viewer, Place::at_once, show_page},
    {"GET", "/healthz", true, Role::viewer, Place::at_once, show_health},
    {"GET", "/metrics", true, Role::viewer, Place::reading, show_metrics},
    {"GET", "/api/line", false, Role::viewer, Place::at_once, show_line},
    {"GET", "/api/events", false, Role::viewer, Place::events, open_events},
    {"GET", "/api/session", false, Role::viewer, Place::at_once, show_session},
    {"GET", "/api/runs", false, Role::viewer, Place::reading, show_runs},
    {"GET", "/api/runs/*", false, Role::viewer, Place::reading, show_run},
    {"GET", "/api/stats", false, Role::viewer, Place::figures, show_stats},
    {"POST", "/api/login", true, Role::viewer, Place::login, nullptr},
    {"POST", "/api/logout", true, Role::viewer, Place::logout, nullptr},
    {"POST", "/api/scan", false, Role::operator_, Place::storing, scan},
    {"POST", "/api/slots/*/stop", false, Role::operator_, Place::storing, stop},
    {"POST", "/api/slots/*/acknowledge", false, Role::operator_, Place::storing, acknowledge},
    {"POST", "/api/slots/*/answer", false, Role::operator_, Place::storing, answer_question},
    {"POST", "/api/slots/*/lock", false, Role::engineer, Place::storing, lock},
    {"POST", "/api/slots/*/unlock", false, Role::engineer, Place::storing, unlock},
    {"POST", "/api/units/*/release", false, Role::engineer, Place::storing, release},
}};

// Whether a path is that of a row; takes down what stands for the stars.
bool matches(std::string_view pattern, const std::vector<std::string>& path,
             std::vector<std::string>& words) {
  words.clear();
  std::size_t part = 0;
  for (pattern.remove_prefix(1); part < path.size(); ++part) {
    const std::size_t end = pattern.find('/');
    const std::string_view wanted = pattern.substr(0, end);
    if (wanted == "*" && !path[part].empty()) {
      words.push_back(path[part]);
    } else if (wanted != path[part]) {
      return false;
    }
    if (end == std::string_view::npos) return part + 1 == path.size();
    pattern.remove_prefix(end + 1);
  }
  return false;
}

std::string allowed_methods(std::string_view method) {
  return method == "GET" ? "GET, HEAD" : std::string(method);
}

int status_of(LineRefusal::Why why) {
  switch (why) {
    case LineRefusal::Why::malformed:
      return 400;
    case LineRefusal::Why::unknown:
      return 404;
    case LineRefusal::Why::refused:
      return 409;
    case LineRefusal::Why::cannot_store:
      break;
  }
  return 503;
}

bool is_json(std::string_view content_type) {
  std::string type(content_type.substr(0, content_type.find(';')));
  while (!type.empty() && type.back() == ' ') type.pop_back();
  std::transform(type.begin(), type.end(), type.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return type == "application/json";
}

}  // namespace

Subject::Subject(Line& line, std::string records_file) : line_(line), records_file_(std::move(records_file)) {
  counts_.last = reader().last_sequence();
}

EndCounts Subject::counts() {
  const std::lock_guard hold(lock_);
  reader().count(counts_);
  return counts_;
}

std::vector<StoredRun> Subject::runs(const RunFilter& filter) const {
  std::vector<StoredRun> runs;
  const auto add = [&runs](const StoredRun& run) { runs.push_back(run); };
  for_each_run(records_file_, filter, add, kFewestKeptRuns, &is_ending_);
  return runs;
}

Figures Subject::figures(const FigureWindow& window) const {
  return find_figures(records_file_, window, kFewestKeptRuns, &is_ending_);
}

const RequestRow& row_of(Call& call) {
  call.target = parse_target(call.request.target);
  const std::string method = call.request.method == "HEAD" ? "GET" : call.request.method;
  std::string allowed;
  for (const RequestRow& row : kRows) {
    if (!matches(row.path, call.target.path, call.words)) continue;
    if (row.method == method) return row;
    allowed = allowed_methods(row.method);
  }
  if (allowed.empty()) throw WebError(404, "there is nothing at this path");
  throw WebError(405, call.request.method + " is not possible here", {{"Allow", allowed}});
}

void check_state_change(const RequestRow& row, const WebRequest& request, const std::string& own_origin) {
  if (row.method != "POST") return;
  if (request.origin && *request.origin != own_origin)
    throw WebError(403, "another site's page asks for this");
  if (!is_json(request.content_type)) throw WebError(415, "the body must be application/json");
}

WebAnswer error_answer_of_current() {
  try {
    throw;
  } catch (const WebError& error) {
    return error_answer(error);
  } catch (const LineRefusal& refusal) {
    return error_answer({status_of(refusal.why()), refusal.what()});
  } catch (const RecordsBroken& trouble) {
    return error_answer({503, trouble.what()});
  } catch (const RecordsRefused& trouble) {
    return error_answer({503, trouble.what()});
  } catch (const std::exception& error) {
    return error_answer({500, error.what()});
  }
}

bool is_open(const RequestRow& row, const Call& call) {
  return row.is_open || (row.answer == show_page && is_of_login_page(path_of(call.request)));
}

WebAnswer login_page_instead(const RequestRow& row) {
  const bool is_page = row.path == "/" || row.path == "/results" || row.path.starts_with("/runs");
  const PageFile* file = is_page ? page_file("/login") : nullptr;
  if (!file) throw WebError(401, "log in first");
  WebAnswer answer;
  answer.status = 401;
  answer.media_type = file->media_type;
  answer.body = file->bytes;
  return answer;
}

}  // namespace t1station
