// Bytes on their way over the RS485 lines.
#include "boardsim/jigs/rs485_lines.h"

#include <algorithm>
#include <stdexcept>

#include "boardsim/jigs/serial_bits.h"

namespace boardsim {
namespace {

constexpr std::string_view kAuto = "auto";
constexpr std::string_view kPartner = "partner";
Time duration(std::size_t bytes, int rate) {
  return Time(static_cast<Time::rep>(bytes) * kBitsPerByte * std::micro::den / rate);
}

/// Where a pair begins or ends: a port, or the device of the fixture.
unsigned line_end(const FaultArguments& given, std::size_t index) {
  return given.word(index) == kPartner ? kRs485Device : given.number(index);
}

std::vector<std::string> fixture_names() {
  std::vector<std::string> names{std::string(kAuto)};
  for (const Rs485Fixture& fixture : rs485_fixtures()) names.emplace_back(fixture.name);
  return names;
}

}  // namespace

Rs485Lines::Rs485Lines(Rs485Board board)
    : board_(std::move(board)), partner_(board_.after, [this](std::string_view bytes) {
        send(kRs485Device, bytes, Rs485Partner::kRate);
      }) {}

const Rs485Fixture& Rs485Lines::fixture() const {
  return plugged_ != nullptr ? *plugged_ : rs485_fixture_for(board_.hardware());
}

void Rs485Lines::set_fixture(std::string_view name) {
  const auto fixtures = rs485_fixtures();
  const auto found = std::ranges::find(fixtures, name, &Rs485Fixture::name);
  if (found == fixtures.end() && name != kAuto) {
    throw std::invalid_argument("there is no RS485 fixture \"" + std::string(name) + "\"; there can be " +
                                either(fixture_names()));
  }
  plugged_ = found == fixtures.end() ? nullptr : &*found;
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

FaultForms Rs485Lines::fault_forms() {
  const auto end = [](std::string_view name) {
    FaultValue value = number(name, 1, kRs485Ports);
    value.names.emplace_back(kPartner);
    return value;
  };
  const FaultValue byte = number("BYTE", 1);
  return {{"rs485 FROM TO open",
           "the pair of wires from FROM to TO is cut",
           {end("FROM"), end("TO")},
           [this](const FaultArguments& given) { cut_.emplace(line_end(given, 0), line_end(given, 1)); }},
          {"rs485 FROM flips|loses BYTE...",
           "these bytes of those that FROM sends from now on arrive inverted, or not at all",
           {end("FROM"), byte},
           [this](const FaultArguments& given) {
             Sender& sender = senders_.at(line_end(given, 0));
             std::set<std::uint64_t>& damaged = given.word(1) == "flips" ? sender.flipped : sender.lost;
             for (const std::uint32_t number : given.numbers(2)) damaged.insert(sender.sent + number);
           }},
          {"rs485 FROM late MILLISECONDS",
           "everything that FROM sends from now on arrives so much later",
           {end("FROM"), number("MILLISECONDS")},
           [this](const FaultArguments& given) {
             senders_.at(line_end(given, 0)).late = std::chrono::milliseconds(given.number(1));
           }},
          {"rs485 partner silent|wrong",
           "the partner sends nothing; its second frame has a wrong byte",
           {},
           [this](const FaultArguments& given) {
             given.word(0) == "silent" ? partner_.be_silent() : partner_.be_wrong();
           }},
          {"rs485 fixture FIXTURE",
           "no fault: plugs a fixture in for good; auto goes by what the board's test needs",
           {one_of("FIXTURE", fixture_names())},
           [this](const FaultArguments& given) { set_fixture(given.word(0)); }}};
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
