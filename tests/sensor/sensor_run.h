// What the tests of sensor calibration share: a board, a console, a station.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station_link.h"

class SensorRun : public OnBoard {
 protected:
  using Lines = std::vector<std::string>;

  explicit SensorRun(std::string_view family = "normal") : OnBoard(family) { board.clear_trace(); }

  /// Goes on with another board, and with nothing said or heard.
  void next_board(std::string_view family) {
    with_family(family);
    board.clear_trace();
    forget();
  }
  void forget() {
    station.forget();
    console.clear();
  }
  void expect_reply(int code, const std::string& name, const std::string& value,
                    const std::string& description) {
    const Reply reply = station.reply();
    EXPECT_EQ(reply.code, code);
    EXPECT_EQ(reply.name, name);
    EXPECT_EQ(reply.item_name, "测试结果");
    EXPECT_EQ(reply.value, value);
    EXPECT_EQ(reply.description, description);
  }
  /// The hardware calls behind their times, without closes and without reads of files: programs may close
  /// their nodes in any order and read a file in pieces of any size.
  Lines timed_calls() const {
    Lines lines;
    for (const boardsim::Call& call : board.trace()) {
      const bool of_file = call.node.starts_with("/devinfo/");
      if (!call.node.starts_with("/dev") || call.name == "close") continue;
      if (of_file && call.name != "open" && call.name != "fopen") continue;
      boardsim::Call shown = call;
      if (of_file) shown.name = "open";
      lines.push_back(shown.timed_text());
    }
    return lines;
  }
  /// What one node was asked, without times.
  Lines calls_on(std::string_view node) const {
    Lines lines;
    for (const boardsim::Call& call : board.trace()) {
      if (call.node == node) lines.push_back(call.text());
    }
    return lines;
  }

  Console console;
  StationLink station;
};
