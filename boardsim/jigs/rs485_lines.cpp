// Bytes on their way over the RS485 lines.
#include "boardsim/jigs/rs485_lines.h"

#include <algorithm>
#include <stdexcept>

#include "boardsim/devices/fault_words.h"
#include "boardsim/jigs/serial_bits.h"

namespace boardsim {
namespace {

constexpr std::string_view kAuto = "auto";
constexpr std::string_view kHelp =
    "rs485 N M open, rs485 N flips|loses K..., rs485 N late MS, N and M being 1..5 or partner; "
    "rs485 partner silent|wrong, rs485 fixture NAME|auto";

using Words = std::vector<std::string_view>;

Time duration(std::size_t bytes, int rate) {
  return Time(static_cast<Time::rep>(bytes) * kBitsPerByte * std::micro::den / rate);
}

/// Where a pair begins or ends: a port, or the device of the fixture.
unsigned line_end(const Words& words, std::string_view word) {
  if (word == "partner") return kRs485Device;
  const std::uint32_t number = fault_number(word);
  if (number < 1 || number > kRs485Ports) refuse_fault(words, kHelp);
  return number;
}

}  // namespace

Rs485Lines::Rs485Lines(Rs485Board board)
    : board_(std::move(board)), partner_(board_.after, [this](std::string_view bytes) {
        send(kRs485Device, bytes, Rs485Partner::kRate);
      }) {}

const Rs485Fixture& Rs485Lines::fixture() const {
  return plugged_ != nullptr ? *plugged_ : rs485_fixture_for(board_.type(), board_.alarm_outputs());
}

void Rs485Lines::set_fixture(std::string_view name) {
  if (name == kAuto) {
    plugged_ = nullptr;
    return;
  }
  const auto fixtures = rs485_fixtures();
  const auto found = std::ranges::find(fixtures, name, &Rs485Fixture::name);
  if (found == fixtures.end()) {
    std::string text = "there is no RS485 fixture \"" + std::string(name) + "\"; known are auto";
    for (const Rs485Fixture& fixture : fixtures) text.append(" ").append(fixture.name);
    throw std::invalid_argument(text);
  }
  plugged_ = &*found;
}

void Rs485Lines::port_configured(unsigned port) {
  if (port == 1 && fixture().peer == Rs485Peer::partner) partner_.board_configured();
}

void Rs485Lines::port_sent(unsigned port, std::string_view bytes) {
  send(port, bytes, board_.rate(port));
}

void Rs485Lines::send(unsigned from, std::string_view bytes, int rate) {
  Sender& sender = senders_.at(from);
  const std::string on_line = damaged(sender, bytes);
  if (rate <= 0) return;
  const Time now = board_.now();
  sender.free_from = std::max(sender.free_from, now) + duration(bytes.size(), rate);
  const Time until_there = sender.free_from + sender.late - now;
  for (const Rs485Pair& pair : fixture().pairs) {
    if (pair.from != from || on_line.empty() || cut_.contains({pair.from, pair.to})) continue;
    board_.after(until_there, [this, to = pair.to, on_line, rate] { arrive(to, on_line, rate); });
  }
}

/// What of a block gets onto the line.
std::string Rs485Lines::damaged(Sender& sender, std::string_view bytes) const {
  std::string on_line;
  for (const char byte : bytes) {
    const std::uint64_t number = ++sender.sent;
    if (sender.lost.contains(number)) continue;
    on_line.push_back(sender.flipped.contains(number) ? static_cast<char>(~byte) : byte);
  }
  return on_line;
}

void Rs485Lines::arrive(unsigned to, std::string_view bytes, int rate) {
  if (to != kRs485Device) {
    if (const int own = board_.rate(to); own > 0) board_.receive(to, heard_at(bytes, rate, own));
  } else if (fixture().peer == Rs485Peer::partner) {
    partner_.hear(heard_at(bytes, rate, Rs485Partner::kRate));
  } else if (fixture().peer == Rs485Peer::terminal && terminal_) {
    terminal_(bytes);
  }
}

void Rs485Lines::terminal_sent(std::string_view bytes) {
  if (fixture().peer == Rs485Peer::terminal && board_.rate(1) > 0) board_.receive(1, bytes);
}

bool Rs485Lines::fault(const Words& words) {
  if (words.empty() || words[0] != "rs485") return false;
  if (words.size() < 3) refuse_fault(words, kHelp);
  if (words[1] == "fixture" && words.size() == 3) {
    set_fixture(words[2]);
    return true;
  }
  if (words[1] == "partner" && words.size() == 3) {
    if (words[2] != "silent" && words[2] != "wrong") refuse_fault(words, kHelp);
    words[2] == "silent" ? partner_.be_silent() : partner_.be_wrong();
    return true;
  }
  const unsigned from = line_end(words, words[1]);
  Sender& sender = senders_.at(from);
  if (words.size() == 4 && words[3] == "open") {
    cut_.emplace(from, line_end(words, words[2]));
  } else if (words.size() == 4 && words[2] == "late") {
    sender.late = std::chrono::milliseconds(fault_number(words[3]));
  } else if (words.size() > 3 && (words[2] == "flips" || words[2] == "loses")) {
    std::set<std::uint64_t> numbers;
    for (auto word = words.begin() + 3; word != words.end(); ++word) {
      if (fault_number(*word) == 0) refuse_fault(words, kHelp);
      numbers.insert(sender.sent + fault_number(*word));
    }
    (words[2] == "flips" ? sender.flipped : sender.lost).merge(numbers);
  } else {
    refuse_fault(words, kHelp);
  }
  return true;
}

void Rs485Lines::clear_faults() {
  for (Sender& sender : senders_) {
    sender.flipped.clear();
    sender.lost.clear();
    sender.late = Time(0);
  }
  cut_.clear();
  partner_.clear_faults();
}

}  // namespace boardsim
