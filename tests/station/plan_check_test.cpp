// Plans as `t1station plan check` reads them: what is good, and every mistake with its place.
#include "tests/station/plan_check.h"

#include "station/plan/plan_file.h"

namespace {

using PlanCheckTest = PlanCheck;

TEST_F(PlanCheckTest, AGoodPlanPrintsItsStepsAndTheirUsualTime) {
  const std::string path = written(kHead + R"(
build = 'BUILD: .*'
max_runs = 3

[[step]]
name = "voltage"
test = "set-sub-6455"
param = 650
timeout = 20
attempts = 2
on_fail = "stop"

[[step]]
name = "light"
test = 0x3900
confirm = { zh = "补光灯亮了吗?", en = "Is the light on?" }

[[step]]
name = "temperature"
test = "7426"
  [[step.measure]]
  name = "temperature"
  from = "console"
  match = '(-?[0-9.]+)'
  unit = "degC"
  low = 10
  high = 60.5
  [[step.measure]]
  name = "duration"
  from = "seconds"
  high = 5

[[step]]
name = "unknown"
test = 4711
param = -5

[[step]]
name = "end"
test = "-15"
always = true
)");
  EXPECT_EQ(run({"plan", "check", path}), 0);
  EXPECT_EQ(err(), "");
  EXPECT_EQ(
      out(),
      path +
          ": plan \"main-board\", version 3\n"
          "\n"
          "Step         Test               Code  Attempts  Seconds  Remarks\n"
          "voltage      set-sub-6455=650   9728         2        2  stops when it fails\n"
          "light        light             14592         1       10  asks a person\n"
          "temperature  temp               7426         1        1  measures temperature 10 to 60.5 degC,"
          " measures duration up to 5\n"
          "unknown      4711=-5            4711         1        ?\n"
          "end          restart             -15         1        1  always\n"
          "\n"
          "5 steps, usually 14 s\n"
          "It takes numbers from the board's console.\n"
          "It asks a person.\n");
}

TEST_F(PlanCheckTest, APlanIsKnownByTheHashOfItsBytes) {
  const std::string text = kHead + kStep;
  const t1station::Plan plan = t1station::parse_plan("p", text);
  EXPECT_EQ(plan.text, text);
  EXPECT_EQ(plan.id, "210c339a368dce55b7e110c21f13796236df59fc7ebbab08a8b551828eb29568")
      << "as sha256sum says";
  EXPECT_NE(t1station::parse_plan("p", text + "\n").id, plan.id);
}

TEST_F(PlanCheckTest, WhatAPlanLeavesOutHasItsUsualValue) {
  const t1station::Plan plan = t1station::parse_plan("p", kHead + kStep);
  EXPECT_FALSE(plan.build);
  EXPECT_FALSE(plan.max_runs);
  const t1station::Step& step = plan.steps.at(0);
  EXPECT_EQ(step.code, 1536);
  EXPECT_EQ(step.timeout, 48) << "three times the usual length and half a minute";
  EXPECT_EQ(step.attempts, 1);
  EXPECT_FALSE(step.stop_on_fail);
  EXPECT_FALSE(step.always);
  EXPECT_FALSE(step.confirm);
  EXPECT_TRUE(step.measures.empty());
}

TEST_F(PlanCheckTest, SeveralPlansAreLookedAtWhateverIsWrongWithTheFirst) {
  const std::string bad = written("format = 1\n", "bad.toml");
  const std::string good = written(kHead + kStep, "good.toml");
  EXPECT_EQ(run({"plan", "check", bad, good, good}), 4);
  EXPECT_TRUE(err().starts_with(bad + ":1:1: \"name\" is missing\n")) << err();
  EXPECT_TRUE(out().starts_with(good + ": plan")) << out();
  EXPECT_NE(out().find("\n\n" + good + ": plan"), std::string::npos) << out();
}

TEST_F(PlanCheckTest, EveryMistakeIsToldInTheOrderOfTheFile) {
  EXPECT_EQ(
      complaints(
          "format = 2\nnam = 'x'\nversion = 3\nserial = '(a+)+'\n[[step]]\nname = 'A b'\ntest = 'rtcc'\n"),
      "1:1: \"name\" is missing\n"
      "1:10: \"format\" is 1, not 2\n"
      "2:1: \"nam\" is no key that is known here. Did you mean name?\n"
      "3:11: \"version\" is a text, not a whole number\n"
      "4:10: the pattern \"serial\" cannot be used: at character 5: a repetition inside a repetition, which "
      "could "
      "run away\n"
      "6:8: \"name\" is 1 to 40 letters a to z, digits and hyphens, not \"A b\"\n"
      "7:8: there is no test \"rtcc\"; \"t1station list\" shows them all. Did you mean rtc?\n");
  EXPECT_EQ(complaints(""),
            "1:1: \"format\" is missing\n1:1: \"name\" is missing\n1:1: \"version\" is missing\n"
            "1:1: \"serial\" is missing\n1:1: there is no step; each begins with [[step]]\n");
}

struct Mistake {
  std::string text;  // behind the head
  std::string complaint;
};

class PlanMistakeTest : public PlanCheck {
 protected:
  void expect(const std::vector<Mistake>& mistakes, const std::string& before) {
    for (const Mistake& mistake : mistakes) {
      EXPECT_EQ(complaints(before + mistake.text), mistake.complaint + "\n") << mistake.text;
    }
  }
};

TEST_F(PlanMistakeTest, InThePlan) {
  expect({{"build = '['\n" + kStep,
           "6:9: the pattern \"build\" cannot be used: at character 1: the [ that stands here has no ]"},
          {"max_runs = 0\n" + kStep, "6:12: \"max_runs\" is 1 to 1000000, not 0"},
          {"max_runs = 1.5\n" + kStep, "6:12: \"max_runs\" is a whole number, not a number with a fraction"},
          {"step = 5", "6:8: \"step\" is tables that are headed [[step]], not a whole number"},
          {"step = [1]", "6:9: \"step\" is tables that are headed [[step]], not a whole number"},
          {"step = []", "6:8: there is no step; each begins with [[step]]"},
          {"[step]\nname = 'a'", "6:1: \"step\" is tables that are headed [[step]], not a table"},
          {kStep + "[[stepp]]\n", "9:3: \"stepp\" is no key that is known here. Did you mean step?"}},
         kHead);
}

TEST_F(PlanMistakeTest, InAStep) {
  const std::string step = kHead + "[[step]]\nname = \"a\"\n";
  expect({{"", "6:1: \"test\" is missing"},
          {"test = 1.5", "8:8: \"test\" is a short name or a code"},
          {"test = 255", "8:8: 255 is the code of the board's own messages, not of a test"},
          {"test = \"0xF300\"", "8:8: 62208 is the quit request, not a test; it is sent at the end anyway"},
          {"test = 2147483648", "8:8: the test code 2147483648 does not fit into 32 bits"},
          {"test = \"set-sub-6455\"",
           "8:8: \"param\" is missing: set-sub-6455 needs a voltage, 600 to 1019 hundredths of "
           "a volt (6.00 V to 10.19 V)"},
          {"test = \"set-sub-6455\"\nparam = 1020",
           "9:9: set-sub-6455 takes 600 to 1019 hundredths of a volt (6.00 V to 10.19 V), not 1020, for "
           "which the board "
           "would set a voltage of its own"},
          {"test = \"set-sub-6455\"\nparam = \"650\"", "9:9: \"param\" is a whole number, not a text"},
          {"test = \"rtc\"\nparam = 5",
           "9:9: rtc takes no parameter; only the set-sub tests do, and codes outside the list"},
          {"test = 4711\nparam = 2147483648", "9:9: \"param\" is -2147483648 to 2147483647, not 2147483648"},
          {"test = 4711\ntimeout = 0", "9:11: \"timeout\" is more than 0 seconds and at most a day (86400)"},
          {"test = 4711\ntimeout = 86400.5",
           "9:11: \"timeout\" is more than 0 seconds and at most a day (86400)"},
          {"test = 4711\ntimeout = nan", "9:11: \"timeout\" is a number of a certain size"},
          {"test = 4711\ntimeout = \"5\"", "9:11: \"timeout\" is a number, not a text"},
          {"test = 4711\nattempts = 0", "9:12: \"attempts\" is 1 to 10, not 0"},
          {"test = 4711\nattempts = 11", "9:12: \"attempts\" is 1 to 10, not 11"},
          {"test = 4711\non_fail = \"Stop\"",
           "9:11: \"on_fail\" is one of \"continue\", \"stop\", not \"Stop\". Did you mean stop?"},
          {"test = 4711\nalways = 1", "9:10: \"always\" is true or false, not a whole number"},
          {"test = 4711\nconfirm = \"ok?\"",
           "9:11: \"confirm\" is the question in two languages, { zh = \"...\", en = \"...\" }"},
          {"test = 4711\nconfirm = { zh = \"亮?\" }", "9:11: \"en\" is missing"},
          {"test = 4711\nconfirm = { zh = \" \", en = \"ok?\" }", "9:18: \"zh\" is empty"},
          {"test = 4711\nconfirm = { zh = \"亮?\", en = \"a\\nb\" }",
           "9:29: \"en\" is one line without control characters"},
          {"test = 4711\nconfirm = { zh = \"亮?\", en = \"ok?\", de = \"\" }",
           "9:36: \"de\" is no key that is known here"},
          {"test = 4711\non_fial = \"stop\"",
           "9:1: \"on_fial\" is no key that is known here. Did you mean on_fail?"},
          {"test = 4711\n[[step]]\nname = \"a\"\ntest = 1",
           "10:8: \"a\" is the name of the step of line 7 already"},
          {"test = -15\n[[step]]\nname = \"b\"\ntest = 1",
           "8:8: the restart must be the last step: the board is gone for those behind it"}},
         step);
}

TEST_F(PlanMistakeTest, InAMeasurement) {
  const std::string measure = kHead + kStep + "[[step.measure]]\n";
  const std::string good = "name = \"t\"\nmatch = '([0-9]+)'\n";
  expect(
      {{"match = '(a)'", "9:1: \"name\" is missing"},
       {"name = \"t\"", "9:1: \"match\" is missing"},
       {"name = \"t\"\nmatch = 'a'",
        "11:9: \"match\" has one group, which is the number, not 0; (?:...) only holds together"},
       {"name = \"t\"\nmatch = '(a)(b)'",
        "11:9: \"match\" has one group, which is the number, not 2; (?:...) only holds together"},
       {"name = \"t\"\nmatch = '(a'",
        "11:9: the pattern \"match\" cannot be used: at character 1: the group that begins "
        "here has no end"},
       {"name = \"t\"\nfrom = \"seconds\"\nmatch = '(a)'",
        "12:9: nothing is searched for the seconds: \"match\" does not belong here"},
       {"name = \"t\"\nfrom = \"consol\"",
        "11:8: \"from\" is one of \"description\", \"console\", \"seconds\", not \"consol\". Did you mean "
        "console?"},
       {good + "low = 5\nhigh = 4.9", "13:8: the limits are the wrong way round: \"low\" is above \"high\""},
       {good + "low = nan", "12:7: \"low\" is a number of a certain size"},
       {good + "high = -inf", "12:8: \"high\" is a number of a certain size"},
       {good + "high = 1979-05-27", "12:8: \"high\" is a number, not a date or a time"},
       {good + "unit = []", "12:8: \"unit\" is a text, not an array"},
       {good + "[[step.measure]]\n" + good, "13:8: \"t\" is the name of the measurement of line 10 already"},
       {good + "lo = 5", "12:1: \"lo\" is no key that is known here. Did you mean low?"}},
      measure);
  EXPECT_EQ(complaints(measure + good + "low = 5\nhigh = 5"), "") << "one value only";
}

TEST_F(PlanMistakeTest, AFileThatIsNoTomlEndsAtItsFirstMistake) {
  expect({{"\xEF\xBB\xBF" + kHead + kStep,
           "1:1: the file begins with a byte order mark: save it as UTF-8 without one"},
          {"# 温度\nname = '温\xC8\xC8'\nx = \n", "2:10: this is no UTF-8: save the file as UTF-8"},
          {"a = \n= 5\n", "1:5: this is no TOML: expected value, saw '\\n'"},
          {"name = 'a'\nname = 'b'\n", "2:8: this is no TOML: cannot redefine existing string 'name'"},
          {"[a]\n[a]\n", "2:1: this is no TOML: cannot redefine existing table 'a'"},
          {"name = “a”\n",
           "1:8: this is no TOML: could not determine value type; a text stands between straight quotes, "
           "\"like this\""},
          {"match = \"(\\.)\"\n",
           "1:12: this is no TOML: unknown escape sequence '\\.'; a pattern stands between single quotes, "
           "'like this'"},
          {"[[step]]\n[step]\n",
           "2:1: this is no TOML: cannot redefine existing array 'step' as table; a heading in double "
           "brackets, [[like this]], has them each time"},
          {"x = 99999999999999999999\n",
           "1:25: this is no TOML: '99999999999999999999' is not representable in 64 bits"}},
         "");
}

TEST_F(PlanCheckTest, AFileThatCannotBeReadIsABadPlan) {
  const std::string missing = directory_.file("none.toml");
  EXPECT_EQ(run({"plan", "check", missing}), 4);
  EXPECT_EQ(err(), missing + ":1:1: the file cannot be read: No such file or directory\n");
  const std::string folder = directory_.path();
  EXPECT_EQ(run({"plan", "check", folder}), 4);
  EXPECT_EQ(err(), folder + ":1:1: the file cannot be read: Is a directory\n");
  EXPECT_EQ(run({"plan", "check", "/dev/zero"}), 4);
  EXPECT_EQ(err(), "/dev/zero:1:1: the file has more than 65536 bytes\n");
}

TEST_F(PlanCheckTest, TheCommandSaysWhatItNeeds) {
  EXPECT_EQ(run({"plan"}), 4);
  EXPECT_EQ(err(), "t1station: plan what? there is: t1station plan check FILE ...\n");
  EXPECT_EQ(run({"plan", "check"}), 4);
  EXPECT_NE(err().find("FILE"), std::string::npos) << err();
  EXPECT_EQ(run({"plan", "check", "--fiel", "x"}), 4);
  EXPECT_EQ(err(),
            "t1station: \"--fiel\" is no option of plan check; \"t1station plan check --help\" shows what "
            "there is\n");
  EXPECT_EQ(run({"192.0.2.7", "plan", "check", "x"}), 4);
  EXPECT_EQ(err(), "t1station: plan needs no board: leave out 192.0.2.7\n");
  EXPECT_EQ(run({"plan", "check", "--help"}), 0);
  EXPECT_NE(out().find("Usage: t1station plan check"), std::string::npos) << out();
  EXPECT_NE(out().find("Exit codes:\n  0  all are good\n  4  one is not"), std::string::npos) << out();
}

}  // namespace
