// Simulated boards beside recorded ones, through the launcher.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "catalogue/catalogue.h"
#include "tests/boardrec/compare/launched.h"
#include "tests/boardrec/compare/ways.h"
#include "tests/boardrec/tool/recording_writer.h"

namespace {

using boardrec::Call;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Names = std::set<std::string>;

constexpr std::size_t kEvery = 8;  // of the ways is tried; all of them when BOARDTEST_COMPARED is set

Names words_of(std::string_view text) {
  std::istringstream words{std::string(text)};
  return {std::istream_iterator<std::string>(words), {}};
}

std::string put(const std::string& name, const std::string& bytes) {
  std::ofstream(own_file(name), std::ios::binary) << bytes;
  return own_file(name);
}

Launched compare(const std::string& recording, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"--compare", recording});
  return launch(std::move(options));
}

/// A board's boot block with a type code.
std::string boot_block(std::uint32_t type, std::uint8_t outputs = 2) {
  std::string block(256, '\0');
  const auto put_half = [&block](std::size_t at, std::uint32_t half) {
    block[at] = static_cast<char>(half & 0xFF);
    block[at + 1] = static_cast<char>(half >> 8 & 0xFF);
  };
  put_half(28, type >> 16);
  put_half(100, type);
  block[90] = static_cast<char>(outputs);
  return block;
}

std::string session_of_type(std::uint32_t type) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {"/dev/qznio", 2, 0}, .result = 5});
  session.add(
      {.call = Call::ioctl, .in = {5, 0x80044801, std::string(256, '\0')}, .out = {boot_block(type)}});
  return session.bytes();
}

/// The devices whose answers differ, but for what the program then tells the station.
Names devices_that_differ(const json& comparison) {
  Names devices;
  for (const json& difference : comparison["differences"]) devices.insert(difference["device"]);
  devices.erase("station");
  return devices;
}

/// The devices because of which programs went different ways; "nothing" where none differed before.
Names causes(const json& comparison) {
  Names devices;
  for (const json& parting : comparison["partings"])
    devices.insert(parting["because"] == "" ? "nothing" : std::string(parting["because_device"]));
  return devices;
}

void expect_named(const Way& way) {
  SCOPED_TRACE(std::string(way.family) + ": " + std::string(way.fault));
  const Launched run = compare(recording_of(way.family), {"--json", "--board", std::string(way.family),
                                                          "--fault", std::string(way.fault)});
  const Names expected = words_of(way.devices);
  ASSERT_EQ(run.status, expected.empty() ? 0 : 1) << run.err;
  const json comparison = json::parse(run.out);
  EXPECT_EQ(devices_that_differ(comparison), expected);
  for (const std::string& device : causes(comparison)) EXPECT_TRUE(expected.contains(device)) << device;
}

TEST(ComparedBoard, AHealthyBoardOfEveryFamilyAgreesWithItsRecording) {
  for (const catalogue::Family& family : catalogue::families()) {
    SCOPED_TRACE(family.name);
    const Launched run = compare(recording_of(family.name), {"--board", std::string(family.name)});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("\nThe boards agree in everything that was recorded.\n")) << run.out;
    EXPECT_THAT(run.out, HasSubstr("\nSimulated board " + std::string(family.name) + " (0x"));
  }
}

TEST(WrongBoard, IsNamedAtItsDeviceAndNothingElseIs) {
  const bool all = std::getenv("BOARDTEST_COMPARED") != nullptr;
  for (std::size_t i = 0; i < ways().size(); i += all ? 1 : kEvery) expect_named(ways()[i]);
}

