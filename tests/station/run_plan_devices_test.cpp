// The command `t1station run --plan` beside serial devices and reports: used, refused, and lost on the way.
#include <gmock/gmock.h>

#include "tests/station/fake_board.h"
#include "tests/station/run_plan.h"
#include "tests/station/serial_device.h"

namespace {

using namespace board_texts;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class RunPlanDevicesTest : public RunPlanTest {
 protected:
  /// `run` by the PC's own clock.
  int run_with(const FakeBoard& board, const std::vector<std::string>& more) {
    return run(board.address(), more, t1station::SteadyClock());
  }
  t1station::StoredAttempt attempt(std::size_t index) const { return stored().attempts.at(index); }

  SerialDevice device_;
};

TEST_F(RunPlanDevicesTest, TheConsoleIsReadAtItsSpeedWhileAStepRuns) {
  records_support::write(plan_,
                         records_support::plan_text() +
                             "[[step.measure]]\nname = \"more\"\nfrom = \"console\"\nmatch = 'T=([0-9]+)'\n");
  termios during{};
  FakeBoard board({{sends(greeting()), hears(), sends(rtc_pass()), hears(), does([&] {
                      during = device_.settings();
                      device_.say("T=2\r\n");
                    }),
                    sends(degrees("20")), hears()}});
  EXPECT_EQ(run_with(board, {"--console", device_.path(), "--console-speed", "9600"}), 0) << err();
  EXPECT_EQ(cfgetospeed(&during), B9600);
  EXPECT_EQ(attempt(0).console, "") << "a console that says nothing";
  EXPECT_EQ(attempt(1).console, "T=2\r\n");
  EXPECT_EQ(attempt(1).measurements.at(1).value, 2);
}

TEST_F(RunPlanDevicesTest, AConsoleThatIsGoneBreaksThisAttemptAndTheNextOneBeforeItsRequest) {
  FakeBoard board({{sends(greeting()), hears(), does([this] { device_.hang_up(); }), awaits_close()},
                   {sends(greeting()), hears()}});
  EXPECT_EQ(run_with(board, {"--console", device_.path()}), 6);
  EXPECT_EQ(stored().verdict, "error");
  ASSERT_EQ(stored().attempts.size(), 2U);
  for (const std::size_t index : {0U, 1U}) {
    EXPECT_EQ(attempt(index).outcome, "broken");
    EXPECT_THAT(attempt(index).description.value(), StartsWith(device_.path() + " "));
  }
  EXPECT_EQ(board.requests(), (std::vector{request(1536).substr(4), request(62208).substr(4)}));
}

class RunPlanEchoTest : public RunPlanDevicesTest {
 protected:
  RunPlanEchoTest() {
    records_support::write(
        plan_,
        "format = 1\nname = \"echo\"\nversion = \"1\"\nserial = '.*'\n[[step]]\nname = \"echo\"\n"
        "test = \"rs485\"\n");
  }
  /// A board that does this on its line when it is asked, and says that it passed all the same.
  int run_on_line(const std::function<void()>& board_does) {
    FakeBoard board({{sends(greeting()), hears(), does(board_does),
                      sends(reply(1024, light_name_gbk, "Pass", "")), hears()}});
    return run_with(board, {"--rs485", device_.path(), "--speed", "600"});
  }

  const std::string frame_{"\xD0\x01\x06\x0F\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC\x75", 15};
};

TEST_F(RunPlanEchoTest, AnEchoIsAnsweredAndBothSidesWordsAreKept) {
  std::string rest;
  EXPECT_EQ(run_on_line([&] {
              device_.say(device_.heard(15));
              rest = device_.heard(7);
            }),
            0)
      << err();
  EXPECT_EQ(rest, std::string("\xD0\x01\x02\x07\x5A\xA5\xD9", 7));
  EXPECT_EQ(attempt(0).description,
            "sent     d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"
            "received d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"
            "sent     d0 01 02 07 5a a5 d9\nthe echo is right");
}

TEST_F(RunPlanEchoTest, ABoardThatPassesItselfWithAnotherEchoOrNoneFails) {
  const std::string wrong = frame_.substr(0, 14) + "\x7F";
  for (const std::string& echo : {wrong, std::string()}) {
    EXPECT_EQ(run_on_line([&] {
                device_.heard(15);
                device_.say(echo);
              }),
              1);
    EXPECT_EQ(attempt(0).outcome, "failed");
    EXPECT_THAT(attempt(0).description.value(),
                AllOf(StartsWith("sent "), Not(HasSubstr("the echo is right"))));
  }
}

TEST_F(RunPlanEchoTest, ABoardThatPassesItselfBeforeItsPartnerHasSentAnythingFails) {
  FakeBoard board({{sends(greeting()), hears(), sends(reply(1024, light_name_gbk, "Pass", "")), hears()}});
  EXPECT_EQ(run_with(board, {"--rs485", device_.path()}), 1);
  EXPECT_EQ(attempt(0).description, "nothing was sent: the reply came first");
}

TEST_F(RunPlanEchoTest, ALineThatIsGoneBreaksTheAttempt) {
  FakeBoard board({{sends(greeting()), hears(), does([this] {
                      device_.heard(15);
                      device_.hang_up();
                    }),
                    awaits_close()}});
  EXPECT_EQ(run_with(board, {"--rs485", device_.path(), "--speed", "600"}), 6);
  EXPECT_EQ(attempt(0).outcome, "broken");
  EXPECT_THAT(attempt(0).description.value(), StartsWith(device_.path() + " "));
}

TEST_F(RunPlanDevicesTest, DevicesThatCannotBeHadEndWith6BeforeAnythingIsAskedOrKept) {
  for (const std::string option : {"--console", "--rs485"}) {
    for (const std::string& path : {std::string("/no/such/device"), std::string("/dev/null"), plan_}) {
      EXPECT_EQ(run(nobody, {option, path}), 6) << option;
      EXPECT_THAT(err(), AllOf(StartsWith("t1station: " + path + " "), EndsWith("; nothing was run\n")));
      EXPECT_FALSE(std::filesystem::exists(file_));
    }
  }
  EXPECT_EQ(run(nobody, {"--console", device_.path(), "--console-speed", "38401"}), 4);
  EXPECT_THAT(err(), HasSubstr("38401 bits per second is no speed of serial lines"));
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(RunPlanDevicesTest, AReportThatCannotBeWrittenCostsNeitherRecordNorVerdict) {
  for (const auto& [number, verdict, exit_code] : {std::tuple{"20", "passed", 7}, {"99", "failed", 1}}) {
    std::filesystem::create_directory(path("reports"));
    FakeBoard board(
        {{sends(greeting()), hears(), sends(rtc_pass()), hears(),
          does([this] { std::filesystem::remove(path("reports")); }), sends(degrees(number)), hears()}});
    const std::string report = path("reports/report.json");
    EXPECT_EQ(run(board.address(), {"--json", report, "--junit", path("junit.xml")}), exit_code);
    EXPECT_THAT(err(), HasSubstr("t1station: cannot write " + report));
    EXPECT_THAT(out(), HasSubstr(serial + ": " + verdict));
    EXPECT_EQ(stored().verdict, verdict);
    EXPECT_NE(records_support::content_of(path("junit.xml")), "") << "the other one is written";
    std::filesystem::remove(path("junit.xml"));
  }
}

}  // namespace
