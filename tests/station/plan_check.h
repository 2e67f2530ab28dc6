// Plans that a test writes, and `t1station plan check` on them.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "station/app/app.h"
#include "tests/harness/own_directory.h"
#include "tests/station/scripted_link.h"

/// A folder with plans, and the command that looks at them.
class PlanCheck : public testing::Test {
 protected:
  /// The exit code of t1station with these arguments; what it says is in out() and err().
  int run(const std::vector<std::string>& arguments) {
    out_.str("");
    err_.str("");
    const t1station::Environment around{out_, err_, clock_, interrupt_, "2024-05-06T07:08:09"};
    return t1station::run_app(arguments, around);
  }

  /// Writes a file and gives its path.
  std::string written(std::string_view text, const std::string& name = "p.toml") {
    std::ofstream(directory_.file(name), std::ios::binary) << text;
    return directory_.file(name);
  }

  /// The complaints about a plan of this text, without the path in front of LINE:COLUMN. Fails the test when
  /// the exit code does not go with them.
  std::string complaints(std::string_view text) {
    const std::string path = written(text);
    const int code = run({"plan", "check", path});
    EXPECT_EQ(code, err().empty() ? 0 : 4);
    EXPECT_EQ(out().empty(), code == 4);
    std::string complaints = err();
    const std::string before = path + ":";
    for (std::size_t at = 0; (at = complaints.find(before, at)) != std::string::npos;)
      complaints.erase(at, before.size());
    return complaints;
  }

  std::string out() const { return out_.str(); }
  std::string err() const { return err_.str(); }

  const OwnDirectory directory_;

 private:
  ManualClock clock_;
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
};

/// The text so many times over.
inline std::string repeated(std::string_view text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// The first five lines of a good plan.
inline const std::string kHead =
    "format = 1\n"
    "name = \"main-board\"\n"
    "version = \"3\"\n"
    "serial = '[A-Z]{2}[0-9]{8}'\n"
    "\n";

/// A step, in lines 6 to 8 when it comes behind kHead.
inline const std::string kStep =
    "[[step]]\n"
    "name = \"clock\"\n"
    "test = \"rtc\"\n";
