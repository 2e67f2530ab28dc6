// Answers that a person types.
#pragma once

#include <string>

#include "station/run/slot.h"

namespace t1station {

/// Takes lines from a terminal: y, yes, n or no, in either case, or what a scanner reads from a card,
/// answer:yes and answer:no. Anything else is ignored.
class TerminalPerson final : public Person {
 public:
  /// `descriptor` is the terminal's; it is read without waiting.
  explicit TerminalPerson(int descriptor) : descriptor_(descriptor) {}

  /// What was typed before the question is no answer to it.
  void ask(const Question& question) override;
  std::optional<bool> answer() override;
  void end_question() override { typed_.clear(); }

 private:
  bool read_some();

  int descriptor_;
  std::string typed_;
};

}  // namespace t1station
