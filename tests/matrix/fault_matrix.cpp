// Prints which wire fault is found by which alarm test with which text, and which no test finds: every fault
// of every jig, one at a time, on every kind of board. docs/fault-matrix.md is its output.
#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/matrix/faults.h"

namespace {

/// Tables that are the same for several codes or boards stand once.
struct Section {
  std::string table;
  std::map<int, std::vector<std::string>> boards{};  ///< by code
};

std::string join(const std::vector<std::string>& texts, const char* between) {
  std::string all;
  for (const std::string& text : texts) all.append(all.empty() ? "" : between).append(text);
  return all;
}

std::string row(const std::string& fault, const Outcome& outcome) {
  if (outcome.passed)
    return "| " + fault + " | Pass | | | | " + (fault == "none" ? "" : "**not found**") + " |\n";
  return "| " + fault + " | Fail | " + std::to_string(outcome.code) + " | " + outcome.errors + " | " +
         join(outcome.lines, "<br>") + " | " + outcome.description + " |\n";
}

/// What a board's codes do not find, by the fault's effect on the board: its name with the codes that meet
/// it.
struct Missed {
  std::string effect, name;
  std::vector<std::string> codes{};
};

/// Everything that the document says, put together board by board.
class Matrix {
 public:
  void add(const TestedBoard& board) {
    std::set<std::string> found;
    std::vector<Missed> missed;
    std::vector<std::string> codes;
    for (const int code : board.codes) {
      codes.push_back(std::to_string(code));
      std::string table = row("none", run_alarm_code(board, code, ""));
      for (const JigFault& fault : faults_of(board, code)) {
        const Outcome outcome = run_alarm_code(board, code, fault.text);
        table += row(fault.text, outcome);
        if (!outcome.passed) found.insert(fault.effect);
        if (outcome.passed) note(missed, fault, codes.back());
      }
      section(table).boards[code].push_back(board.title());
    }
    std::erase_if(missed, [&](const Missed& fault) { return found.contains(fault.effect); });
    std::vector<std::string> texts;
    std::string all_codes = join(codes, ", ");
    for (const Missed& fault : missed) {
      const bool by_all = fault.codes.size() == codes.size();
      texts.push_back(fault.name + (by_all ? "" : " (" + join(fault.codes, ", ") + ")"));
    }
    boards_ += "| " + board.title() + " | " + all_codes + " |\n";
    missed_ += "| " + board.title() + " | " + (texts.empty() ? "nothing" : join(texts, ", ")) + " |\n";
  }

  std::string text() const {
    std::string text =
        "# Which wire fault is found by which alarm test\n\n"
        "Printed by `./run --faults`; a test keeps it true. "
        "Each fault is laid over a healthy board, one at a time.\n"
        "Code and errors are the result code and the error count; "
        "the console lines are those of one cycle that a healthy board\n"
        "does not print; the description is what the station shows. "
        "**not found** marks a fault that the code cannot see.\n\n"
        "Where [jigs](simulator-devices.md#alarm-lines-and-their-jig) and tables are the same, "
        "they stand once. [What no code\n"
        "finds](#what-no-code-of-a-board-finds) closes the list. What a pass proves besides: "
        "[what-a-pass-means.md](what-a-pass-means.md).\n\n"
        "| Board | Codes |\n|---|---|\n" +
        boards_;
    for (const Section& section : sections_) {
      std::vector<std::string> heads;
      for (const auto& [code, boards] : section.boards) {
        heads.push_back("code " + std::to_string(code) + ": " + join(boards, ", "));
      }
      heads[0][0] = 'C';
      text += "\n## " + join(heads, "; ") +
              "\n\n| Fault | Reply | Code | Errors | Console | Description |\n|---|---|---|---|---|---|\n" +
              section.table;
    }
    return text +
           "\n## What no code of a board finds\n\n"
           "Numbers behind a fault are the codes whose jig can have it, "
           "where that is not so of all codes of the board.\n\n"
           "| Board | Not found |\n|---|---|\n" +
           missed_;
  }

 private:
  static void note(std::vector<Missed>& missed, const JigFault& fault, const std::string& code) {
    auto known = std::ranges::find(missed, fault.effect, &Missed::effect);
    if (known == missed.end()) known = missed.insert(known, {fault.effect, fault.text});
    known->codes.push_back(code);
  }
  Section& section(const std::string& table) {
    const auto known = std::ranges::find(sections_, table, &Section::table);
    return known != sections_.end() ? *known : sections_.emplace_back(Section{table});
  }

  std::vector<Section> sections_;
  std::string boards_;
  std::string missed_;
};

}  // namespace

int main() {
  Matrix matrix;
  for (const TestedBoard& board : tested_boards()) matrix.add(board);
  std::fputs(matrix.text().c_str(), stdout);
  return 0;
}
