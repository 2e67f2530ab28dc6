// Prints what a pass of each test proves and what not: every fault of every device and driver that a test
// uses, one at a time, and those under which it passes all the same. docs/what-a-pass-means.md is its output.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/matrix/codes.h"
#include "tests/matrix/passes.h"
#include "tests/matrix/trials.h"
#include "tests/matrix/unseen_wires.h"

namespace {

using Names = std::vector<std::string>;

std::string join(const Names& texts, const std::string& between, const std::string& last) {
  std::string all;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    all.append(i == 0 ? "" : i + 1 == texts.size() ? last : between).append(texts[i]);
  }
  return all;
}

std::string join(const Names& texts) {
  return join(texts, ", ", ", ");
}

/// A code on boards of a family.
using Place = std::pair<int, std::string_view>;
using Places = std::set<Place>;

/// The families at the places of a code, in their usual order.
Names families_at(const Places& places, int code) {
  Names names;
  for (const boardsim::Family& family : boardsim::families()) {
    if (places.contains({code, family.name})) names.emplace_back(family.name);
  }
  return names;
}

/// "all", "all but 63xx", "68xx, rkd1".
std::string families_text(const Places& some, const Places& all, int code) {
  const Names names = families_at(some, code);
  Places others;
  std::ranges::set_difference(all, some, std::inserter(others, others.begin()));
  const Names missing = families_at(others, code);
  if (missing.empty()) return "all";
  return missing.size() * 3 < names.size() ? "all but " + join(missing) : join(names);
}

/// "all", "519, 520 on 68xx, ma"; without codes where there is one only.
std::string places_text(const Places& some, const Places& all) {
  if (some == all) return "all";
  std::set<int> codes;
  for (const auto& [code, family] : all) codes.insert(code);
  if (codes.size() == 1) return families_text(some, all, *codes.begin());
  Names texts;
  for (const int code : codes) {
    if (families_at(some, code).empty()) continue;
    const std::string families = families_text(some, all, code);
    texts.push_back(std::to_string(code) + (families == "all" ? "" : " (" + families + ")"));
  }
  return join(texts);
}

/// A fault as it is shown, and where it was tried.
struct Tried {
  TestFault fault;
  Places passes{};
  bool holds = false;  ///< no reply comes
};

/// What a section tells of faults that pass at the same places.
struct Row {
  Names subjects;
  Places places;
  Names effects{};
  Names faults{};
};

void add_once(Names& names, const std::string& name) {
  if (std::ranges::find(names, name) == names.end()) names.push_back(name);
}

/// How many characters two faults have in common at their beginning, in whole words; 0 when too little is
/// left out by it, or too much.
std::size_t in_common(const std::string& one, const std::string& other) {
  std::size_t same = 0;
  for (std::size_t i = 0; i < std::min(one.size(), other.size()) && one[i] == other[i]; ++i) {
    if (one[i] == ' ') same = i + 1;
  }
  const std::string rest = other.substr(same);
  const bool says_enough = std::ranges::count(rest, ' ') <= 1 && !rest.starts_with("0x");
  return says_enough && std::ranges::count(other.substr(0, same), ' ') >= 2 ? same : 0;
}

/// "`ioctl /dev/led 0x40044c01 result 0`, `... EIO`": what a fault has in common with the last whole one is
/// not said again.
std::string faults_text(const Names& faults) {
  Names texts;
  std::string whole;
  for (const std::string& fault : faults) {
    const std::size_t same = in_common(whole, fault);
    texts.push_back("`" + (same > 0 ? "... " + fault.substr(same) : fault) + "`");
    if (same == 0) whole = fault;
  }
  return join(texts);
}

const catalogue::Test& test_of(int code) {
  const catalogue::Test* test = catalogue::find_test(code);
  if (test == nullptr) throw std::invalid_argument(std::to_string(code) + " is no code");
  return *test;
}

/// All that the trials of one section came to.
class Section {
 public:
  explicit Section(const TestPasses& passes) : passes_(passes) {
    for (const int code : passes.codes) {
      counts_[code] = {};
      for (const Trials& trials : try_code(test_of(code))) add(trials);
    }
  }

  /// Lines for the overview.
  std::string overview() const {
    std::string text;
    for (const int code : passes_.codes) {
      const Counts& counts = counts_.at(code);
      text += "| " + std::to_string(code) + " | [`" + std::string(test_of(code).name) + "`](#" + anchor() +
              ") | " + std::to_string(counts.tried) + " | " + std::to_string(counts.passed) + " | " +
              std::string(passes_.need) + " |\n";
    }
    return text;
  }