/// What a board that is broken like the recorded one, and a healthy one, are said to be.
void expect_told_apart(const Way& way, const std::string& file) {
  SCOPED_TRACE(std::string(way.family) + " recorded with " + std::string(way.fault));
  record(way.family, every_test(way.family), file, way.fault);
  const std::vector<std::string> healthy{"--json", "--board", std::string(way.family)};
  std::vector<std::string> broken = healthy;
  broken.insert(broken.end(), {"--fault", std::string(way.fault)});
  const Launched alike = compare(file, broken);
  EXPECT_EQ(alike.status, 0) << alike.out << alike.err;
  const Launched run = compare(file, healthy);
  // A call that never came back is in no recording: it ends there.
  const Names expected = way.fault == "app silent" ? Names() : words_of(way.devices);
  ASSERT_EQ(run.status, expected.empty() ? 0 : 1) << run.err;
  const json comparison = json::parse(run.out);
  EXPECT_EQ(devices_that_differ(comparison), expected);
  for (const std::string& device : causes(comparison)) EXPECT_TRUE(expected.contains(device)) << device;
}

TEST(RecordedWrongBoard, AgreesWithOneThatIsWrongAlikeAndDiffersFromAHealthyOneThereOnly) {
  const bool all = std::getenv("BOARDTEST_COMPARED") != nullptr;
  for (std::size_t i = all ? 0 : kEvery / 2; i < ways().size(); i += all ? 1 : kEvery)
    expect_told_apart(ways()[i], own_file("wrong-" + std::to_string(i) + ".rec"));
}

TEST(ComparedBoard, StationsThatLeaveBreakOffAndComeAgainDoSoAgain) {
  const std::string file = own_file("stations.rec");
  // the clock is asked for, and half of a request is sent before the first station goes
  record("normal",
         "1 connect\n2 send "
         "2e0000003c546573744974656d3e3c54657374436f64653e313533363c2f54657374436f64653e3c2f54657374"
         "4974656d3e\n12 send 2e000000\n15 leave\n20 connect\n30 reset\n31 connect\n50 end\n",
         file);
  const Launched run = compare(file, {"--json", "--board", "normal"});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  const json comparison = json::parse(run.out);
  EXPECT_EQ(comparison["requests"], 1);
}

TEST(ComparedBoard, ARecordingThatAPowerCutEndedIsComparedAsFarAsItGoes) {
  const std::string whole = recording_of("rkd1");
  std::ifstream in(whole, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  const Launched run = compare(put("cut.rec", bytes.substr(0, bytes.size() / 2)));
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_THAT(run.out, HasSubstr("The recording ends early: "));
  EXPECT_THAT(run.out, HasSubstr("The boards agree"));
}

TEST(ComparedBoard, TheBoardIsThatOfTheBootBlock) {
  const Launched run = compare(recording_of("6444-j"));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, Not(HasSubstr("may be any of")));
  EXPECT_THAT(run.out, HasSubstr("Simulated board 6444-j (0x96c0)\n"));
}

TEST(ComparedBoard, WhichOfTwoFamiliesItIsWhereNobodyCanTellIsSaid) {
  EXPECT_THAT(
      compare(put("two.rec", session_of_type(0x9c0a))).err,
      StartsWith(
          "boardsim: the recorded board may be any of 65xx, 65xx-level: simulated as 65xx, --board chooses "
          "another\n"));
}

TEST(ComparedBoard, ATypeCodeOfNoFamilyIsSaid) {
  EXPECT_THAT(
      compare(put("other.rec", session_of_type(0x1234))).err,
      StartsWith("boardsim: no family has the type code 0x1234: simulated as a normal board of that type\n"));
}

TEST(ComparedBoard, AProgramThatNeverGoesAsFarAsTheRecordedOneIsToldOnce) {
  const Launched run = compare(recording_of("rkd1"), {"--json", "--fault", "bind EACCES"});
  EXPECT_EQ(run.status, 1) << run.err;
  const json comparison = json::parse(run.out);
  EXPECT_EQ(devices_that_differ(comparison), Names{"network"});
  ASSERT_EQ(comparison["partings"].size(), 2U);  // of the main thread, and of the one that was never there
  EXPECT_GT(comparison["partings"][0]["more"], 10);
}

