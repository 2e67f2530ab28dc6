// The waits that are prescribed for each test code on every family of healthy boards, to the microsecond.
#include "tests/matrix/wait_matrix.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/catalogue.h"

namespace {

using namespace std::chrono_literals;
using boardsim::Time;

using Names = std::vector<std::string_view>;

/// Equal spans of time, one for each time that something happens.
struct Span {
  const char* what;  ///< for whoever checks the row against the test's description
  int count;
  Time each;
};
using Spans = std::vector<Span>;

/// What a test code takes on some families.
struct Row {
  int code;
  Names families;      ///< empty: every family that no other row of the code names
  Spans waits;         ///< what the test sleeps
  Spans devices = {};  ///< the device's time: what passes by itself while the test waits for an answer
};

// ---- the device's time, as docs/simulator-devices.md tells it ---------------------------------------------

/// Bytes on a serial line of 38400 bits a second, ten bits a byte, in whole microseconds.
constexpr Time on_line(int bytes) {
  return Time(std::micro::den * 10 * bytes / 38400);
}
constexpr Time kFrameA = on_line(15);
constexpr Time kFrameB = on_line(7);

/// The camera's main application answers so long after a command, and closes.
constexpr Time kAnswer = 20ms;

/// A command to the application, then both frames from port to port, one pair after the other.
Spans ring(int pairs) {
  return {{"the application answers", 1, kAnswer},
          {"frame A from port to port", pairs, kFrameA},
          {"frame B from port to port", pairs, kFrameB}};
}

// The partner at the far end sends frame A a second after the port was configured, and frame B 100 ms after
// it has got frame A back.
const Spans kEcho = {{"the application answers", 1, kAnswer},
                     {"the partner begins", 1, 1s},
                     {"frame A, there and back", 2, kFrameA},
                     {"the partner answers the echo", 1, 100ms},
                     {"frame B", 1, kFrameB}};

// Off before, on afterwards.
const Spans kTwoCommands = {{"the application answers", 2, kAnswer}};

// ---- the waits --------------------------------------------------------------------------------------------
// clang-format off

const Names kAlarmDriver = {"68xx", "rkd1", "rkd2"};
const Names k65xx = {"65xx", "65xx-level"};
const Names kRkd = {"rkd1", "rkd2"};

// Ports T1 to T4 and SYNC, twice.
const Spans kFivePorts = {{"first pattern of a port", 2 * 5, 200ms}, {"second pattern", 2 * 5, 300ms},
                          {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}};
// An error ends no cycle: all steps are taken on every board.
const Spans kFourSteps = {{"5 cycles of 4 steps", 5 * 4, 500ms}, {"end of the test", 1, 500ms}};
const Spans kThreeSteps = {{"5 cycles of 3 steps", 5 * 3, 500ms}, {"end of the test", 1, 500ms}};
const Spans kTwoSteps = {{"5 cycles of 2 steps", 5 * 2, 500ms}, {"end of the test", 1, 500ms}};

const std::vector<Row> kRows = {
    // Pan and tilt sends five commands; the restart waits on both sides of its text.
    {-16, {}, {{"after a command", 5, 2s}}},
    {-15, {}, {{"before the text, before the restart", 2, 500ms}}},

    // Alarm inputs and outputs.
    {513, {}, {{"5 times on, 5 times off", 5 * 2, 500ms}}},
    {518, {}, kFourSteps},
    {519, {}, kFourSteps},
    {520, {}, kFivePorts},
    {520, kAlarmDriver, {{"both patterns of a port", 2 * 5 * 2, 500ms},
                         {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},
    {521, {}, kFivePorts},
    {528, {}, kFivePorts},
    {530, {}, {{"first pattern of T1 to T7", 2 * 7, 200ms}, {"second pattern", 2 * 7, 300ms},
               {"both patterns of SYNC", 2 * 2, 400ms},
               {"end of a cycle", 2, 700ms}, {"end of the test", 1, 500ms}}},
    // Its input 8 is low while nothing is driven: SYNC counts as shorted after one pattern.
    {530, {"65xx-level"}, {{"first pattern of T1 to T7", 2 * 7, 200ms}, {"second pattern", 2 * 7, 300ms},
                           {"one pattern of SYNC", 2 * 1, 400ms},
                           {"end of a cycle", 2, 700ms}, {"end of the test", 1, 500ms}}},
    {531, {}, kTwoSteps},
    {532, {}, kTwoSteps},
    {534, {}, kThreeSteps},

    // 2 cycles of 2 ports, each tested twice. Where line 18 or 19 is no alarm input it reads 0, and the first step
    // fails.
    {535, {}, {{"step 1", 2 * 2 * 2, 500ms},
               {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},
    // Here nothing pulls them low: the second step fails.
    {535, {"ma"}, {{"step 1", 2 * 2 * 2, 500ms}, {"step 2: relay, output", 2 * 2 * 2 * 2, 500ms},
                   {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},
    {535, kRkd, {{"step 1", 2 * 2 * 2, 500ms}, {"step 2: relay, output, end", 2 * 2 * 2 * 3, 500ms},
                 {"step 3: output, end", 2 * 2 * 2 * 2, 500ms},
                 {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},

    // 2 cycles of 1 port, tested twice. Where line 18 is no alarm input it reads 0, and the second step fails.
    {69634, {}, {{"step 1", 2 * 2, 500ms}, {"step 2", 2 * 2, 500ms},
                 {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},
    // Here nothing pulls it low: the first step fails.
    {69634, {"ma"}, {{"step 1", 2 * 2, 500ms},
                     {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},
    {69634, kRkd, {{"steps 1 and 2: output", 2 * 2 * 2, 500ms},
                   {"steps 3 and 4: relays, output", 2 * 2 * 2 * 2, 500ms},
                   {"steps 5 and 6: relays, output, end", 2 * 2 * 2 * 3, 500ms},
                   {"end of a cycle", 2, 500ms}, {"end of the test", 1, 500ms}}},

    // RS485: first the vehicle detector is given time to stop.
    {1024, {}, {{"vehicle detector stops", 1, 5s}}, kEcho},
    {1024, {"k", "65xx", "65xx-level"}, {{"vehicle detector stops", 1, 5s}}, ring(5)},
    {1024, {"6444-j", "ma"}, {{"vehicle detector stops", 1, 5s}}, ring(3)},
    {1024, {"rkd1"}, {{"vehicle detector stops", 1, 5s}}, ring(2)},
    {1024, {"rkd2"}, {{"vehicle detector stops", 1, 5s}, {"after a frame", 4, 1s}},
                     {{"the application answers", 1, kAnswer}}},
    {1024, {"63xx"}, {{"vehicle detector stops", 1, 5s}, {"after a command", 5, 2s}},
                     {{"the application answers", 1, kAnswer}}},

    // Clock: also after the last of six readings.
    {1536, {}, {{"after a reading", 6, 1s}}},

    // IR-cut filter.
    {1792, {}, {{"after a move", 5, 10ms}}},
    {1792, kRkd, {{"after a move", 5, 200ms}}},
    {1792, {"63xx"}, {{"day, night, day", 3, 3s}}},
    {1792, {"loop", "loop-c"}, {{"2 cycles: before both switches", 2 * 2, 5s}}},
    // The motor meets its stop after 160 of 175 steps forward, so that it is home again after 160 back.
    {1792, k65xx, {{"driver on", 1, 10ms}, {"4 changes of a step forward", 175 * 4, 10ms},
                   {"4 changes of a step back", 160 * 4, 5ms}}},

    // Media: one, or two USB sticks. They take no time by themselves.
    {4352, {}, {{"end of the medium", 1, 500ms}}},
    {4608, {}, {{"end of the medium", 1, 500ms}}},
    {4608, {"k", "65xx", "65xx-level"}, {{"end of a medium", 2, 500ms}}},

    // Auto-iris.
    {9472, {}, {{"application off", 1, 50ms}, {"closed", 2, 1500ms}, {"open, first cycle", 1, 3500ms},
                {"open, second cycle", 1, 2s}}, kTwoCommands},
    {9472, k65xx, {{"application off", 1, 50ms}, {"closed", 2, 3s}, {"open", 2, 2s}}, kTwoCommands},

    // Focus motor: it stands 40 steps from its limit switch, and goes there and back.
    {10768, {}, {{"after a step to the switch", 40, 100us}, {"after a step back", 40, 100us}}},
    {10769, {}, {{"after the command", 1, 50ms}}, {{"the application answers", 1, kAnswer}}},

    // Automatic level: with and without a substrate voltage alike.
    {11776, {}, {{"application off", 1, 50ms}, {"before a reading", 19, 200ms}}, kTwoCommands},

    // Lights.
    {14592, {}, {{"light on", 1, 10s}}},
    {69633, {}, {{"light on", 1, 10s}}},

    // These wait for nothing, whether they pass or fail.
    {7426, {}, {}},   // temperature
    {9728, {}, {}},   // set Vsub
    {9984, {}, {}},
    {10240, {}, {}},
    {10496, {}, {}},  // set, show TG parameters
    {10752, {}, {}},
    {11009, {}, {}},  // raise, lower, save Vsub
    {11010, {}, {}},
    {11011, {}, {}},
    {11265, {}, {}},
    {11266, {}, {}},
    {11267, {}, {}},
    {11521, {}, {}},
    {11522, {}, {}},
    {11523, {}, {}},
    {12032, {}, {}},  // show Vsub
    {13568, {}, {}},  // dead pixels
    {13824, {}, {}},  // flat field
};
// clang-format on

Time sum(const Spans& spans) {
  Time total{};
  for (const Span& span : spans) total += span.count * span.each;
  return total;
}

bool names(const Row& row, std::string_view family) {
  return std::ranges::find(row.families, family) != row.families.end();
}

/// The row of a code for a family, or null.
const Row* find(int code, std::string_view family) {
  const Row* others = nullptr;
  for (const Row& row : kRows) {
    if (row.code != code) continue;
    if (names(row, family)) return &row;
    if (row.families.empty()) others = &row;
  }
  return others;
}

/// "6,500 ms", "3.906 ms".
std::string text(Time span) {
  std::string number = std::to_string(span.count() / 1000);
  for (auto place = number.size(); place > 3; place -= 3) number.insert(place - 3, ",");
  if (span % 1ms != Time(0)) number += "." + std::to_string(1000 + span.count() % 1000).substr(1);
  return number + " ms";
}

}  // namespace

bool is_prescribed(int code, std::string_view family, Time taken) {
  const Row* const row = find(code, family);
  if (row == nullptr) {
    std::printf("code %d on %s: no time prescribed\n", code, family.data());
    return false;
  }
  const Time devices = sum(row->devices);
  if (taken == sum(row->waits) + devices) return true;
  std::printf("code %d on %s: %s prescribed, %s taken", code, family.data(), text(sum(row->waits)).c_str(),
              text(taken - devices).c_str());
  if (devices > 0s) std::printf(" besides %s of the devices' time", text(devices).c_str());
  std::printf("\n");
  return false;
}

bool prescribes_what_exists() {
  bool right = true;
  const auto complain = [&](int code, std::string_view what) {
    std::printf("the times of code %d: there is no %s\n", code, what.data());
    right = false;
  };
  for (const Row& row : kRows) {
    if (catalogue::find_test(row.code) == nullptr) complain(row.code, "such code");
    for (const std::string_view name : row.families) {
      const auto families = boardsim::families();
      if (std::ranges::find(families, name, &boardsim::Family::name) == families.end())
        complain(row.code, name);
    }
  }
  return right;
}
