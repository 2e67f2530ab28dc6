// The launcher: unmodified programs on a simulated board.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "boardsim/control/client.h"
#include "tests/boardsim/launcher/launcher.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

// ---- the command line -------------------------------------------------------------------------------------

TEST_F(LauncherTest, TheFirstLineNamesTheBoardByItsNameOrTypeCodeAndItsAddress) {
  const std::pair<const char*, const char*> boards[] = {
      {"loop", "loop (0x96c1)"}, {"0x96C4", "loop-c (0x96c4)"}, {"0x9726", "k (0x9726)"}};
  for (const auto& [name, shown] : boards) {
    Process process(launch({"--board", name, "--address", address(0)}, {"exit", "0"}));
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.out, std::string("boardsim: board ") + shown + " at " + address(0) + ":36001\n");
    EXPECT_EQ(process.err, "");
  }
}

TEST_F(LauncherTest, ATypeCodeOfNoFamilyIsSaidToBeSimulatedAsANormalBoard) {
  Process process(launch({"--board", "0x97c2"}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_THAT(process.out, StartsWith("boardsim: board normal (0x97c2) at 127."));
  EXPECT_NE(address_in(process.out), "127.0.0.1") << "a board has an address of its own";
  EXPECT_EQ(process.err,
            "boardsim: no family has the type code 0x97c2: simulated as a normal board of that type\n");
}

TEST_F(LauncherTest, EndsWithTheProgramsExitStatus) {
  for (const auto& [status, seen] : {std::pair{"3", 3}, std::pair{"-1", 255}}) {
    Process process(launch({}, {"exit", status}));
    EXPECT_EQ(process.wait(), seen);
  }
}

TEST_F(LauncherTest, ScriptsAndPeopleCanAskForFamiliesFaultsAndTheVersion) {
  const std::pair<Words, const char*> questions[] = {
      {{"--board", "loop", "--print-family"}, "^loop\n$"},
      {{"--board", "0x9c0a", "--print-family"}, "^65xx\n$"},
      {{"--board", "0xA6004", "--print-family"}, "^ma\n$"},
      {{"--board", "0x97c2", "--print-family"}, "^normal\n$"},
      {{"--board", "list"}, "\n6444 +0x96c0 +7 "},
      {{"--board", "rkd1", "--fault", "list"}, "\nrtc stopped\n    the clock stands still from now on\n"},
      {{"--board", "rkd1", "--fault", "list"},
       "\n    OUTPUT: F1, F2, A1, A2, F3, F4, F5, F6, F7, F8 or F9\n"},
      {{"--version"}, "^boardsim [0-9]+\\.[0-9]+\\.[0-9]+([+][a-z0-9.]+)?\n$"}};
  for (const auto& [words, answer] : questions) {
    Process process(bare(words));
    EXPECT_EQ(process.wait(), 0) << answer;
    EXPECT_TRUE(std::regex_search(process.out, std::regex(answer))) << process.out;
  }
}

TEST_F(LauncherTest, WhatMakesNoSenseIsAUsageErrorThatTellsWhatThereIs) {
  const std::pair<Words, const char*> lines[] = {
      {{"--board", "nonsense", "--", "x"}, "6444-j"},
      {{"--board", "loop"}, "PROGRAM"},
      {{"--bord", "loop", "--", "x"}, "--bord (boardsim --help shows the options)"},
      {{"--fault", "rtc confused", "--", "x"}, "expected rtc stopped"},
      {{"--fault", "open /dev/rtcc", "--", "x"}, "the board has no /dev/rtcc; it has "},
      {{"--fault", "interface eth0 192.0.2.1", "--", "x"}, "interface: "},
      {{"--interface", "eth0=192.0.2.1", "--", "x"}, "interface: "},
      {{"--interface", "wlan0=x", "--", "x"}, "interface: "},
      {{"--interface", "eth0=none", "--interface", "eth0=127.0.0.2", "--", "x"},
       "boardsim: --interface: eth0 is given twice"},
      {{"--address", "192.0.2.1", "--", "x"}, "192.0.2.1 is no loopback address"},
      {{"--devinfo", file("none"), "--", "x"}, "none: No such file or directory"},
      {{"--uart1", file("uart1"), "--pace", "virtual", "--", "x"}, "--uart1"},
      {{"--uart1", "x", "--fault", "rs485 fixture ring5", "--", "x"},
       "boardsim: --uart1: it plugs in the RS485 fixture"},
      {{"--speed", "3", "--pace", "virtual", "--", "x"},
       "boardsim: --speed: it counts for --pace scaled only"},
      {{"--pace", "stepped", "--", "x"}, "boardsim: --pace: stepped time stands still without --control"},
      {{"--board", "list", "--fault", "rtc stopped"},
       "boardsim: --fault: it has no effect beside --board list"},
      {{"--board", "list", "--", "x"}, "boardsim: x: --board list starts no program"},
      {{"--print-family", "--speed", "2"}, "boardsim: --speed: it has no effect beside --print-family"},
      {{"--board", "list", "--console-tty", "x"},
       "boardsim: --console-tty: it has no effect beside --board list"},
      {{"--fault", "list", "--fault", "rtc stopped"},
       "boardsim: --fault: other faults have no effect beside --fault list"}};
  for (const auto& [options, message] : lines) {
    Process process(bare(options));
    EXPECT_EQ(process.wait(), 64) << message;
    EXPECT_THAT(process.err, HasSubstr(message));
    EXPECT_EQ(process.out, "") << message;
  }
}

TEST_F(LauncherTest, WhatFollowsTheProgramIsItsOwn) {
  Process process({BOARDSIM_PROGRAM, "--speed", "2", BOARDSIM_PROBE, "--help", "--board", "nonsense"});
  EXPECT_EQ(process.wait(), 99) << "the probe knows no such action";
}

TEST_F(LauncherTest, ASpeedAtWhichDelaysOfThePcCountIsPointedOut) {
  Process fast(launch({"--speed", "1000"}, {"exit", "0"}));
  EXPECT_EQ(fast.wait(), 0);
  EXPECT_THAT(fast.err, HasSubstr("1 ms of delay on this PC are a second of the board's"));
  Process usual(launch({"--speed", "40"}, {"exit", "0"}));
  EXPECT_EQ(usual.wait(), 0);
  EXPECT_EQ(usual.err, "");
}

TEST_F(LauncherTest, WhatCannotBeSimulatedIsRefusedBeforeItStarts) {
  const std::string script = file("script");
  std::ofstream(script) << "#!/bin/sh\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  const std::pair<std::string, const char*> programs[] = {
      {"/no/such/program", "/no/such/program: No such file or directory"},
      {BOARDSIM_STATIC_PROBE, "is linked statically"},
      {script, "is no program for this PC"}};
  for (const auto& [program, message] : programs) {
    Process process(bare({"--", program}));
    EXPECT_EQ(process.wait(), 70) << program;
    EXPECT_THAT(process.err, HasSubstr(message));
    EXPECT_EQ(program_output(process), "") << program;
  }
}

// ---- what a program may do, and what it sees ------------------------------------------------------------

TEST_F(LauncherTest, WhatAProgramMayNotDoEndsItLoudly) {
  Process process(launch({}, {"unknown-node"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_EQ(program_output(process), "before\n");
  EXPECT_EQ(process.err, "boardsim: unknown node /dev/foo (open)\n");
  Process starter(launch({}, {"shell"}));
  EXPECT_EQ(starter.wait(), 70);
  EXPECT_EQ(starter.err, "boardsim: system of true is nothing that a program may do on this board\n");
}

TEST_F(LauncherTest, ARestartEndsTheProgramAndNotThePcOrReturns) {
  Process process(launch({"--trace", file("trace")}, {"restart"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "restarting\nboardsim: the board restarts\n");
  EXPECT_THAT(contents(file("trace")), testing::EndsWith("reboot 0x1234567 = 0\n"));
  Process returning(launch({"--reboot", "return"}, {"restart"}));
  EXPECT_EQ(returning.wait(), 0);
  EXPECT_EQ(program_output(returning), "restarting\nreturned 0\n");
}

TEST_F(LauncherTest, TheProgramSeesNothingOfTheLauncherAndHasNoPowerOverThePc) {
  constexpr std::uint64_t kBoot = 1ULL << 22;
  constexpr std::uint64_t kAdmin = 1ULL << 21;
  Process process(launch({}, {"environment"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_THAT(process.out, HasSubstr("LD_PRELOAD unset\nBOARDSIM_CONFIG unset\n"));
  std::smatch match;
  ASSERT_TRUE(std::regex_search(process.out, match, std::regex("CapEff:\\s*([0-9a-f]+)"))) << process.out;
  EXPECT_EQ(std::stoull(match[1].str(), nullptr, 16) & (kBoot | kAdmin), 0U);
  EXPECT_TRUE(std::regex_search(process.out, std::regex("NoNewPrivs:\\s*1"))) << process.out;
}

TEST_F(LauncherTest, TimeRunsAsManyTimesFasterAsAskedAndVirtualTimeAtOnce) {
  Process scaled(launch({"--speed", "1000000"}, {"measure"}));
  ASSERT_EQ(scaled.wait(), 0) << "more than a day by the board's clock, a moment by the PC's";
  EXPECT_GE(std::stol(program_output(scaled)), 99'999);
  Process virtual_time(launch({"--pace", "virtual"}, {"measure"}));
  EXPECT_EQ(virtual_time.wait(), 0);
  EXPECT_EQ(program_output(virtual_time), "100000\n");
}

TEST_F(LauncherTest, ChineseOutputIsShownAsUtf8UnlessItIsLeftAsItIs) {
  Process process(launch({}, {"gbk"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "测试 ok ?!\n");
  EXPECT_EQ(process.err, "失败\n");
  Process plain(launch({"--console", "gbk"}, {"gbk"}));
  EXPECT_EQ(plain.wait(), 0);
  EXPECT_EQ(program_output(plain), "\xB2\xE2\xCA\xD4 ok \xFF!\n");
}

TEST_F(LauncherTest, TheTraceHoldsEveryCallWithItsTime) {
  Process process(launch({"--trace", file("trace"), "--pace", "virtual"}, {"sensor"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "45500\n");
  const std::string trace = contents(file("trace"));
  EXPECT_THAT(trace, StartsWith("0.000000 fopen /proc/debug/temp1 = ok\n0.000000 read /proc/debug/temp1 "));
  EXPECT_THAT(trace, testing::EndsWith("0.000000 close /proc/debug/temp1 = 0\n"));
}

TEST_F(LauncherTest, FaultsLieOverTheBoardFromTheStart) {
  Process process(launch({"--fault", "sensor 1 text 38000", "--fault", "open /dev/rtc"}, {"sensor"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "38000\n");
}

TEST_F(LauncherTest, SignalsAreThePrograms) {
  Process process(launch({}, {"wait"}));
  ASSERT_TRUE(process.wait_for("waiting\n"));
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGTERM);
  Process careless(launch({}, {"broken-pipe"}));
  EXPECT_EQ(careless.wait(), 128 + SIGPIPE) << "it does not care for a broken pipe";
  EXPECT_EQ(program_output(careless), "");
}

TEST_F(LauncherTest, TheProgramsDescriptorsAreNumberedAsWithoutTheLauncher) {
  Process alone({BOARDSIM_PROBE, "descriptor"});
  EXPECT_EQ(alone.wait(), 0);
  Process traced(launch({"--trace", file("trace")}, {"descriptor"}));
  EXPECT_EQ(traced.wait(), 0);
  EXPECT_EQ(program_output(traced), alone.out);
  Process controlled(launch({"--pace", "stepped", "--control", file("control")}, {"later-descriptor"}));
  boardsim::ControlClient control(file("control"));
  EXPECT_THROW(control.advance(5s), std::runtime_error) << "the program ends then";
  EXPECT_EQ(controlled.wait(), 0);
  EXPECT_EQ(program_output(controlled), alone.out);
}

// ---- the folders of a board -----------------------------------------------------------------------------

TEST_F(LauncherTest, AStateFolderKeepsBothPartitionsFromRunToRunAndRemembersItsBoard) {
  const char* const from_the_factory = "/dev/mtd4 ffffffff\n/dev/mmcblk0p7 565a514e\n";
  const Words options{"--board", "loop", "--state", file("board")};
  for (const char* found : {from_the_factory, "/dev/mtd4 00000000\n/dev/mmcblk0p7 00000000\n"}) {
    Process process(launch(options, {"storage"}));
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(program_output(process), found);
  }
  EXPECT_EQ(std::filesystem::file_size(file("board/mtd4")), 0x160000U);
  EXPECT_EQ(std::filesystem::file_size(file("board/mmcblk0p7")), 0x40000U);
  EXPECT_EQ(contents(file("board/board")), "loop\n");
  Process without(launch({"--board", "loop"}, {"storage"}));
  EXPECT_EQ(without.wait(), 0);
  EXPECT_EQ(program_output(without), from_the_factory);
  Process other(launch({"--board", "k", "--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(other.wait(), 70);
  EXPECT_THAT(other.err, HasSubstr("belongs to a board \"loop\", not \"k\""));
}

TEST_F(LauncherTest, ARecordThatAFaultTookAwayIsMissingInTheNextRunToo) {
  Process first(launch({"--state", file("board"), "--fault", "record dead-pixels none"}, {"exit", "0"}));
  EXPECT_EQ(first.wait(), 0);
  Process again(launch({"--state", file("board")}, {"storage"}));
  EXPECT_EQ(again.wait(), 0);
  EXPECT_EQ(program_output(again), "/dev/mtd4 ffffffff\n/dev/mmcblk0p7 ffffffff\n");
}

TEST_F(LauncherTest, AStateFolderThatCannotBeUsedSaysWhy) {
  std::filesystem::create_directories(file("small"));
  std::ofstream(file("small/mtd4")) << "short";
  Process small(launch({"--state", file("small")}, {"exit", "0"}));
  EXPECT_EQ(small.wait(), 70);
  EXPECT_THAT(small.err, HasSubstr("/mtd4 has 5 bytes; the partition has 1441792"));
  std::filesystem::create_directories(file("unlabelled/board"));
  Process unlabelled(launch({"--state", file("unlabelled")}, {"exit", "0"}));
  EXPECT_EQ(unlabelled.wait(), 70);
  EXPECT_EQ(unlabelled.err, "boardsim: " + file("unlabelled/board") + ": Is a directory\n");
  std::ofstream(file("text")) << "no folder";
  Process text(launch({"--state", file("text")}, {"exit", "0"}));
  EXPECT_EQ(text.wait(), 64);
  EXPECT_THAT(text.err, HasSubstr("--state: " + file("text") + " is no folder (boardsim --help"));
  Process below(launch({"--state", file("text/below")}, {"exit", "0"}));
  EXPECT_EQ(below.wait(), 70);
  EXPECT_EQ(below.err, "boardsim: " + file("text/below") + " cannot be made: Not a directory\n");
}

TEST_F(LauncherTest, AStateFolderServesOneBoardAtATime) {
  Process first(launch({"--state", file("board")}, {"wait"}));
  ASSERT_TRUE(first.wait_for("waiting\n"));
  Process second(launch({"--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(second.wait(), 70);
  EXPECT_THAT(second.err, HasSubstr("is in use"));
  first.signal(SIGTERM);
  first.wait();
  Process third(launch({"--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(third.wait(), 0) << third.err;
}

TEST_F(LauncherTest, TheFilesOfAFolderStandAtDevinfoInsteadOfTheBoardsOwn) {
  const auto files = [this](const Words& options) {
    Process process(launch(options, {"files"}));
    EXPECT_EQ(process.wait(), 0) << process.err;
    return program_output(process);
  };
  EXPECT_EQ(files({}),
            "/devinfo/TG.bin: [QN-5RX6454]\n\n/devinfo/more/notes.txt: No such file or directory\n");
  std::filesystem::create_directories(file("info/more"));
  std::ofstream(file("info/more/notes.txt")) << "a note";
  EXPECT_EQ(files({"--devinfo", file("info")}),
            "/devinfo/TG.bin: No such file or directory\n/devinfo/more/notes.txt: a note\n");
  std::ofstream(file("info/TG.bin")) << "[ours]";
  EXPECT_EQ(files({"--devinfo", file("info")}), "/devinfo/TG.bin: [ours]\n/devinfo/more/notes.txt: a note\n");
}

// ---- the first serial port, the console, and control from outside ----------------------------------------

/// Reads `size` bytes of a serial device; fewer when it ends.
std::string read_exactly(int fd, std::size_t size) {
  std::string bytes(size, '\0');
  std::size_t count = 0;
  for (ssize_t part = 1; part > 0 && count < size;
       count += static_cast<std::size_t>(std::max(part, ssize_t{0}))) {
    part = read(fd, bytes.data() + count, size - count);
  }
  bytes.resize(count);
  return bytes;
}

TEST_F(LauncherTest, TheFirstSerialPortIsASerialDeviceOfThePcForSomebodyElse) {
  // Also what a killed launcher left behind, and on a board whose ports are otherwise wired to one another.
  std::filesystem::create_symlink("/no/such/terminal", file("uart1"));
  Process process(launch({"--board", "k", "--uart1", file("uart1"), "--speed", "10"}, {"uart"}));
  ASSERT_TRUE(process.wait_for("waiting\n"));
  const int fd = open(file("uart1").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  const std::string frame = "fifteen\r\n\x03\x11\x13\x7F\xFF!";  // nothing of it means anything to the line
  ASSERT_EQ(frame.size(), 15U);
  ASSERT_EQ(write(fd, frame.data(), frame.size()), 15);
  EXPECT_EQ(read_exactly(fd, frame.size()), frame);
  ASSERT_EQ(write(fd, "goodbye", 7), 7);
  EXPECT_EQ(process.wait(), 0) << process.err;
  EXPECT_THAT(process.out, testing::EndsWith("goodbye\n"));
  close(fd);
  EXPECT_FALSE(std::filesystem::is_symlink(file("uart1"))) << "the device is gone";
}

TEST_F(LauncherTest, ASerialDeviceIsNotPutInThePlaceOfAFile) {
  std::ofstream(file("uart1")) << "kept";
  Process process(launch({"--uart1", file("uart1")}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_THAT(process.err, HasSubstr("--uart1: " + file("uart1") + " cannot be made: File exists"));
  EXPECT_EQ(contents(file("uart1")), "kept");
  Process nowhere(launch({"--uart1", file("none") + "/uart1"}, {"exit", "0"}));
  EXPECT_EQ(nowhere.wait(), 70);
  EXPECT_THAT(nowhere.err, HasSubstr("No such file or directory"));
  std::ofstream(file("tty")) << "kept";
  Process console(launch({"--console-tty", file("tty")}, {"exit", "0"}));
  EXPECT_EQ(console.wait(), 70);
  EXPECT_EQ(console.err, "boardsim: --console-tty: " + file("tty") + " cannot be made: File exists\n");
  EXPECT_EQ(console.out, "");
  EXPECT_EQ(contents(file("tty")), "kept");
}

TEST_F(LauncherTest, TheConsoleIsASerialDeviceOfThePcForWhoHasItOpen) {
  Process process(launch({"--console-tty", file("tty"), "--pace", "stepped", "--control", file("control")},
                         {"heartbeat"}));
  ASSERT_TRUE(process.wait_for("beat\n")) << "while nobody listens";
  const int fd = open(file("tty").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  boardsim::ControlClient control(file("control"));
  control.advance(5s);
  EXPECT_EQ(read_exactly(fd, 6), "beat\r\n");
  EXPECT_TRUE(process.wait_for("beat\nbeat\n")) << "on standard output besides";
  close(fd);
  EXPECT_THROW(control.advance(60s), std::runtime_error);
  EXPECT_EQ(process.wait(), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(file("tty"))) << "the device is gone";
}

TEST_F(LauncherTest, AConsoleThatIsOpenAndNotReadHoldsUpNobody) {
  Process process(launch({"--console-tty", file("tty")}, {"later-chatter"}));
  ASSERT_TRUE(process.wait_for("waiting\n"));
  const int fd = open(file("tty").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  process.signal(SIGINT);
  EXPECT_TRUE(process.wait_for("done\n"));
  EXPECT_EQ(read_exactly(fd, 6), "line\r\n");
  close(fd);
  EXPECT_EQ(process.wait(), 0);
}

TEST_F(LauncherTest, ASteppedProgramRunsOnlyAsFarAsTimeIsAdvanced) {
  Process process(launch({"--pace", "stepped", "--control", file("control")}, {"heartbeat"}));
  ASSERT_TRUE(process.wait_for("beat\n"));
  boardsim::ControlClient control(file("control"));
  EXPECT_EQ(control.settle(), 0s);
  EXPECT_EQ(control.threads(), 1);
  EXPECT_EQ(control.open_nodes(), Words{"/dev/rtc"});
  EXPECT_EQ(control.reboots(), 0);
  EXPECT_EQ(control.advance(12s), 12s);
  EXPECT_EQ(control.now(), 12s);
  ASSERT_TRUE(process.wait_for("beat\nbeat\nbeat\n"));
  control.fault("rtc stopped");
  control.clear_faults();
  EXPECT_THROW(control.fault("nonsense"), std::runtime_error);
  EXPECT_THROW(control.advance(48s), std::runtime_error) << "the program ends then, and its board with it";
  EXPECT_EQ(process.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(file("control")));
}

TEST_F(LauncherTest, AControlSocketThatCannotBeReachedSaysWhy) {
  const auto error_at = [](const std::string& path) -> std::string {
    try {
      const boardsim::ControlClient control(path);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  };
  const std::string plain = file("plain");
  std::ofstream(plain) << "no folder";
  EXPECT_EQ(error_at(plain + "/control"), "no board listens at " + plain + "/control: Not a directory");
  const std::string long_path(108, 'x');
  EXPECT_EQ(error_at(long_path), "the path of the control socket is too long: " + long_path);
}

}  // namespace
