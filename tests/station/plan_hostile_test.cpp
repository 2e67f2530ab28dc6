// Plans that somebody made to bring a station down: each gives a clear complaint.
#include <random>

#include "station/plan/plan_file.h"
#include "tests/station/plan_check.h"

namespace {

using HostilePlanTest = PlanCheck;

// A parser that makes a table of every dot, and takes each apart from within the one around it, needs a stack
// of megabytes for these.
TEST_F(HostilePlanTest, DeepNestingIsRefused) {
  const std::string keys = repeated("a.", 30000) + "a";
  for (const std::string& text :
       {keys + " = 1\n", "[" + keys + "]\n", "[[" + keys + "]]\n", "x = { " + keys + " = 1 }\n",
        "x = [\n{ " + keys + " = 1 }]\n", "s = '''\n'''\n" + keys + " = 1\n",
        "x = { s = '''a'''', " + keys + " = 1 }\n", "x = { s = \"\"\"\\\"\"\"\", " + keys + " = 1 }\n"}) {
    const std::string found = complaints(text);
    EXPECT_NE(found.find("this is nested too deep"), std::string::npos) << text.substr(0, 30) << found;
  }
  EXPECT_NE(complaints("x = " + repeated("[", 30000)).find("1:"), std::string::npos);
  EXPECT_NE(complaints("x = " + repeated("[", 30000) + repeated("]", 30000)).find("this is no TOML"),
            std::string::npos);
  EXPECT_NE(complaints("x = " + repeated("{a=", 20000)).find("this is no TOML"), std::string::npos);
}

TEST_F(HostilePlanTest, AsMuchNestingAsIsLetThroughDoesNoHarm) {
  const std::string dots = repeated("a.", 16) + "a = ";
  const std::string text = "x = " + repeated("[\n{ " + dots, 120) + "1" + repeated(" }]", 120) + "\n";
  EXPECT_NE(complaints(text).find("\"x\" is no key that is known here"), std::string::npos);
}

TEST_F(HostilePlanTest, DotsInTextsAndCommentsNestNothing) {
  const std::string dots(60, '.');
  EXPECT_EQ(complaints("# " + dots + "\n" + kHead + kStep + "confirm = { zh = '" + dots + "', en = \"\\\"" +
                       dots + "\" }\n"),
            "");
}

TEST_F(HostilePlanTest, HugeFilesTextsAndNumbersAreRefusedInOneLineEach) {
  EXPECT_EQ(complaints("name = '" + std::string(1 << 20, 'a') + "'\n"),
            "1:1: the file has more than 65536 bytes\n");
  for (const std::string& text :
       {"name = '" + std::string(60000, 'a') + "'\n" + kStep, std::string(60000, 'k') + " = 1\n" + kStep,
        kHead + "[[step]]\nname = 'a'\ntest = '" + std::string(60000, '9') + "'\n",
        kHead + "max_runs = " + std::string(60000, '9') + "\n" + kStep,
        kHead + "[[step]]\nname = 'a'\ntest = 1\ntimeout = 1e" + std::string(6000, '9') + "\n",
        kHead + "build = '" + std::string(60000, '(') + "'\n" + kStep}) {
    const std::string found = complaints(text);
    EXPECT_FALSE(found.empty()) << text.substr(0, 20);
    std::istringstream lines(found);
    for (std::string line; std::getline(lines, line);) EXPECT_LT(line.size(), 500U) << line.substr(0, 100);
  }
}

TEST_F(HostilePlanTest, ComplaintsSteerNoTerminal) {
  const std::string found = complaints("\"\\u001b[2J\\n\\u202e\" = 1\n" + kHead + kStep);
  EXPECT_EQ(found, "1:1: \"\uFFFD[2J \uFFFD\" is no key that is known here\n");
  EXPECT_EQ(complaints(std::string("a = 1\n\0", 7)).find("2:1: this is no TOML"), 0U);
  EXPECT_EQ(run({"plan", "check", "no\nfile\x1b"}), 4);
  EXPECT_EQ(err(), "no file\uFFFD:1:1: the file cannot be read: No such file or directory\n");
}

// A good plan with bytes changed, taken out, doubled and put elsewhere: it is read or refused, and a refusal
// has its place.
TEST_F(HostilePlanTest, DamagedPlansAreReadOrRefused) {
  const std::string good =
      kHead + kStep +
      "attempts = 2\non_fail = \"stop\"\nconfirm = { zh = \"亮?\", en = \"on?\" }\n"
      "[[step.measure]]\nname = \"t\"\nmatch = '(-?[0-9]+)'\nlow = -1.5e3\nhigh = 0x10\n";
  std::mt19937 random(20261122);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  int refused = 0;
  for (int i = 0; i < 3000; ++i) {
    std::string text = good;
    for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
      const std::size_t at = below(text.size()), length = std::min(1 + below(12), text.size() - at);
      const std::string piece = text.substr(at, length);
      switch (below(4)) {
        case 0:
          text[at] = static_cast<char>(below(256));
          break;
        case 1:
          text.erase(at, length);
          break;
        case 2:
          text.insert(at, piece);
          break;
        default:
          text.insert(below(text.size()), piece);
      }
      if (text.empty()) text = " ";
    }
    try {
      const t1station::Plan plan = t1station::parse_plan("p", text);
      EXPECT_FALSE(plan.steps.empty());
    } catch (const t1station::BadPlan& reason) {
      ++refused;
      ASSERT_FALSE(reason.lines().empty());
      for (const std::string& line : reason.lines()) EXPECT_TRUE(line.starts_with("p:")) << line;
    }
  }
  EXPECT_GT(refused, 1000);
}

}  // namespace
