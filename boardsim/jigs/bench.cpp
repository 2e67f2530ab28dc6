// Which jig is plugged in, and the levels that its wires give the inputs.
#include "boardsim/jigs/bench.h"

#include <algorithm>
#include <stdexcept>

#include "boardsim/devices/fault_words.h"

namespace boardsim {
namespace {

constexpr std::string_view kGround = "GND";
constexpr std::string_view kAuto = "auto";
constexpr std::string_view kHelp =
    "input NAME stuck high|low, output NAME dead|closed|open, wire NAME cut, short NAME NAME|GND, jig "
    "NAME|auto";

template <class Row>
const Row* find(std::span<const Row> rows, std::string_view name) {
  const auto found = std::ranges::find(rows, name, &Row::name);
  return found == rows.end() ? nullptr : &*found;
}

template <class Row>
const Row& need(const Jig& jig, std::span<const Row> rows, std::string_view name) {
  if (const Row* row = find(rows, name)) return *row;
  throw std::invalid_argument("the jig " + std::string(jig.name) + " has no " + std::string(name));
}

}  // namespace

void Bench::register_written(std::uint32_t address, std::uint32_t value) {
  signs_.emplace(Sign::fpga_written, address);
  if (value != 0) signs_.emplace(Sign::relay_driven, address);
}

bool Bench::was_seen(const JigChoice& choice) const {
  if (choice.sign == Sign::level_written) {
    return level_inputs_ && signs_.contains({Sign::fpga_written, choice.number});
  }
  return choice.sign == Sign::always || signs_.contains({choice.sign, choice.number});
}

const Jig& Bench::jig() const {
  const std::uint32_t type = board_.type();
  const auto choices = jig_choices();
  const auto chosen = std::ranges::find_if(choices, [&](const JigChoice& choice) {
    return fits(choice, type) && (plugged_.empty() ? was_seen(choice) : choice.jig.name == plugged_);
  });
  // A board that was given another type may have a jig in place that does not fit it.
  return chosen == choices.end() ? choices.back().jig : chosen->jig;
}

void Bench::set_jig(std::string_view name) {
  if (name == kAuto) return plugged_.clear();
  std::string known;
  for (const JigChoice& choice : jig_choices()) {
    if (!fits(choice, board_.type())) continue;
    if (choice.jig.name == name) {
      plugged_ = name;
      return;
    }
    if (known.find(choice.jig.name) == std::string::npos) known.append(" ").append(choice.jig.name);
  }
  throw std::invalid_argument("no jig \"" + std::string(name) + "\" fits this board; those are" + known);
}

std::optional<int> Bench::level(unsigned line) const {
  const std::uint32_t type = board_.type();
  const Jig& in_place = jig();
  for (const JigInput& input : in_place.inputs) {
    if (line_of(input, type) == line) return level(in_place, input.name);
  }
  return is_wired(line) ? std::optional(1) : std::nullopt;
}

bool Bench::is_wired(unsigned line) const {
  const std::uint32_t type = board_.type();
  return std::ranges::any_of(jig_choices(), [&](const JigChoice& choice) {
    return fits(choice, type) && std::ranges::any_of(choice.jig.inputs, [&](const JigInput& input) {
             return line_of(input, type) == line;
           });
  });
}

int Bench::input_level(std::string_view name) const {
  const Jig& in_place = jig();
  return level(in_place, need(in_place, in_place.inputs, name).name);
}

int Bench::level(const Jig& jig, std::string_view input) const {
  if (const auto stuck = stuck_.find(input); stuck != stuck_.end()) return stuck->second;
  return low_inputs(jig).contains(input) ? 0 : 1;
}

bool Bench::output_driven(std::string_view name) const {
  const Jig& in_place = jig();
  return is_driven(need(in_place, in_place.outputs, name));
}

bool Bench::is_driven(const JigOutput& output) const {
  const bool set = (board_.drive(output.driver, output.number) & output.mask) != 0;
  return set != output.inverted;
}

bool Bench::conducts(const Jig& jig, std::string_view contact) const {
  const bool at_rest = contact.starts_with('/');
  if (at_rest) contact.remove_prefix(1);
  const auto fault = outputs_.find(contact);
  if (fault == outputs_.end()) return is_driven(need(jig, jig.outputs, contact)) != at_rest;
  return fault->second == Contacts::dead ? at_rest : fault->second == Contacts::closed;
}

bool Bench::is_pulled(const Jig& jig, std::string_view input) const {
  if (cut_.contains(input) || (jig.needs_test_control && !board_.test_control())) return false;
  return std::ranges::any_of(jig.wires, [&](const JigWire& wire) {
    return wire.input == input && std::ranges::all_of(wire.contacts, [&](std::string_view contact) {
             return contact.empty() || conducts(jig, contact);
           });
  });
}

std::set<std::string, std::less<>> Bench::low_inputs(const Jig& jig) const {
  std::set<Name, std::less<>> low{Name(kGround)};
  for (const JigInput& input : jig.inputs) {
    if (is_pulled(jig, input.name)) low.emplace(input.name);
  }
  auto joints = shorts_;
  for (const JigWire& wire : jig.wires) {
    for (const JigWire& other : jig.wires) {
      if (are_one_net(wire, other)) joints.emplace_back(wire.input, other.input);
    }
  }
  // A joint hands a low level on, perhaps through the next joint.
  for (std::size_t before = 0; before != low.size();) {
    before = low.size();
    for (const auto& [one, other] : joints) {
      if (low.contains(one)) low.insert(other);
      if (low.contains(other)) low.insert(one);
    }
  }
  return low;
}

bool Bench::are_one_net(const JigWire& one, const JigWire& other) const {
  return one.input != other.input && one.contacts[0] == other.contacts[0] && !cut_.contains(one.input) &&
         !cut_.contains(other.input);
}

bool Bench::knows_input(std::string_view name) const {
  return std::ranges::any_of(jig_choices(), [&](const JigChoice& choice) {
    return fits(choice, board_.type()) && find(choice.jig.inputs, name) != nullptr;
  });
}

bool Bench::knows_output(std::string_view name) const {
  return std::ranges::any_of(jig_choices(), [&](const JigChoice& choice) {
    return fits(choice, board_.type()) && find(choice.jig.outputs, name) != nullptr;
  });
}

bool Bench::fault(const std::vector<std::string_view>& words) {
  if (words.empty()) return false;
  const std::string_view kind = words[0];
  if (kind == "jig") {
    if (words.size() != 2) refuse_fault(words, kHelp);
    set_jig(words[1]);
    return true;
  }
  if (kind == "input") {
    if (words.size() != 4 || !knows_input(words[1]) || words[2] != "stuck" ||
        (words[3] != "high" && words[3] != "low")) {
      refuse_fault(words, kHelp);
    }
    stuck_.insert_or_assign(Name(words[1]), words[3] == "high" ? 1 : 0);
    return true;
  }
  if (kind == "output") {
    static const std::map<std::string_view, Contacts> states{
        {"dead", Contacts::dead}, {"closed", Contacts::closed}, {"open", Contacts::open}};
    if (words.size() != 3 || !knows_output(words[1]) || !states.contains(words[2]))
      refuse_fault(words, kHelp);
    outputs_.insert_or_assign(Name(words[1]), states.at(words[2]));
    return true;
  }
  if (kind == "wire") {
    if (words.size() != 3 || !knows_input(words[1]) || words[2] != "cut") refuse_fault(words, kHelp);
    cut_.emplace(words[1]);
    return true;
  }
  if (kind == "short") {
    if (words.size() != 3 || !knows_input(words[1]) || words[1] == words[2] ||
        (words[2] != kGround && !knows_input(words[2]))) {
      refuse_fault(words, kHelp);
    }
    shorts_.emplace_back(words[1], words[2]);
    return true;
  }
  return false;
}

void Bench::clear_faults() {
  stuck_.clear();
  outputs_.clear();
  cut_.clear();
  shorts_.clear();
}

}  // namespace boardsim
