// Runs alarm tests on boards with faulty jigs.
#include "tests/matrix/faults.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <set>

#include "boardsim/board.h"
#include "boardsim/families/families.h"
#include "boardsim/jigs/wiring.h"
#include "catalogue/catalogue.h"
#include "tests/harness/ask.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"

namespace {

const std::map<int, const char*> kJigs = {
    {513, "1in1out"},         {518, "4in5out"}, {519, "4in7out"}, {520, "5in3out"},
    {521, "5in3out"},         {528, "5in3out"}, {530, "8in9out"}, {531, "10in10out-switch"},
    {532, "10in10out-level"}, {534, "3in2out"}, {535, "2in4out"}, {69634, "1in3out"}};

void plug_in(boardsim::Board& simulated, const TestedBoard& board, int code) {
  if (board.type != 0) simulated.set_type(board.type);
  simulated->bench.set_jig(kJigs.at(code));
}

std::string where(const boardsim::JigInput& input, std::uint32_t type) {
  return "line " + std::to_string(boardsim::line_of(input, boardsim::hardware_of(type)));
}

std::string where(const boardsim::JigOutput& output) {
  return std::to_string(static_cast<int>(output.driver)) + "/" + std::to_string(output.number) + "/" +
         std::to_string(output.mask) + (output.inverted ? " " + std::string(output.name) : "");
}

const boardsim::Jig& jig_of(std::uint32_t type, std::string_view name) {
  return std::ranges::find_if(boardsim::jig_choices(),
                              [&](const boardsim::JigChoice& choice) {
                                return boardsim::fits(choice, boardsim::hardware_of(type)) &&
                                       choice.jig.name == name;
                              })
      ->jig;
}

bool is_wired(const boardsim::Jig& jig, const boardsim::JigInput& input) {
  return std::ranges::any_of(jig.wires,
                             [&](const boardsim::JigWire& wire) { return wire.input == input.name; });
}

/// What a run prints and replies.
struct Run {
  std::vector<std::string> lines;
  std::string errors;
  Reply reply;
};

/// The number behind the last `mark` of a text, or nothing.
std::string number_behind(const std::string& text, const std::string& mark) {
  const std::size_t found = text.rfind(mark);
  return found == std::string::npos ? "" : std::to_string(std::atoi(text.c_str() + found + mark.size()));
}

Run run(const TestedBoard& board, int code, const std::string& fault) {
  boardsim::Board simulated(board.family);
  plug_in(simulated, board, code);
  if (!fault.empty()) simulated.fault(fault);
  const Console console;
  StationLink station;
  start_anew();
  ask(code);
  Run result{console.lines(), number_behind(console.err(), "错误次数"), station.reply()};
  if (result.errors.empty()) result.errors = number_behind(console.out(), "失败-");
  return result;
}

bool tells_of_a_fault(const std::string& line) {
  for (const char* other : {"0x", "fail num", "!!!"}) {  // input words, the result, the summary
    if (line.starts_with(other)) return false;
  }
  return true;
}

std::vector<int> alarm_codes_of(std::string_view family) {
  std::vector<int> codes;
  for (const catalogue::Test* test : catalogue::tests_of(family)) {
    if (test->name.starts_with("alarm-")) codes.push_back(test->code);
  }
  return codes;
}

}  // namespace

std::string TestedBoard::title() const {
  char text[16] = "";
  if (type != 0) std::snprintf(text, sizeof text, " (0x%X)", type);
  return std::string(family) + text;
}

const std::vector<TestedBoard>& tested_boards() {
  // Boards of a family with register values or input lines of their own.
  static const std::vector<TestedBoard> kOthers = {{"normal", 0x27202, alarm_codes_of("normal")},
                                                   {"normal", 0x97C2, {530}},
                                                   {"k", 0x9615, alarm_codes_of("k")},
                                                   {"68xx", 0xA6005, alarm_codes_of("68xx")}};
  static const std::vector<TestedBoard> kBoards = [] {
    std::vector<TestedBoard> boards;
    for (const catalogue::Family& family : catalogue::families()) {
      boards.push_back({family.name.data(), 0, alarm_codes_of(family.name)});
      std::ranges::copy_if(kOthers, std::back_inserter(boards),
                           [&](const TestedBoard& board) { return board.family == family.name; });
    }
    return boards;
  }();
  return kBoards;
}

std::vector<JigFault> faults_of(const TestedBoard& board, int code) {
  boardsim::Board simulated(board.family);
  plug_in(simulated, board, code);
  const std::uint32_t type = boardsim::boot_type(simulated.boot_block());
  const boardsim::Jig& jig = jig_of(type, simulated->bench.jig().name);
  std::vector<JigFault> faults;
  const auto add = [&](const std::string& before, std::string_view name, const std::string& place,
                       const std::string& behind) {
    faults.push_back({before + std::string(name) + behind, before + place + behind});
  };
  for (const auto& input : jig.inputs) {
    const std::string line = where(input, type);
    if (is_wired(jig, input)) {
      add("input ", input.name, line, " stuck high");
      add("wire ", input.name, line, " cut");
    }
    add("input ", input.name, line, " stuck low");
    add("short ", input.name, line, " GND");
  }
  for (const auto& output : jig.outputs) {
    for (const char* state : {" dead", " closed", " open"}) add("output ", output.name, where(output), state);
  }
  for (std::size_t i = 0; i < jig.inputs.size(); ++i) {
    for (std::size_t k = i + 1; k < jig.inputs.size(); ++k) {
      add("short " + std::string(jig.inputs[i].name) + " ", jig.inputs[k].name, "", "");
      faults.back().effect = "short " + where(jig.inputs[i], type) + ", " + where(jig.inputs[k], type);
    }
  }
  return faults;
}

Outcome run_alarm_code(const TestedBoard& board, int code, const std::string& fault) {
  const Run result = run(board, code, fault);
  Outcome outcome{result.reply.value == "Pass", 0, result.errors, {}, result.reply.description};
  static std::map<std::pair<std::string, int>, std::set<std::string>> healthy;
  auto [known, is_new] = healthy.try_emplace({board.title(), code});
  if (is_new) {
    const Run usual = run(board, code, "");
    known->second.insert(usual.lines.begin(), usual.lines.end());
  }
  for (const std::string& line : result.lines) {
    if (line.starts_with("fail num = ")) outcome.code = std::atoi(line.c_str() + 11);
    if (known->second.contains(line) || !tells_of_a_fault(line)) continue;
    if (std::ranges::find(outcome.lines, line) == outcome.lines.end()) outcome.lines.push_back(line);
  }
  return outcome;
}
