// What the tests of the launcher share: a folder for its files, and the launcher with the probe program
// behind it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/boardsim/launcher/process.h"
#include "tests/harness/own_directory.h"

using Words = std::vector<std::string>;

class LauncherTest : public testing::Test {
 protected:
  /// The launcher with these options and the probe program and what it is to do.
  static Words launch(const Words& options, const Words& action) {
    Words command{BOARDSIM_PROGRAM};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"--", BOARDSIM_PROBE});
    command.insert(command.end(), action.begin(), action.end());
    return command;
  }
  static Words bare(const Words& arguments) {
    Words command{BOARDSIM_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
  }
  /// A loopback address that other processes with these tests do not use; `number` is 0 to 9.
  static std::string address(int number) {
    const unsigned id = static_cast<unsigned>(getpid()) % 65536;
    return "127." + std::to_string(50 + number) + "." + std::to_string(id / 256) + "." +
           std::to_string(id % 256);
  }
  std::string file(const std::string& name) const { return directory_.file(name); }
  static std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  /// Standard output without the launcher's first line.
  static std::string program_output(const Process& process) {
    return process.out.substr(std::min(process.out.find('\n') + 1, process.out.size()));
  }
  static std::string address_in(const std::string& first_line) {
    std::smatch match;
    return std::regex_search(first_line, match, std::regex(R"(at (127\.\d+\.\d+\.\d+):36001)"))
               ? match[1].str()
               : "";
  }

 private:
  const OwnDirectory directory_;
};
