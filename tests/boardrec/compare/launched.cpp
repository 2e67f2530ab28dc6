#include "tests/boardrec/compare/launched.h"

#include <cstdio>
#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

#include "catalogue/catalogue.h"
#include "tests/e2e/child.h"
#include "tests/harness/framing.h"
#include "tests/harness/own_directory.h"

namespace {

constexpr int kRest = 3;  // seconds between two tests, besides what one takes on a healthy board

std::string hexadecimal(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += digits;
  }
  return text;
}

std::string request_for(const catalogue::Test& test) {
  std::string document = "<TestItem><TestCode>" + std::to_string(test.code) + "</TestCode>";
  if (test.voltages.highest > 0)
    document += "<Parameters>" + std::to_string(test.voltages.lowest) + "</Parameters>";
  return record_of(document + "</TestItem>");
}

}  // namespace

std::string every_test(std::string_view family) {
  int seconds = 2;
  std::string script = "1 connect\n";
  for (const catalogue::Test* test : catalogue::tests_of(family)) {
    script += std::to_string(seconds) + " send " + hexadecimal(request_for(*test)) + "\n";
    seconds += test->seconds + kRest;
  }
  return script;
}

std::string own_file(std::string_view name) {
  static const OwnDirectory folder;
  return folder.file(name);
}

Launched launch(std::vector<std::string> options) {
  options.insert(options.begin(), BOARDSIM_PROGRAM);
  options.insert(options.end(), {"--", BOARDTEST_PROGRAM});
  Child launcher(options);
  std::string out = launcher.rest();
  std::string err = launcher.err();
  return {launcher.exit_status(), std::move(out), std::move(err)};
}

void record(std::string_view family, const std::string& script, const std::string& file,
            std::string_view fault) {
  const std::string name = own_file("script");
  std::ofstream(name) << script;
  std::vector<std::string> options{"--board", std::string(family), "--pace", "virtual", "--station",
                                   name,      "--record",          file};
  if (!fault.empty()) options.insert(options.end(), {"--fault", std::string(fault)});
  const Launched run = launch(options);
  if (fault.empty() && run.status != 0) throw std::runtime_error("no recording was made: " + run.err);
}

std::string recording_of(std::string_view family) {
  static std::set<std::string, std::less<>> made;
  const std::string file = own_file(std::string(family) + ".rec");
  if (made.emplace(family).second) record(family, every_test(family), file);
  return file;
}
