// The board on the factory's bench: the jig that is plugged in, the faults of its wires, and the levels that
// the board's inputs take.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/jigs/wiring.h"
#include "boardsim/kernel/fault_forms.h"

namespace boardsim {

/// How the bench sees the board that is plugged into it.
struct BenchBoard {
  std::function<const Hardware&()> hardware;                                ///< what it has
  std::function<bool()> test_control;                                       ///< whether it is on
  std::function<std::uint32_t(Driver driver, std::uint32_t number)> drive;  ///< register, alarm state or line
};

/// Inputs that hang on the same contact are one net: what pulls one of them low pulls all, but those whose
/// wire is cut. A jig that is plugged in stays.
class Bench {
 public:
  explicit Bench(BenchBoard board) : board_(std::move(board)) {}

  /// Whether the board has level inputs; no program can tell.
  void set_level_inputs(bool yes) { level_inputs_ = yes; }
  /// Test control was switched on: a new test begins.
  void begin_test() { signs_.clear(); }
  /// The program wrote an FPGA register.
  void register_written(std::uint32_t address, std::uint32_t value);
  void alarms_set() { signs_.emplace(Sign::alarm_set, 0); }
  void line_driven(unsigned line) { signs_.emplace(Sign::line_driven, line); }

  /// Level that the jig gives a GPIO line; nothing for a line that no jig of this board wires.
  std::optional<int> level(unsigned line) const;

  /// The jig in place.
  const Jig& jig() const;
  /// Plugs in a jig, or with "auto" the one that fits what the program drives. Throws std::invalid_argument.
  void set_jig(std::string_view name);
  /// Level that an input of the jig in place reads. Throws std::invalid_argument for one that it lacks.
  int input_level(std::string_view name) const;
  /// Whether the program drives an output of the jig in place. Throws std::invalid_argument for one it lacks.
  bool output_driven(std::string_view name) const;

  FaultForms fault_forms();
  void clear_faults();

 private:
  enum class Contacts : std::uint8_t { dead, closed, open };
  using Name = std::string;

  bool was_seen(const JigChoice& choice) const;
  bool is_wired(unsigned line) const;
  /// The names that `rows` of the jigs of this board have, each once.
  template <class Row>
  std::vector<Name> names(std::span<const Row> Jig::*rows) const;
  std::vector<Name> jig_names() const;
  bool is_driven(const JigOutput& output) const;
  bool conducts(const Jig& jig, std::string_view contact) const;
  bool is_pulled(const Jig& jig, std::string_view input) const;
  bool are_one_net(const JigWire& one, const JigWire& other) const;
  std::set<Name, std::less<>> low_inputs(const Jig& jig) const;
  int level(const Jig& jig, std::string_view input) const;

  BenchBoard board_;
  std::set<std::pair<Sign, std::uint32_t>> signs_{};  ///< what the program did in this test
  bool level_inputs_ = false;
  std::string plugged_{};  ///< empty: goes by the signs
  std::map<Name, int, std::less<>> stuck_{};
  std::map<Name, Contacts, std::less<>> outputs_{};
  std::set<Name, std::less<>> cut_{};
  std::vector<std::pair<Name, Name>> shorts_{};
};

}  // namespace boardsim