TEST(ComparedBoard, WhatCannotBeComparedEndsTheLauncher) {
  const std::string garbage =
      put("garbage.rec", "this is no recording, and long enough to be a header of one: so it is");
  Launched run = compare(garbage);
  EXPECT_EQ(run.status, 64);
  EXPECT_THAT(run.err, HasSubstr(garbage));
  RecordingWriter silent;
  silent.add({.call = Call::sleep, .in = {1}, .took = 1});
  run = compare(put("silent.rec", silent.bytes()));
  EXPECT_EQ(run.status, 64);
  EXPECT_THAT(run.err,
              HasSubstr("silent.rec does not tell what board it is of, since its program read no boot "
                        "block: say it with --board (boardsim --help shows the options)\n"));
  EXPECT_EQ(compare(own_file("missing.rec")).status, 64);
  for (const char* option : {"--pace=virtual", "--speed=2", "--record=x", "--reboot=exit"}) {
    run = compare(recording_of("rkd1"), {option});
    EXPECT_EQ(run.status, 64) << option;
    EXPECT_THAT(run.err, HasSubstr("it has no effect beside --compare")) << option;
  }
  EXPECT_EQ(launch({"--json"}).status, 64);
}

/// A recording of a program that does `calls` and ends.
std::string session_of(const std::string& program, const std::vector<Written>& calls) {
  RecordingWriter session;
  session.add({.call = Call::start, .in = {program, program + '\0'}});
  for (const Written& call : calls) session.add(call);
  return session.add({.call = Call::finish, .in = {0}}).bytes();
}

TEST(ComparedBoard, ASessionInWhichNothingWasAskedCannotBeCompared) {
  const std::string no_program = put("header.rec", RecordingWriter().bytes());
  EXPECT_EQ(compare(no_program).err, "boardsim: --compare: " + no_program +
                                         " has no call of a program (boardsim --help shows the options)\n");
  const std::string idle = put("idle.rec", session_of("/usr/bin/true", {}));
  const Launched run = compare(idle, {"--board", "k"});
  EXPECT_EQ(run.status, 64);
  EXPECT_EQ(run.err,
            "boardsim: --compare: " + idle +
                " has no call of a program: /usr/bin/true asked its system for nothing (boardsim --help "
                "shows the options)\n");
}

TEST(ComparedBoard, ThatAnotherProgramWasRecordedIsSaid) {
  const std::string file =
      put("other_program.rec", session_of("/usr/bin/da\x1bte", {{.call = Call::sleep, .in = {1}}}));
  const Launched run = compare(file, {"--board", "k"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "boardsim: " + file + " is a recording of another program, /usr/bin/da\\x1bte\n");
}

TEST(ComparedBoard, ThatASessionEndsBeforeItsFirstRequestIsSaid) {
  const std::string file = own_file("no_request.rec");
  record("k", "1 connect\n20 end\n", file);
  const Launched run = compare(file, {"--board", "k"});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_THAT(run.out,
              HasSubstr("0 requests of the station\nSimulated board k (0x960b)\nThe station asked for no "
                        "test\n"));
}

TEST(StationScript, LinesThatMakeNoSenseAreRefused) {
  const std::vector<std::pair<std::string, std::string>> wrong{
      {"x connect\n", ":1: \"x\" is no number of seconds"},
      {"1 connect\n# fine\n0.5 leave\n", ":3: it is earlier than the line before"},
      {"1 wave\n", ":1: \"wave\" is none of connect, send, leave, reset, end"},
      {"1 send 123\n", ":1: what is sent are pairs of hexadecimal digits"},
      {"1 send\n", ":1: what is sent are pairs of hexadecimal digits"},
      {"1 connect now\n", ":1: nothing can stand where \"now\" does"},
      {"1 end\n2 connect\n", ":2: nothing comes behind the end"},
      {"\n# nothing\n", " has nothing for a station to do"}};
  for (const auto& [script, message] : wrong) {
    const std::string file = put("wrong", script);
    const Launched run = launch({"--pace", "virtual", "--station", file});
    EXPECT_EQ(run.status, 64) << script;
    EXPECT_THAT(run.err, HasSubstr(file + message));
  }
  const Launched run = launch({"--station", put("right", "1 connect\n")});
  EXPECT_EQ(run.status, 64);
  EXPECT_THAT(run.err, HasSubstr("its station lives in virtual time: --pace virtual"));
}

}  // namespace
