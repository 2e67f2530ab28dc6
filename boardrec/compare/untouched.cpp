#include "boardrec/compare/untouched.h"

#include <set>
#include <utility>

#include "boardrec/session/named_calls.h"

namespace boardrec {

std::vector<KnownNode> untouched(const Recording& recording, const std::vector<KnownNode>& known) {
  std::set<std::string> nodes;
  std::set<std::pair<std::string, std::uint32_t>> requests;
  for (const NamedCall& call : named_calls(recording)) {
    const Record& record = *call.record;
    nodes.insert(record.call == Call::mount ? value_at(record.in, 0).bytes : call.node);
    if (record.call == Call::ioctl)
      requests.emplace(call.node, static_cast<std::uint32_t>(value_at(record.in, 1).number));
  }
  std::vector<KnownNode> rest;
  for (KnownNode node : known) {
    std::erase_if(node.requests, [&](const KnownNode::Request& request) {
      return requests.contains({node.path, request.number});
    });
    node.is_used = nodes.contains(node.path);
    if (!node.is_used || !node.requests.empty()) rest.push_back(std::move(node));
  }
  return rest;
}

}  // namespace boardrec