  std::string text() const {
    Names codes;
    for (const int code : passes_.codes) {
      codes.push_back(std::to_string(code) + " `" + std::string(test_of(code).name) + "`");
    }
    const std::string title(passes_.title);
    return "\n## " + title + "\n\n" + (codes.size() == 1 ? "Code " : "Codes ") + join(codes) + ".\n\n" +
           "**A pass proves:** " + std::string(passes_.proves) + "\n\n" +  //
           "**It does not prove:** " + std::string(passes_.lacks) + "\n\n" + found() + table() + wires() +
           "**Add:** " + std::string(passes_.add) + "\n";
  }

  /// By the places where a board passes that cannot tell which board it is.
  const Places& passing_unasked() const { return unasked_; }
  const Places& all_places() const { return all_; }

  unsigned tried() const { return sum(&Counts::tried); }
  unsigned passed() const { return sum(&Counts::passed); }

 private:
  struct Counts {
    unsigned tried = 0, passed = 0;
  };

  unsigned sum(unsigned Counts::*member) const {
    unsigned total = 0;
    for (const auto& [code, counts] : counts_) total += counts.*member;
    return total;
  }

  void add(const Trials& trials) {
    std::map<std::string, std::set<bool>> answers;  // of all faults that are shown alike
    for (const Trial& trial : trials.all) answers[trial.fault.shown].insert(trial.answer == Answer::pass);
    for (const std::string_view family : trials.families) all_.emplace(trials.code, family);
    for (const Trial& trial : trials.all) {
      const bool passes = trial.answer == Answer::pass;
      ++counts_[trials.code].tried;
      counts_[trials.code].passed += passes;
      Tried& tried = tried_as(answers[trial.fault.shown].size() == 1 ? trial.fault.shown : trial.fault.text,
                              trial.fault);
      tried.holds = tried.holds || trial.answer == Answer::held;
      for (const std::string_view family : trials.families) {
        if (trial.fault.kind == FaultKind::query && passes) unasked_.emplace(trials.code, family);
        if (passes) tried.passes.emplace(trials.code, family);
      }
    }
  }

  Tried& tried_as(const std::string& shown, const TestFault& fault) {
    const auto known =
        std::ranges::find_if(tried_, [&](const Tried& tried) { return tried.fault.shown == shown; });
    if (known != tried_.end()) return *known;
    tried_.push_back({fault});
    tried_.back().fault.shown = shown;
    return tried_.back();
  }

  /// The faults of the hardware that the test finds wherever they were tried, and those that hold it for
  /// ever.
  std::string found() const {
    Names found;
    Names held;
    for (const Tried& tried : tried_) {
      if (tried.fault.kind != FaultKind::device || !tried.passes.empty()) continue;
      (tried.holds ? held : found).push_back(tried.fault.shown);
    }
    std::string text;
    if (!found.empty()) text += "**It finds:** " + faults_text(found) + ".\n\n";
    if (!held.empty()) text += "**It never ends with:** " + faults_text(held) + ".\n\n";
    return text;
  }

  /// The faults that pass: in one row what befalls the same thing, and what befalls several in the same way.
  std::vector<Row> rows() const {
    std::vector<Row> all;
    for (const Tried& tried : tried_) {
      if (tried.passes.empty() || tried.fault.kind == FaultKind::query) continue;
      auto row = std::ranges::find_if(all, [&](const Row& known) {
        return known.subjects.front() == tried.fault.subject && known.places == tried.passes;
      });
      if (row == all.end()) row = all.insert(row, {{tried.fault.subject}, tried.passes});
      add_once(row->effects, tried.fault.effect);
      row->faults.push_back(tried.fault.shown);
    }
    std::vector<Row> joined;
    for (const Row& row : all) {
      const auto alike = std::ranges::find_if(joined, [&](const Row& known) {
        return known.effects == row.effects && known.places == row.places;
      });
      if (alike == joined.end()) {
        joined.push_back(row);
      } else {
        add_once(alike->subjects, row.subjects.front());
        alike->faults.insert(alike->faults.end(), row.faults.begin(), row.faults.end());
      }
    }
    return joined;
  }

