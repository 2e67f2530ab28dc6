#include "boardrec/tool/redact.h"

#include <linux/sockios.h>

#include <algorithm>
#include <set>
#include <span>

#include "boardrec/session/encoding.h"
#include "boardrec/session/named_calls.h"
#include "boardrec/tool/exit_code.h"
#include "boardrec/tool/stand_ins.h"
#include "boardrec/tool/table.h"

namespace boardrec {
namespace {

/// A part of a record or partition, in bytes.
struct Part {
  std::size_t at, size;
};

// ---- the boot block
constexpr std::int64_t kBootBlock = 0x80044801;
constexpr std::size_t kBootBlockSize = 256;
constexpr Part kMacs[] = {{53, 6}, {59, 6}};
constexpr Part kSerials[] = {{65, 8}, {73, 9}, {192, 8}};  // made on, production number, written on
// A checksum would tell what the bytes were; the others nobody knows.
constexpr Part kEmptied[] = {{4, 4}, {30, 14}, {200, 4}, {209, 47}};

// ---- what SIOCGIFADDR answers: the name of the interface, then the address as bind(2) takes it
constexpr Part kInterfaceAddress{20, 4};

// ---- the factory partitions: records that hold calibration values, and nothing else
constexpr Part kFlashRecords[] = {
    {0x130000, 0xF800},  // flat-field correction: its header, and the values behind it
    {0x13F800, 1580},    // timing generator
    {0x158000, 4112},    // dead pixels
    {0x15FC00, 64},      // substrate voltage
    {0x15FC40, 344},     // its sweep
};
constexpr Part kEmmcRecords[] = {{0x0, 4112}, {0x10000, 0xF800}, {0x20000, 1580}, {0x30000, 64}};
constexpr std::string_view kFlash = "/dev/mtd4";
constexpr std::string_view kEmmc = "/dev/mmcblk0p7";

bool is_partition(std::string_view node) {
  return node.starts_with("/dev/mtd") || node.starts_with("/dev/mmcblk");
}

std::span<const Part> known_records(std::string_view node) {
  if (node == kFlash) return kFlashRecords;
  return node == kEmmc ? std::span<const Part>(kEmmcRecords) : std::span<const Part>();
}

class Redactor {
 public:
  Redactor(const Recording& recording, const std::vector<std::string>& dropped)
      : calls_(named_calls(recording)), dropped_(dropped) {
    done_.recording = recording;
  }

  Redaction run() {
    for (const std::string& node : dropped_) {
      if (std::ranges::find(calls_, node, &NamedCall::node) == calls_.end())
        throw UsageError("--drop: no call of the recording is on " + printable(node));
    }
    // Serial numbers and MAC addresses first: they may stand elsewhere before the boot block is read.
    for (Record& record : done_.recording.records) clean_boot_block(record);
    for (std::size_t i = 0; i < calls_.size(); ++i) {
      Record& record = done_.recording.records[i];
      clean_partition(calls_[i], record);
      clean_interface(record);
      for (Value& value : record.in) clean_text(value);
      for (Value& value : record.out) clean_text(value);
      learn_digests(calls_[i].record->in, record.in);
      learn_digests(calls_[i].record->out, record.out);
      drop(calls_[i], record);
      count_remaining(calls_[i], record);
    }
    done_.addresses = stand_ins_.addresses();
    done_.macs = stand_ins_.macs();
    done_.serials = stand_ins_.serials();
    return std::move(done_);
  }

 private:
  /// Long blocks that have other bytes now may stand as digest elsewhere.
  void learn_digests(const std::vector<Value>& before, const std::vector<Value>& now) {
    for (std::size_t i = 0; i < before.size(); ++i) {
      const bool is_long = before[i].bytes.size() > kLongestWhole;
      if (is_long && before[i].bytes != now[i].bytes)
        digests_[digest_of(before[i].bytes)] = digest_of(now[i].bytes);
    }
  }

  void clean_boot_block(Record& record) {
    if (record.call != Call::ioctl || value_at(record.in, 1).number != kBootBlock) return;
    for (std::vector<Value>* side : {&record.in, &record.out}) {
      for (Value& value : *side) {
        if (value.bytes.size() != kBootBlockSize || is_blank(value.bytes)) continue;
        std::string block = value.bytes;
        for (const Part& part : kMacs)
          block.replace(part.at, part.size, stand_ins_.mac(block.substr(part.at, part.size)));
        for (const Part& part : kSerials)
          block.replace(part.at, part.size, stand_ins_.serial(block.substr(part.at, part.size)));
        for (const Part& part : kEmptied) block.replace(part.at, part.size, part.size, '\0');
        if (block != value.bytes) ++done_.boot_blocks;
        value.bytes = block;
      }
    }
  }

  void clean_interface(Record& record) {
    if (record.call != Call::ioctl || value_at(record.in, 1).number != SIOCGIFADDR || record.error != 0 ||
        record.out.empty())
      return;
    Value& answer = record.out[0];
    const Part& part = kInterfaceAddress;
    if (answer.bytes.size() < part.at + part.size) return;
    answer.bytes.replace(part.at, part.size,
                         stand_ins_.address_bytes(answer.bytes.substr(part.at, part.size)));
  }

