// Prints which wire fault is found by which alarm test with which text, and which no test finds: every fault
// of every jig, one at a time, on a board of each family that the jig is for. docs/fault-matrix.md is its
// output.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/core/state.h"
#include "t1_sdk/boardtest/peripheral/alarm.h"
#include "tests/harness/console.h"
#include "tests/harness/station_link.h"

namespace {

struct Row {
  const char* family;
  std::uint32_t type;  ///< another board of that family; 0: the family's own
  int code;
  const char* jig;
  void (*test)();
};

// clang-format off
const Row kRows[] = {
    {"normal",     0,       520,   "5in3out",          t1_sdk_alarm_test_5in3out},
    {"normal",     0x27202, 520,   "5in3out",          t1_sdk_alarm_test_5in3out},
    {"68xx",       0,       520,   "5in3out",          t1_sdk_alarm_test_5in3out},
    {"rkd1",       0,       520,   "5in3out",          t1_sdk_alarm_test_5in3out},
    {"ma",         0,       520,   "5in3out",          t1_sdk_alarm_test_5in3out},
    {"k",          0,       530,   "8in9out",          t1_sdk_alarm_test_8in9out},
    {"k",          0x9615,  530,   "8in9out",          t1_sdk_alarm_test_8in9out},
    {"6444",       0,       519,   "4in7out",          t1_sdk_alarm_test_4in7out},
    {"normal",     0,       518,   "4in5out",          t1_sdk_alarm_test_4in5out},
    {"loop",       0,       518,   "4in5out",          t1_sdk_alarm_test_4in5out},
    {"6444-j",     0,       534,   "3in2out",          t1_sdk_alarm_test_3in2out},
    {"rkd1",       0,       535,   "2in4out",          t1_sdk_alarm_test_2in4out},
    {"rkd2",       0,       69634, "1in3out",          t1_sdk_alarm_test_1in3out},
    {"65xx",       0,       531,   "10in10out-switch", t1_sdk_alarm_test_10in10out_switch},
    {"65xx-level", 0,       532,   "10in10out-level",  t1_sdk_alarm_test_10in10out_level},
    {"63xx",       0,       513,   "1in1out",          t1_sdk_alarm_test_1in1out},
};
// clang-format on

void set_up(boardsim::Board& board, const Row& row) {
  if (row.type != 0) board.set_type(row.type);
  board.set_jig(row.jig);
}

/// Every fault that the row's jig can have.
std::vector<std::string> faults_of(const Row& row) {
  boardsim::Board board(row.family);
  set_up(board, row);
  const boardsim::Jig& jig = board.state().devices.bench.jig();
  std::vector<std::string> faults;
  for (const auto& input : jig.inputs) {
    const std::string name(input.name);
    for (const std::string& fault : {"input " + name + " stuck high", "input " + name + " stuck low",
                                     "wire " + name + " cut", "short " + name + " GND"}) {
      faults.push_back(fault);
    }
  }
  for (const auto& output : jig.outputs) {
    for (const char* state : {"dead", "closed", "open"}) {
      faults.push_back("output " + std::string(output.name) + " " + state);
    }
  }
  for (std::size_t i = 0; i < jig.inputs.size(); ++i) {
    for (std::size_t k = i + 1; k < jig.inputs.size(); ++k) {
      faults.push_back("short " + std::string(jig.inputs[i].name) + " " + std::string(jig.inputs[k].name));
    }
  }
  return faults;
}

/// The reply to one run; an empty fault is a healthy board.
Reply run(const Row& row, const std::string& fault) {
  boardsim::Board board(row.family);
  set_up(board, row);
  if (!fault.empty()) board.fault(fault);
  const Console console;
  StationLink station;
  row.test();
  return station.reply();
}

std::string title(const Row& row) {
  char type[16] = "";
  if (row.type != 0) std::snprintf(type, sizeof type, " (0x%x)", row.type);
  return std::string(row.family) + type + ", code " + std::to_string(row.code);
}

}  // namespace

int main() {
  std::string text =
      "# Which wire fault is found by which alarm test\n\n"
      "Printed by `./run --faults`; a test keeps it true. Each fault is laid over a healthy board, one at a "
      "time.\n"
      "The description is what the station shows; **not found** marks a fault that the code cannot see.\n";
  for (const Row& row : kRows) {
    text += "\n## " + title(row) + "\n\n| Fault | Reply | Description |\n|---|---|---|\n";
    text += "| none | " + run(row, "").value + " | |\n";
    for (const std::string& fault : faults_of(row)) {
      const Reply reply = run(row, fault);
      const bool found = reply.value == "Fail";
      text +=
          "| " + fault + " | " + reply.value + " | " + (found ? reply.description : "**not found**") + " |\n";
    }
  }
  std::fputs(text.c_str(), stdout);
  return 0;
}
