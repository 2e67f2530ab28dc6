// The words in which faults are laid over a device: a table of forms says what may stand where, and what a
// fault does; a fault that is mistyped is answered with what is possible.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace boardsim {

using FaultWords = std::vector<std::string_view>;

/// What may stand for a word in capitals of a form: a name of a list, a number, or any text.
struct FaultValue {
  enum class Kind : std::uint8_t { names, number, count, text };
  std::string_view name{};  ///< what the form calls it: "LINE"
  Kind kind = Kind::text;
  std::uint32_t least = 0, most = UINT32_MAX;  ///< of a number, decimal or 0x-hexadecimal
  std::vector<std::string> names{};            ///< all that there are; of a number: besides
};

FaultValue number(std::string_view name, std::uint32_t least = 0, std::uint32_t most = UINT32_MAX);
/// "2" or "2+", counted from 1: the second, or the second and all later ones.
FaultValue count(std::string_view name);
FaultValue one_of(std::string_view name, std::vector<std::string> names);
FaultValue text(std::string_view name);

/// The words of a fault that stand where its form leaves a choice, in their order.
class FaultArguments {
 public:
  /// A word that was left out is empty.
  std::string_view word(std::size_t index) const;
  const FaultWords& words(std::size_t index) const { return values_.at(index); }
  bool given(std::size_t index) const { return !values_.at(index).empty(); }
  std::uint32_t number(std::size_t index) const;
  std::vector<std::uint32_t> numbers(std::size_t index) const;

 private:
  friend class FaultForm;
  std::vector<FaultWords> values_{};
};

/// One row of a table of faults.
class FaultForm {
 public:
  /// What `words` of a fault are like: "gpio LINE stuck high|low". A word in capitals stands for one of
  /// `values`, in their order; "[MB]" may be left out at the end, and "OFFSET..." repeated there. `meaning`
  /// is a line for a reader, `lay` lays the fault.
  FaultForm(std::string words, std::string meaning, std::vector<FaultValue> values,
            std::function<void(const FaultArguments&)> lay);

  const std::string& words() const { return words_; }
  /// Whether a fault with this first word may be of this form; cheap.
  bool begins_with(std::string_view word) const;
  const std::string& meaning() const { return meaning_; }
  /// What may stand for its words in capitals where not anything may: "LINE: 0 to 255". Empty where anything
  /// may.
  std::string possible() const;

  /// How far the words of a fault follow the form.
  struct Match {
    bool whole = false;
    std::size_t words = 0;              ///< that fit
    std::vector<std::string> wanted{};  ///< what there can be instead of the next one, or behind the last
    FaultArguments arguments{};
  };
  Match match(const FaultWords& words) const;
  void lay(const FaultArguments& arguments) const { lay_(arguments); }

 private:
  struct Place {
    std::vector<std::string> choices{};  ///< words that can stand here literally
    FaultValue value{};                  ///< for a word in capitals
    bool is_value = false, optional = false, repeated = false;
  };
  static std::string possible(const FaultValue& value);
  static bool takes(const Place& place, std::string_view word);
  static std::vector<std::string> wanted(const Place& place);

  std::string words_;
  std::string meaning_;
  std::vector<Place> places_{};
  std::function<void(const FaultArguments&)> lay_;
};

using FaultForms = std::vector<FaultForm>;

/// Lays the fault of the one form that these words follow. False when they begin like none; throws
/// std::invalid_argument, which tells what there is, when they begin like one and go on otherwise.
bool lay_fault(std::span<const FaultForm> forms, const FaultWords& words);

/// A whole number, decimal or 0x-hexadecimal. Throws std::invalid_argument for anything else or more than 32
/// bits.
std::uint32_t fault_number(std::string_view word);

/// Throws std::invalid_argument, whose text quotes these words, gives the reason, and says what was expected.
[[noreturn]] void refuse_fault(const FaultWords& words, std::string_view reason, std::string_view expected);

/// "a", "a or b", "a, b or c".
std::string either(const std::vector<std::string>& words);

/// A fault as a list of them shows it.
struct FaultLine {
  std::string words;     ///< "gpio LINE stuck high|low"
  std::string possible;  ///< "LINE: 0 to 255"
  std::string meaning;   ///< a line
};

}  // namespace boardsim