  /// Makes ones of what is read of a partition beside the records that are known there.
  void clean_partition(const NamedCall& call, Record& record) {
    if (!is_partition(call.node) || record.result < 0) return;
    std::size_t& position = positions_[call.opened_by];
    if (record.call == Call::open) position = 0;
    if (record.call == Call::lseek) position = static_cast<std::size_t>(record.result);
    if (record.call != Call::read && record.call != Call::write) return;
    Value* const value = record.call == Call::read ? (record.out.empty() ? nullptr : &record.out[0])
                                                   : (record.in.size() < 3 ? nullptr : &record.in[2]);
    if (value != nullptr && value->type == ValueType::bytes)
      value->bytes = without_unknown(call.node, position, value->bytes);
    // It was made of bytes that are gone now.
    const bool is_lost = value != nullptr && value->type == ValueType::digest &&
                         changed_.contains(call.node) && !digests_.contains(value->digest);
    if (is_lost) {
      *value = {};
      record.flags |= kNotRecorded;
      ++done_.lost_writes;
    }
    position += static_cast<std::size_t>(record.result);
  }

  std::string without_unknown(const std::string& node, std::size_t position, std::string bytes) {
    const std::span<const Part> records = known_records(node);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const auto has = [at = position + i](const Part& part) {
        return at >= part.at && at - part.at < part.size;
      };
      if (bytes[i] == '\xFF' || bytes[i] == '\0' || std::ranges::any_of(records, has)) continue;
      bytes[i] = '\xFF';
      changed_.insert(node);
      ++done_.flash_bytes;
    }
    return bytes;
  }

  void clean_text(Value& value) {
    if (value.type == ValueType::bytes) value.bytes = stand_ins_.in_text(value.bytes);
    const auto changed = value.type == ValueType::digest ? digests_.find(value.digest) : digests_.end();
    if (changed != digests_.end()) value.digest = changed->second;
  }

  void drop(const NamedCall& call, Record& record) {
    if (std::ranges::find(dropped_, call.node) == dropped_.end()) return;
    bool found = false;
    for (Value* value : contents(record)) {
      if (value->type != ValueType::bytes && value->type != ValueType::digest) continue;
      *value = {};
      found = true;
    }
    if (!found) return;
    record.flags |= kNotRecorded;
    ++done_.dropped;
  }

  /// The values that hold what a node was told or has told, and no path or address.
  static std::vector<Value*> contents(Record& record) {
    const CallRow* const row = find_call(record.call);
    std::vector<Value*> values;
    if (row == nullptr) return values;
    for (const auto& [side, names] : {std::pair(&record.in, row->in), std::pair(&record.out, row->out)}) {
      std::string_view rest = names;
      for (Value& value : *side) {
        const std::string_view name = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name == "bytes" || name == "record") values.push_back(&value);
      }
    }
    return values;
  }

  void count_remaining(const NamedCall& call, Record& record) {
    if (call.node.empty() || record.call == Call::start) return;
    for (const Value* value : contents(record)) {
      if (value->type == ValueType::bytes && !value->bytes.empty())
        done_.remaining[call.node] += value->bytes.size();
    }
  }

  std::vector<NamedCall> calls_;
  const std::vector<std::string>& dropped_;
  Redaction done_;
  StandIns stand_ins_;
  std::map<std::uint64_t, std::uint64_t> digests_;  ///< of what was changed: before, now
  std::map<std::size_t, std::size_t> positions_;    ///< of each opening of a partition
  std::set<std::string> changed_;                   ///< partitions of which bytes were taken out
};

}  // namespace

Redaction redact(const Recording& recording, const std::vector<std::string>& dropped) {
  return Redactor(recording, dropped).run();
}

void show_redaction(const Redaction& redaction, std::ostream& out) {
  const auto number = [](std::size_t count) { return std::to_string(count); };
  out << "Replaced\n";
  show_table({{number(redaction.addresses), "IPv4 addresses"},
              {number(redaction.macs), "MAC addresses"},
              {number(redaction.serials), "serial numbers and dates of the boot block"},
              {number(redaction.boot_blocks), "boot blocks, their checksum and reserved bytes emptied"},
              {number(redaction.flash_bytes), "bytes of the factory partitions outside of the known records"},
              {number(redaction.dropped), "calls on nodes that were to be dropped"}},
             2, out);
  if (redaction.lost_writes != 0) {
    out << "\n"
        << redaction.lost_writes
        << " blocks of the factory partitions held such bytes: a replay cannot compare them any more.\n";
  }
  out << "\nRemaining, as the board gave or got it; look at it with boardrec show --bytes --node NODE\n";
  std::vector<std::vector<std::string>> rows{{"node", "bytes"}};
  for (const auto& [node, bytes] : redaction.remaining) rows.push_back({node, number(bytes)});
  show_table(rows, 1, out);
}

}  // namespace boardrec
