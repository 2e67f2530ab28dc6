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

TEST_F(LauncherTest, TheFirstLineNamesTheBoardAndItsAddress) {
  Process process(launch({"--board", "loop", "--address", address(0)}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.out, "boardsim: board loop (0x96c1) at " + address(0) + ":36001\n");
}

TEST_F(LauncherTest, EndsWithTheProgramsExitStatus) {
  Process three(launch({}, {"exit", "3"}));
  EXPECT_EQ(three.wait(), 3);
  Process minus_one(launch({}, {"exit", "-1"}));
  EXPECT_EQ(minus_one.wait(), 255);
}

TEST_F(LauncherTest, ABoardGetsALoopbackAddressOfItsOwn) {
  Process process(launch({}, {"exit", "0"}));
  process.wait();
  EXPECT_NE(address_in(process.out), "");
  EXPECT_NE(address_in(process.out), "127.0.0.1");
}

TEST_F(LauncherTest, ListsTheBoardsWithTheirTypeCodes) {
  Process process(bare({"--board", "list"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_TRUE(std::regex_search(process.out, std::regex("\n6444 +0x96c0 +7 "))) << process.out;
  EXPECT_TRUE(std::regex_search(process.out, std::regex("\nrkd2 +0xa60a3 "))) << process.out;
}

TEST_F(LauncherTest, ABoardCanBeNamedByItsTypeCode) {
  Process known(launch({"--board", "0x96C4"}, {"exit", "0"}));
  EXPECT_EQ(known.wait(), 0);
  EXPECT_TRUE(known.out.starts_with("boardsim: board loop-c (0x96c4) at ")) << known.out;
  Process another(launch({"--board", "0x9726"}, {"exit", "0"}));
  EXPECT_EQ(another.wait(), 0);
  EXPECT_TRUE(another.out.starts_with("boardsim: board k (0x9726) at ")) << another.out;
  EXPECT_EQ(another.err, "");
}

TEST_F(LauncherTest, ATypeCodeOfNoFamilyIsSaidToBeSimulatedAsANormalBoard) {
  Process process(launch({"--board", "0x97c2"}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_TRUE(process.out.starts_with("boardsim: board normal (0x97c2) at ")) << process.out;
  EXPECT_EQ(process.err,
            "boardsim: no family has the type code 0x97c2: simulated as a normal board of that type\n");
}

TEST_F(LauncherTest, AScriptCanAskWhichFamilyABoardIsOf) {
  const std::pair<const char*, const char*> boards[] = {
      {"loop", "loop\n"}, {"0x9c0a", "65xx\n"}, {"0xA6004", "ma\n"}, {"0x97c2", "normal\n"}};
  for (const auto& [board, family] : boards) {
    Process process(bare({"--board", board, "--print-family"}));
    EXPECT_EQ(process.wait(), 0) << board;
    EXPECT_EQ(process.out, family) << board;
  }
}

TEST_F(LauncherTest, AnUnknownBoardIsAUsageErrorThatListsTheKnownOnes) {
  Process process(launch({"--board", "nonsense"}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 64);
  EXPECT_NE(process.err.find("6444-j"), std::string::npos) << process.err;
  EXPECT_EQ(process.out, "");
}

TEST_F(LauncherTest, AFaultThatIsNotUnderstoodIsAUsageError) {
  Process process(launch({"--fault", "rtc confused"}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 64);
  EXPECT_NE(process.err.find("rtc"), std::string::npos) << process.err;
}

TEST_F(LauncherTest, AnOptionThatHasNoEffectBesideTheOthersIsAUsageError) {
  const std::pair<Words, const char*> lines[] = {
      {{"--speed", "3", "--pace", "virtual", "--", "x"}, "--speed: it counts for --pace scaled only"},
      {{"--pace", "stepped", "--", "x"}, "--pace: stepped time stands still without --control"},
      {{"--uart1", "x", "--fault", "rs485 fixture ring5", "--", "x"},
       "--uart1: it plugs in the RS485 fixture"},
      {{"--interface", "eth0=none", "--interface", "eth0=127.0.0.2", "--", "x"},
       "--interface: eth0 is given twice"},
      {{"--board", "list", "--fault", "rtc stopped"}, "--fault: it has no effect beside --board list"},
      {{"--board", "list", "--", "x"}, "x: --board list starts no program"},
      {{"--print-family", "--speed", "2"}, "--speed: it has no effect beside --print-family"},
      {{"--fault", "list", "--fault", "rtc stopped"},
       "--fault: other faults have no effect beside --fault list"}};
  for (const auto& [options, message] : lines) {
    Process process(bare(options));
    EXPECT_EQ(process.wait(), 64) << message;
    EXPECT_TRUE(process.err.starts_with(std::string("boardsim: ") + message)) << process.err;
  }
}

TEST_F(LauncherTest, WhatFollowsTheProgramIsItsOwn) {
  Process process({BOARDSIM_PROGRAM, "--speed", "2", BOARDSIM_PROBE, "--help", "--board", "nonsense"});
  EXPECT_EQ(process.wait(), 99) << "the probe knows no such deed";
  Process misspelled(bare({"--bord", "loop", "--", BOARDSIM_PROBE}));
  EXPECT_EQ(misspelled.wait(), 64);
  EXPECT_NE(misspelled.err.find("--bord (boardsim --help shows the options)"), std::string::npos)
      << misspelled.err;
}

TEST_F(LauncherTest, TellsItsVersion) {
  Process process(bare({"--version"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_TRUE(std::regex_match(process.out, std::regex("boardsim [0-9]+\\.[0-9]+\\.[0-9]+\n")))
      << process.out;
}

TEST_F(LauncherTest, ASpeedAtWhichDelaysOfThePcCountIsPointedOut) {
  Process fast(launch({"--speed", "1000"}, {"exit", "0"}));
  EXPECT_EQ(fast.wait(), 0);
  EXPECT_NE(fast.err.find("1 ms of delay on this PC are a second of the board's"), std::string::npos)
      << fast.err;
  Process usual(launch({"--speed", "40"}, {"exit", "0"}));
  EXPECT_EQ(usual.wait(), 0);
  EXPECT_EQ(usual.err, "");
}

TEST_F(LauncherTest, ExplainsTheFaultsThatABoardTakes) {
  Process process(bare({"--board", "rkd1", "--fault", "list"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_NE(process.out.find("\nrtc stopped\n    the clock stands still from now on\n"), std::string::npos);
  EXPECT_NE(process.out.find("\n    OUTPUT: F1, F2, A1, A2, F3, F4, F5, F6, F7, F8 or F9\n"),
            std::string::npos)
      << process.out;
}

TEST_F(LauncherTest, WithoutAProgramThereIsAUsageError) {
  Process process(bare({"--board", "loop"}));
  EXPECT_EQ(process.wait(), 64);
  EXPECT_NE(process.err.find("PROGRAM"), std::string::npos) << process.err;
}

TEST_F(LauncherTest, AProgramThatDoesNotExistIsSaidClearly) {
  Process process(bare({"--", "/no/such/program"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_NE(process.err.find("/no/such/program: No such file or directory"), std::string::npos)
      << process.err;
}

TEST_F(LauncherTest, AStaticProgramIsRefusedBeforeItStarts) {
  Process process(bare({"--", BOARDSIM_STATIC_PROBE}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_NE(process.err.find("is linked statically"), std::string::npos) << process.err;
  EXPECT_EQ(program_output(process), "");
}

TEST_F(LauncherTest, WhatIsNoProgramIsRefused) {
  const std::string script = file("script");
  std::ofstream(script) << "#!/bin/sh\n";
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  Process process(bare({"--", script}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_NE(process.err.find("is no program for this PC"), std::string::npos) << process.err;
}

TEST_F(LauncherTest, AnUnknownNodeEndsTheProgramLoudly) {
  Process process(launch({}, {"unknown-node"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_EQ(program_output(process), "before\n");
  EXPECT_EQ(process.err, "boardsim: unknown node /dev/foo (open)\n");
}

TEST_F(LauncherTest, AnUnknownRequestEndsTheProgramLoudly) {
  Process process(launch({}, {"unknown-request"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_EQ(process.err, "boardsim: unknown request 0x00001234 on /dev/led (ioctl)\n");
}

TEST_F(LauncherTest, AProgramCannotStartOthers) {
  Process process(launch({}, {"shell"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_EQ(process.err, "boardsim: system of true is nothing that a program may do on this board\n");
}

TEST_F(LauncherTest, ARestartEndsTheProgramAndNotThePc) {
  Process process(launch({"--trace", file("trace")}, {"restart"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "restarting\nboardsim: the board restarts\n");
  EXPECT_TRUE(contents(file("trace")).ends_with("reboot 0x1234567 = 0\n")) << contents(file("trace"));
}

TEST_F(LauncherTest, ARestartCanReturnToTheProgram) {
  Process process(launch({"--reboot", "return"}, {"restart"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "restarting\nreturned 0\n");
}

TEST_F(LauncherTest, TheProgramCannotRestartThePcByARawSystemCallEither) {
  constexpr std::uint64_t kBoot = 1ULL << 22;
  constexpr std::uint64_t kAdmin = 1ULL << 21;
  Process process(launch({}, {"surroundings"}));
  EXPECT_EQ(process.wait(), 0);
  std::smatch match;
  ASSERT_TRUE(std::regex_search(process.out, match, std::regex("CapEff:\\s*([0-9a-f]+)"))) << process.out;
  EXPECT_EQ(std::stoull(match[1].str(), nullptr, 16) & (kBoot | kAdmin), 0U);
  EXPECT_TRUE(std::regex_search(process.out, std::regex("NoNewPrivs:\\s*1"))) << process.out;
}

TEST_F(LauncherTest, TheProgramSeesNothingOfTheLauncherInItsEnvironment) {
  Process process(launch({}, {"surroundings"}));
  process.wait();
  EXPECT_NE(process.out.find("LD_PRELOAD unset\nBOARDSIM_CONFIG unset\n"), std::string::npos) << process.out;
}

TEST_F(LauncherTest, TimeRunsAsManyTimesFasterAsAsked) {
  Process process(launch({"--speed", "1000000"}, {"measure"}));
  ASSERT_EQ(process.wait(), 0) << "more than a day by the board's clock, a moment by the PC's";
  EXPECT_GE(std::stol(program_output(process)), 99'999);
}

TEST_F(LauncherTest, InVirtualTimeASleepIsOverAtOnce) {
  Process process(launch({"--pace", "virtual"}, {"measure"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "100000\n");
}

TEST_F(LauncherTest, ChineseOutputIsShownAsUtf8) {
  Process process(launch({}, {"gbk"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "测试 ok ?!\n");
  EXPECT_EQ(process.err, "失败\n");
}

TEST_F(LauncherTest, OutputCanBeLeftAsItIs) {
  Process process(launch({"--console", "gbk"}, {"gbk"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "\xB2\xE2\xCA\xD4 ok \xFF!\n");
}

TEST_F(LauncherTest, TheTraceHoldsEveryCallWithItsTime) {
  Process process(launch({"--trace", file("trace"), "--pace", "virtual"}, {"sensor"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "45500\n");
  const std::string trace = contents(file("trace"));
  EXPECT_TRUE(trace.starts_with("0.000000 fopen /proc/debug/temp1 = ok\n0.000000 read /proc/debug/temp1 "))
      << trace;
  EXPECT_TRUE(trace.ends_with("0.000000 close /proc/debug/temp1 = 0\n")) << trace;
}

TEST_F(LauncherTest, FaultsLieOverTheBoardFromTheStart) {
  Process process(launch({"--fault", "sensor 1 text 38000", "--fault", "open /dev/rtc"}, {"sensor"}));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(program_output(process), "38000\n");
}

TEST_F(LauncherTest, ATerminationIsPassedOnToTheProgram) {
  Process process(launch({}, {"wait"}));
  ASSERT_TRUE(process.wait_for("waiting\n"));
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGTERM);
}

TEST_F(LauncherTest, AStateFolderRemembersItsBoard) {
  Process first(launch({"--board", "loop", "--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(first.wait(), 0);
  EXPECT_EQ(contents(file("board/board")), "loop\n");
  Process again(launch({"--board", "loop", "--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(again.wait(), 0);
  Process other(launch({"--board", "k", "--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(other.wait(), 70);
  EXPECT_NE(other.err.find("belongs to a board \"loop\", not \"k\""), std::string::npos) << other.err;
}

TEST_F(LauncherTest, AStateFolderKeepsBothPartitionsFromRunToRun) {
  const Words options{"--board", "loop", "--state", file("board")};
  Process first(launch(options, {"storage"}));
  EXPECT_EQ(first.wait(), 0);
  EXPECT_EQ(program_output(first), "/dev/mtd4 ffffffff\n/dev/mmcblk0p7 565a514e\n");
  Process again(launch(options, {"storage"}));
  EXPECT_EQ(again.wait(), 0);
  EXPECT_EQ(program_output(again), "/dev/mtd4 00000000\n/dev/mmcblk0p7 00000000\n");
  EXPECT_EQ(std::filesystem::file_size(file("board/mtd4")), 0x160000U);
  EXPECT_EQ(std::filesystem::file_size(file("board/mmcblk0p7")), 0x40000U);
}

TEST_F(LauncherTest, WithoutAStateFolderEveryRunStartsWithABoardFromTheFactory) {
  for (int run = 0; run < 2; ++run) {
    Process process(launch({}, {"storage"}));
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(program_output(process), "/dev/mtd4 ffffffff\n/dev/mmcblk0p7 565a514e\n");
  }
}

TEST_F(LauncherTest, ARecordThatAFaultTookAwayIsMissingInTheNextRunToo) {
  Process first(launch({"--state", file("board"), "--fault", "record dead-pixels none"}, {"exit", "0"}));
  EXPECT_EQ(first.wait(), 0);
  Process again(launch({"--state", file("board")}, {"storage"}));
  EXPECT_EQ(again.wait(), 0);
  EXPECT_EQ(program_output(again), "/dev/mtd4 ffffffff\n/dev/mmcblk0p7 ffffffff\n");
}

TEST_F(LauncherTest, AStateFolderWithAPartitionOfAnotherSizeIsRefused) {
  std::filesystem::create_directories(file("board"));
  std::ofstream(file("board/mtd4")) << "short";
  Process process(launch({"--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_NE(process.err.find("/mtd4 has 5 bytes; the partition has 1441792"), std::string::npos)
      << process.err;
}

TEST_F(LauncherTest, AStateFolderServesOneBoardAtATime) {
  Process first(launch({"--state", file("board")}, {"wait"}));
  ASSERT_TRUE(first.wait_for("waiting\n"));
  Process second(launch({"--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(second.wait(), 70);
  EXPECT_NE(second.err.find("is in use"), std::string::npos) << second.err;
  first.signal(SIGTERM);
  first.wait();
  Process third(launch({"--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(third.wait(), 0) << third.err;
}

TEST_F(LauncherTest, AStateFolderWhoseLabelCannotBeOpenedSaysWhy) {
  std::filesystem::create_directories(file("board/board"));
  Process process(launch({"--state", file("board")}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_EQ(process.err, "boardsim: " + file("board/board") + ": Is a directory\n");
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

TEST_F(LauncherTest, AHealthyBoardHasATimingFileAndNoOtherFiles) {
  Process process(launch({}, {"files"}));
  EXPECT_EQ(process.wait(), 0) << process.err;
  EXPECT_EQ(program_output(process),
            "/devinfo/TG.bin: [QN-5RX6454]\n\n/devinfo/more/notes.txt: No such file or directory\n");
}

TEST_F(LauncherTest, TheFilesOfAFolderStandAtDevinfoInsteadOfItsOwn) {
  std::filesystem::create_directories(file("info/more"));
  std::ofstream(file("info/more/notes.txt")) << "a note";
  Process process(launch({"--devinfo", file("info")}, {"files"}));
  EXPECT_EQ(process.wait(), 0) << process.err;
  EXPECT_EQ(program_output(process),
            "/devinfo/TG.bin: No such file or directory\n/devinfo/more/notes.txt: a note\n");
  std::ofstream(file("info/TG.bin")) << "[ours]";
  Process again(launch({"--devinfo", file("info")}, {"files"}));
  EXPECT_EQ(again.wait(), 0) << again.err;
  EXPECT_EQ(program_output(again), "/devinfo/TG.bin: [ours]\n/devinfo/more/notes.txt: a note\n");
}

TEST_F(LauncherTest, AFolderForDevinfoThatDoesNotExistIsAUsageError) {
  Process process(launch({"--devinfo", file("none")}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 64);
  EXPECT_NE(process.err.find("none: No such file or directory"), std::string::npos) << process.err;
}

TEST_F(LauncherTest, AFaultOnANodeThatTheBoardLacksIsAUsageError) {
  Process process(launch({"--fault", "open /dev/rtcc"}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 64);
  EXPECT_NE(process.err.find("the board has no /dev/rtcc; it has "), std::string::npos) << process.err;
}

TEST_F(LauncherTest, ABrokenPipeEndsAProgramThatDoesNotCareForIt) {
  Process process(launch({}, {"broken-pipe"}));
  EXPECT_EQ(process.wait(), 128 + SIGPIPE);
  EXPECT_EQ(program_output(process), "");
}

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
  EXPECT_TRUE(process.out.ends_with("goodbye\n")) << process.out;
  close(fd);
  EXPECT_FALSE(std::filesystem::is_symlink(file("uart1"))) << "the device is gone";
}

TEST_F(LauncherTest, ASerialDeviceIsNotPutInThePlaceOfAFile) {
  std::ofstream(file("uart1")) << "kept";
  Process process(launch({"--uart1", file("uart1")}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 70);
  EXPECT_NE(process.err.find("--uart1: " + file("uart1") + " cannot be made: File exists"), std::string::npos)
      << process.err;
  EXPECT_EQ(contents(file("uart1")), "kept");
  Process nowhere(launch({"--uart1", file("none") + "/uart1"}, {"exit", "0"}));
  EXPECT_EQ(nowhere.wait(), 70);
  EXPECT_NE(nowhere.err.find("No such file or directory"), std::string::npos) << nowhere.err;
}

TEST_F(LauncherTest, ASerialDeviceInVirtualTimeIsAUsageError) {
  Process process(launch({"--uart1", file("uart1"), "--pace", "virtual"}, {"exit", "0"}));
  EXPECT_EQ(process.wait(), 64);
  EXPECT_NE(process.err.find("--uart1"), std::string::npos) << process.err;
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

}  // namespace
