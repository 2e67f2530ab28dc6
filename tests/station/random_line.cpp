#include "tests/station/random_line.h"

namespace figures_model {
namespace {

/// Words that boards might say, and some that nobody expects.
const std::vector<std::string> kWords{"Fan 2 stands still",
                                      "Fan 10 stands still",
                                      "6.48 V, not 6.50 V",
                                      "-3 degrees",
                                      "-12.5 degrees",
                                      "电压 3.3",
                                      "=1+2, \"quoted\"; \t",
                                      "",
                                      "#",
                                      "'"};
const std::vector<std::string> kVerdicts{"passed", "passed",  "passed",     "failed",
                                         "error",  "stopped", "interrupted"};
const std::vector<std::string> kOutcomes{"passed", "passed",  "failed",     "timed_out",
                                         "broken", "stopped", "interrupted"};

}  // namespace

RandomLine::RandomLine(unsigned seed) : random_(seed) {
  const int runs = number(0, 9) == 0 ? number(60, 120) : number(0, 20);
  for (int i = 0; i < runs; ++i) runs_.push_back(run(i));
}

Window RandomLine::window() {
  Window window;
  if (number(0, 2) > 0) window.from = time();
  if (number(0, 2) > 0) window.to = time();
  if (number(0, 1) > 0) window.plan = pick({"main", "main", "power", "nothing"});
  if (number(0, 3) == 0) window.batch = pick({"A", "AB1", "AB2", "AB12", "AB坏", "X"});
  return window;
}

int RandomLine::number(int low, int high) {
  return std::uniform_int_distribution<int>(low, high)(random_);
}

std::string RandomLine::pick(const std::vector<std::string>& texts) {
  return texts[static_cast<std::size_t>(number(0, static_cast<int>(texts.size()) - 1))];
}

/// One of few, so that runs start together and windows begin with them.
std::string RandomLine::time() {
  const int place = number(0, 40);
  return "2026-11-" + std::to_string(15 + place / 4) + "T" + std::to_string(100 + place % 4 * 6).substr(1) +
         ":00:00.000Z";
}

Run RandomLine::run(int place) {
  Run run;
  run.id = std::to_string(number(10000, 99999)) + "-" + std::to_string(1000 + place);
  run.serial = pick({"AB", "AB", "AB", "AB坏", "AB块"}) + std::to_string(number(1, 25));
  run.plan = pick({"main", "main", "power"});
  run.version = pick({"1", "2"});
  run.kind = pick({"production", "production", "production", "production", "check"});
  run.station = pick({"ICT-1", "ICT-1", "ICT-2"});
  if (number(0, 9) > 0) run.slot = pick({"1", "2"});
  run.started = time();
  if (number(0, 19) > 0) run.verdict = pick(kVerdicts);
  run.is_retried = number(0, 4) == 0;
  const int steps = number(0, 3);
  for (int index = 0; index < steps; ++index) add_step(run, index);
  return run;
}

void RandomLine::add_step(Run& run, int index) {
  const int tries = number(1, 2) * number(1, 2);
  for (int attempt = 1; attempt <= tries; ++attempt) {
    Attempt one;
    // A later version may have its steps in another order.
    one.step = std::vector<std::string>{
        "clock", "voltage", "fan"}[static_cast<std::size_t>(run.version == "1" ? index : 2 - index)];
    one.index = index;
    one.number = attempt;
    one.outcome = pick(kOutcomes);
    if (number(0, 9) > 0) one.seconds = number(1, 9999) / 1000.0;
    if (number(0, 9) > 0) one.description = pick(kWords);
    const int measurements = one.step == "voltage" ? number(0, 2) : 0;
    for (int i = 0; i < measurements; ++i) one.measurements.push_back(measured(run));
    run.attempts.push_back(one);
  }
}

Measured RandomLine::measured(const Run& run) {
  Measured one;
  one.name = pick({"volts", "volts", "volts", "ripple"});
  one.outcome = pick({"passed", "passed", "passed", "low", "high", "not_found"});
  if (one.name == "volts") one.unit = "V";
  if (one.name == "volts") one.low = 3.0;
  if (run.version == "2") one.high = 3.6;
  if (one.outcome != "not_found") one.value = 3.3 + number(-40, 40) / 100.0;
  return one;
}

}  // namespace figures_model