  std::string table() const {
    const std::string where = passes_.codes.size() == 1 ? "Boards" : "Codes";
    std::string text;
    for (const Row& row : rows()) {
      text += "| " + join(row.subjects, ", ", " or ") + " " + join(row.effects, ", ", " or ") + " | " +
              faults_text(row.faults) + " | " + places_text(row.places, all_) + " |\n";
    }
    return text.empty() ? ""
                        : "| It passes although | Fault | " + where + " |\n|---|---|---|\n" + text + "\n";
  }

  /// Wire faults that an alarm test does not see.
  std::string wires() const {
    std::string text;
    for (const int code : passes_.codes) {
      for (const UnseenWires& unseen : unseen_wires(code)) {
        text += "| " + std::to_string(code) + " | " + unseen.boards + " | " + unseen.faults + " |\n";
      }
    }
    return text.empty()
               ? ""
               : "| Code | Boards | It passes although a wire has the fault |\n|---|---|---|\n" + text + "\n";
  }

  /// By which a link reaches the heading.
  std::string anchor() const {
    std::string text;
    for (const char c : passes_.title) {
      if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-') {
        text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      } else if (c == ' ') {
        text += '-';
      }
    }
    return text;
  }

  const TestPasses& passes_;
  std::map<int, Counts> counts_;
  Places all_, unasked_;
  std::vector<Tried> tried_;
};

const char* const kHead = R"(# What a pass means

A test passes when what it looks at is right. Where nothing of the board can see the effect, somebody else must look. This page
says for each code what a pass proves, under which faults the test passes all the same, and what a person or a fixture must
add. Where a person or the console can tell, the [attended plans](plans.md#the-projects-plans) ask and measure; on the boards
that echo, a station with `--rs485` compares the echo. Printed by `./run --passes`; a test keeps it true.

How the faults were found: each is laid over a healthy simulated board, one at a time, on the families that are given the code;
families on which the test makes the same calls are tried once. They are the faults of the [devices](simulator-devices.md) that
the test uses; drivers that answer a request with success and do nothing (`result 0`, or the number that a success returns); and
calls that fail (`EIO`), all of them or, where that is noticed, all but the first (`#2+`). `./run --fault '...'` takes them: N, M
and NODE stand for each port and medium of the board, dots for what a fault has in common with the last whole one before it.
What closing a node and sending the reply return is looked at by no test. Not counted here: the wires of the alarm tests
([fault-matrix.md](fault-matrix.md) has them all), and calls that fail once and then go well, which some tests try again.

)";

std::string unasked_text(const std::vector<Section>& sections) {
  std::map<std::string, std::set<int>> codes;  // by families
  for (const Section& section : sections) {
    for (const auto& [code, family] : section.passing_unasked()) {
      codes[families_text(section.passing_unasked(), section.all_places(), code)].insert(code);
    }
  }
  std::string text =
      "\n## A board that cannot tell which board it is\n\n"
      "Most tests first ask the board which family it belongs to, and take one that cannot answer for a "
      "normal one "
      "(`ioctl /dev/qznio 0x80044801 EIO`). These pass all the same, on what the test of another family "
      "looks at.\n\n"
      "| Boards that are given the code | Codes that pass |\n|---|---|\n";
  for (const auto& [families, numbers] : codes) {
    Names texts;
    for (const int number : numbers) texts.push_back(std::to_string(number));
    text += "| " + families + " | " + join(texts) + " |\n";
  }
  return text + "\n**Add:** a console without `ioctl error,ret =` and `open /dev/qznio error.`\n";
}

void print_page() {
  std::vector<Section> sections;
  std::vector<int> codes;
  for (const TestPasses& passes : test_passes()) {
    sections.emplace_back(passes);
    codes.insert(codes.end(), passes.codes.begin(), passes.codes.end());
  }
  std::ranges::sort(codes);
  if (codes != test_codes())
    throw std::invalid_argument("the page must have each code of the catalogue once");
  std::string overview;
  std::string texts;
  unsigned tried = 0;
  unsigned passed = 0;
  for (const Section& section : sections) {
    overview += section.overview();
    texts += section.text();
    tried += section.tried();
    passed += section.passed();
  }
  std::printf("%s| Code | Name | Faults tried | It passes | Add |\n|---|---|---|---|---|\n%s", kHead,
              overview.c_str());
  std::printf("| all | | %u | %u | |\n%s%s", tried, passed, texts.c_str(), unasked_text(sections).c_str());
}

}  // namespace

int main() {
  try {
    print_page();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "pass_meaning: %s\n", error.what());
    return 1;
  }
}
