#include "boardrec/tool/show.h"

#include <string_view>

#include "boardrec/session/named_calls.h"

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

}  // namespace

void show(const Recording& recording, const ShowOptions& options, std::ostream& out) {
  for (const NamedCall& call : options.all ? named_calls(recording) : calls_of_trace(recording)) {
    if (!is_wanted(call, options)) continue;
    if (options.all) out << call.record->number << ' ' << call.record->thread << ' ';
    out << timed_text(call) << '\n';
    if (options.bytes) out << values_text(*call.record, options.form);
  }
}

}  // namespace boardrec
