// Which jig is plugged in, and the levels that its wires give the inputs.
#include "boardsim/jigs/bench.h"

#include <algorithm>
#include <stdexcept>

namespace boardsim {
namespace {

constexpr std::string_view kGround = "GND";
constexpr std::string_view kAutomatic = "auto";
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
  const Hardware& board = board_.hardware();
  const auto choices = jig_choices();
  const auto chosen = std::ranges::find_if(choices, [&](const JigChoice& choice) {
    return fits(choice, board) && (plugged_.empty() ? was_seen(choice) : choice.jig.name == plugged_);
  });
  // A board that was given another type may have a jig in place that does not fit it.
  return chosen == choices.end() ? choices.back().jig : chosen->jig;
}

void Bench::set_jig(std::string_view name) {
  const auto known = jig_names();
  if (std::ranges::find(known, name) == known.end()) {
    throw std::invalid_argument("no jig \"" + std::string(name) + "\" fits this board; there can be " +
                                either(known));
  }
  plugged_ = name == kAutomatic ? "" : name;
}

std::vector<std::string> Bench::jig_names() const {
  std::vector<Name> names{Name(kAutomatic)};
  for (const JigChoice& choice : jig_choices()) {
    if (fits(choice, board_.hardware()) && std::ranges::find(names, choice.jig.name) == names.end()) {
      names.emplace_back(choice.jig.name);
    }
  }
  return names;
}

std::optional<int> Bench::level(unsigned line) const {
  const Hardware& board = board_.hardware();
  const Jig& in_place = jig();
  for (const JigInput& input : in_place.inputs) {
    if (line_of(input, board) == line) return level(in_place, input.name);
  }
  return is_wired(line) ? std::optional(1) : std::nullopt;
}

bool Bench::is_wired(unsigned line) const {
  const Hardware& board = board_.hardware();
  return std::ranges::any_of(jig_choices(), [&](const JigChoice& choice) {
    return fits(choice, board) && std::ranges::any_of(choice.jig.inputs, [&](const JigInput& input) {
             return line_of(input, board) == line;
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

template <class Row>
std::vector<std::string> Bench::names(std::span<const Row> Jig::*rows) const {
  std::vector<Name> names;
  for (const JigChoice& choice : jig_choices()) {
    if (!fits(choice, board_.hardware())) continue;
    for (const Row& row : choice.jig.*rows) {
      if (std::ranges::find(names, row.name) == names.end()) names.emplace_back(row.name);
    }
  }
  return names;
}

FaultForms Bench::fault_forms() {
  const auto inputs = names(&Jig::inputs);
  const FaultValue input = one_of("INPUT", inputs);
  const FaultValue output = one_of("OUTPUT", names(&Jig::outputs));
  FaultValue other = one_of("INPUT|GND", inputs);
  other.names.emplace_back(kGround);
  return {{"input INPUT stuck high|low",
           "this input reads so; what it is shorted to or hangs together with does not notice",
           {input},
           [this](const FaultArguments& given) {
             stuck_.insert_or_assign(Name(given.word(0)), given.word(1) == "high" ? 1 : 0);
           }},
          {"output OUTPUT dead|closed|open",
           "the coil never works and the contacts stay as they are at rest; they always conduct; they "
           "never do",
           {output},
           [this](const FaultArguments& given) {
             static const std::map<std::string_view, Contacts> states{
                 {"dead", Contacts::dead}, {"closed", Contacts::closed}, {"open", Contacts::open}};
             outputs_.insert_or_assign(Name(given.word(0)), states.at(given.word(1)));
           }},
          {"wire INPUT cut",
           "nothing of the jig reaches this input: it floats high, and leaves the net that it was part of",
           {input},
           [this](const FaultArguments& given) { cut_.emplace(given.word(0)); }},
          {"short INPUT INPUT|GND",
           "both are low when either is, in chains too; GND is always low",
           {input, other},
           [this](const FaultArguments& given) {
             if (given.word(0) == given.word(1)) {
               throw std::invalid_argument("fault: " + Name(given.word(0)) + " cannot be shorted to itself");
             }
             shorts_.emplace_back(given.word(0), given.word(1));
           }},
          {"jig JIG",
           "no fault: plugs a jig of this board in for good; auto goes by what the program drives",
           {one_of("JIG", jig_names())},
           [this](const FaultArguments& given) { set_jig(given.word(0)); }}};
}

void Bench::clear_faults() {
  stuck_.clear();
  outputs_.clear();
  cut_.clear();
  shorts_.clear();
}

}  // namespace boardsim
