#include "boardrec/tool/show.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "boardrec/session/named_calls.h"
#include "boardrec/tool/exit_code.h"

namespace boardrec {
namespace {

constexpr double kNanosecond = 1e-9;

/// Whether it is one of a call's nodes: a select has several.
bool has_node(std::string_view nodes, std::string_view node) {
  for (std::size_t at = 0; at <= nodes.size();) {
    const std::size_t end = std::min(nodes.find(' ', at), nodes.size());
    if (nodes.substr(at, end - at) == node) return true;
    at = end + 1;
  }
  return nodes == node;
}

bool is_wanted(const NamedCall& call, const ShowOptions& options) {
  const double began = static_cast<double>(call.record->began) * kNanosecond;
  return (!options.thread || call.record->thread == *options.thread) &&
         (!options.from || began >= *options.from) && (!options.to || began < *options.to) &&
         (options.node.empty() || has_node(call.node, options.node));
}

/// What the options ask for, for people: " of thread 3 on /dev/rtc from 2 s on".
std::string asked_for(const ShowOptions& options) {
  const auto seconds = [](double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g s", value);
    return std::string(text);
  };
  std::string text;
  if (options.thread) text += " of thread " + std::to_string(*options.thread);
  if (!options.node.empty()) text += " on " + printable(options.node);
  if (options.from) text += " from " + seconds(*options.from) + " on";
  if (options.to) text += " before " + seconds(*options.to);
  return text;
}

}  // namespace

void show(const Recording& recording, const ShowOptions& options, std::ostream& out) {
  bool found = false;
  for (const NamedCall& call : options.all ? named_calls(recording) : calls_of_trace(recording)) {
    if (!is_wanted(call, options)) continue;
    found = true;
    if (options.all) out << call.record->number << ' ' << call.record->thread << ' ';
    out << timed_text(call) << '\n';
    if (options.bytes) out << values_text(*call.record, options.form);
  }
  const std::string asked = asked_for(options);
  if (!found && !asked.empty()) throw UsageError("the recording has no call" + asked);
}

}  // namespace boardrec
