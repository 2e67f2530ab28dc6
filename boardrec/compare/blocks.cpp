#include "boardrec/compare/blocks.h"

#include <map>

#include "boardrec/session/encoding.h"
#include "boardrec/session/named_calls.h"

namespace boardrec {
namespace {

constexpr std::string_view kMedia = "/mnt/";

/// Gives each block a number in place of its digest; the same bytes have the same one.
class BlockNumbers {
 public:
  void number(std::vector<Value>& values) {
    for (Value& value : values) {
      const bool is_long = value.size > kLongestWhole;
      if (!is_long || (value.type != ValueType::bytes && value.type != ValueType::digest)) continue;
      const std::uint64_t digest =
          value.type == ValueType::digest ? value.digest : digest_of(std::string_view(value.bytes));
      const std::uint64_t number = known_.emplace(digest, known_.size() + 1).first->second;
      value = {.type = ValueType::digest, .size = value.size, .digest = number};
    }
  }

 private:
  std::map<std::uint64_t, std::uint64_t> known_{};
};

}  // namespace

Recording with_numbered_blocks(const Recording& recording) {
  Recording numbered = recording;
  BlockNumbers numbers;
  for (const NamedCall& call : named_calls(recording)) {
    if (call.record->call == Call::mount) numbers = {};  // the next test, of the next medium
    const bool moves = call.record->call == Call::read || call.record->call == Call::write;
    if (!moves || !call.node.starts_with(kMedia)) continue;
    Record& record = numbered.records[call.record->number];
    numbers.number(record.in);
    numbers.number(record.out);
  }
  return numbered;
}

}  // namespace boardrec
