#include "boardrec/session/requests.h"

#include <linux/sockios.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace boardrec {
namespace {

constexpr std::size_t kWordSize = sizeof(std::uint32_t);

/// The first so many words of a request's record go in; the others are whatever the program left there.
struct WordsRow {
  std::uint32_t request;
  std::size_t count;
};
constexpr WordsRow kRows[] = {
    {0x80044801, 0},  // boot block
    {0x40044701, 1},  // a line becomes an input: line
    {0x40044702, 2},  // an output: line, level
    {0x80044703, 2},  // its level: line, level
    {0x40044704, 2},  // sets its level: line, level
    {0x8004680B, 2},  // the other generation: its level
    {0x4004680D, 2},  // an input
    {0x4004680E, 2},  // an output
    {0x00000104, 2},  // enables an RS485 transmitter: line, level
    {0x40044D02, 3},  // PWM: channel, period, duty
    {0x40044D0E, 1},  // substrate voltage: code
    {0x40044603, 2},  // writes a register of the FPGA: address, value
    {0x80044602, 2},  // reads one
    {0x40045402, 2},  // writes one of the front end or the coprocessor
    {0x80045401, 1},  // reads one of the coprocessor: address
    {0x40044C01, 2},  // diode: index, state
    {0x80247009, 0},  // clock
    {0x40044101, 3},  // sets alarm outputs: index, state, direction
    {0x80044102, 3},  // gets them
    {0x0000888B, 1},  // test control: on or off
    {0x40084D02, 2},  // erases flash: start, length
    {0x40045501, 5},  // serial port: speed, data bits, stop bits, parity, flow control
    {0x80045502, 0},  // how many bytes wait
    {0x00005401, 0},  // settings of a terminal
    {0x00005402, 0},  // sets them
    {0x00005403, 0},  {0x00005404, 0}, {0x0000541B, 0},  // how many bytes wait
    {SIOCGIFADDR, 0},
};

/// A motor's configuration: a count, then entries of ten words. The count names the entry that matters, whose
/// sixth and seventh words are chip and type.
constexpr std::uint32_t kMotorConfiguration = 0x40044301;
constexpr std::size_t kEntries = 16;
constexpr std::size_t kEntryWords = 10;
constexpr std::size_t kChip = 1 + 5;

std::vector<std::uint32_t> words(std::string_view bytes) {
  std::vector<std::uint32_t> all(bytes.size() / kWordSize);
  if (!all.empty()) std::memcpy(all.data(), bytes.data(), all.size() * kWordSize);
  return all;
}

std::vector<std::uint32_t> motor_words(const std::vector<std::uint32_t>& all) {
  if (all.size() < 1 + kEntries * kEntryWords) return all;
  const std::size_t entry = all[0] < kEntries ? all[0] : 0;
  const std::size_t chip = kChip + entry * kEntryWords;
  return {all[0], all[chip], all[chip + 1]};
}

}  // namespace

std::vector<std::uint32_t> words_in(std::uint32_t request, const Value& record) {
  if (record.type == ValueType::number) return {static_cast<std::uint32_t>(record.number)};
  std::vector<std::uint32_t> all = words(record.bytes);
  if (request == kMotorConfiguration) return motor_words(all);
  const WordsRow* const row = std::ranges::find(kRows, request, &WordsRow::request);
  if (row != std::end(kRows) && all.size() > row->count) all.resize(row->count);
  return all;
}

}  // namespace boardrec
