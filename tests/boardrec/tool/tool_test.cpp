// boardrec's figures, comparisons, parts and redactions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "boardrec/session/recording.h"
#include "tests/boardrec/tool/session.h"

namespace {

using boardrec::Call;
using testing::HasSubstr;
using testing::Not;

// ---- stats

TEST(Stats, ASessionsFiguresAreShown) {
  const Desk desk;
  RecordingWriter session;
  add_start(session);
  add_clock_test(session, 12);
  add_request(session, 7426);
  add_request(session, 62208);
  session.add({.call = Call::note, .in = {"the recording has reached its limit"}});
  session.add({.call = Call::ioctl, .in = {5, 0x7fff, {}}, .flags = boardrec::kUnknownSize});
  session.add({.call = Call::finish, .in = {3}});
  const Said said = Desk::run({"stats", desk.put("session.rec", session.bytes())});
  EXPECT_EQ(said.status, 0) << said.err;
  EXPECT_THAT(said.out, HasSubstr("  program   /usr/bin/boardtest, called as: boardtest \n"
                                  "  recorded  2026-11-22 10:00:00 UTC, by a machine of 32 bits\n"
                                  "  length    3.002000 s\n"
                                  "  file      " +
                                  std::to_string(session.bytes().size()) + " bytes, 20 records"));
  EXPECT_THAT(said.out, HasSubstr("  ended     by itself, with status 3\n"));
  EXPECT_THAT(said.out, HasSubstr("  2.000000  1           1536  rtc   Pass    1.002000\n"
                                  "  3.002000  1           7426  temp  none           -\n"
                                  "  3.002000  1           quit  -     none           -\n"));
  EXPECT_THAT(said.out, HasSubstr("  recv        6       0  0.000000         151              0\n"));
  EXPECT_THAT(said.out,
              HasSubstr("  /dev/rtc               4       0  0.002000           0              0\n"));
  EXPECT_THAT(said.out, HasSubstr("Slowest calls\n"
                                  "  seconds   record  call\n"
                                  "  2.000000  4       0.000000 accept listener = ok\n"));
  EXPECT_THAT(said.out, HasSubstr("Not recorded\n"
                                  "  at 3.002000  the recording has reached its limit\n"
                                  "  1            requests whose record's size nobody knows\n"));
}

TEST(Stats, ASessionThatARestartEndedSaysSo) {
  const Desk desk;
  RecordingWriter session;
  session.add({.call = Call::reboot, .in = {0x1234567}, .flags = boardrec::kBegan});
  session.add({.call = Call::sleep, .in = {5}, .thread = 1, .took = 5});
  EXPECT_THAT(Desk::run({"stats", desk.put("session.rec", session.bytes())}).out,
              HasSubstr("  ended     within reboot 0x1234567 = ?\n"));
}

// ---- diff

Said difference(const RecordingWriter& a, const RecordingWriter& b, std::vector<std::string> words = {}) {
  const Desk desk;
  words.insert(words.begin(), {"diff", desk.put("a.rec", a.bytes()), desk.put("b.rec", b.bytes())});
  return Desk::run(words);
}

TEST(Diff, ASessionIsLikeItself) {
  const Said said = difference(clock_session(), clock_session());
  EXPECT_EQ(said.status, 0);
  EXPECT_EQ(said.out, "");
}

TEST(Diff, AnAnswerThatDiffersIsShownBelowItsRequestAndNode) {
  const Said said = difference(clock_session(12), clock_session(14));
  EXPECT_EQ(said.status, 1);
  EXPECT_EQ(said.out,
            "1. request 1536 rtc\n"
            "  /dev/rtc: 2 differences, the first\n"
            "    - 2.000000 ioctl /dev/rtc 0x80247009 {} = 0\n"
            "    + 2.000000 ioctl /dev/rtc 0x80247009 {} = 0\n"
            "      different record from byte 0 on: 0c 00 00 00 1e 00 00 00 and 0e 00 00 00 1e 00 00 00\n");
}

TEST(Diff, CallsThatOneSessionLacksStandAgainstNothing) {
  RecordingWriter a;
  RecordingWriter b;
  add_start(a);
  add_start(b);
  for (int i = 0; i < 3; ++i) {
    const Written level{.call = Call::open, .in = {"/dev/led" + std::to_string(i), 2, 0}, .result = 5};
    a.add(level);
    if (i != 1) b.add(level);
  }
  b.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = -1, .error = 16});
  EXPECT_EQ(difference(a, b).out,
            "before the first request\n"
            "  /dev/led1: 1 difference\n"
            "    - 2.000000 open /dev/led1 = ok\n"
            "    + nothing\n"
            "  /dev/rtc: 1 difference\n"
            "    - nothing\n"
            "    + 2.000000 open /dev/rtc = -1 EBUSY\n");
}

TEST(Diff, RequestsOfOneSessionOnlyAreNamedAndTheOthersStillCompared) {
  RecordingWriter a;
  RecordingWriter b;
  add_start(a);
  add_start(b);
  add_request(a, 7426);
  add_clock_test(a, 12);
  add_clock_test(b, 13);
  const Said said = difference(a, b);
  EXPECT_THAT(said.out, HasSubstr("1. request 7426 temp: in the first recording only, 2 calls\n"));
  EXPECT_THAT(said.out, HasSubstr("2. request 1536 rtc\n  /dev/rtc: 2 differences"));
}

TEST(Diff, DurationsCountOnlyBeyondATolerance) {
  RecordingWriter a;
  RecordingWriter b;
  a.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = 5, .took = 0.1});
  b.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = 7, .took = 0.4});
  EXPECT_EQ(difference(a, b).status, 0);
  EXPECT_EQ(difference(a, b, {"--tolerance", "0.5"}).status, 0);
  const Said said = difference(a, b, {"--tolerance", "0.2"});
  EXPECT_EQ(said.status, 1);
  EXPECT_THAT(said.out, HasSubstr("      it took 0.100000 s and 0.400000 s\n"));
}

TEST(Diff, HowLongASelectMightStillHaveWaitedIsNoDifference) {
  const auto waits = [](std::int64_t left, std::int64_t result) {
    RecordingWriter session = clock_session();
    session.add({.call = Call::select, .in = {5, std::string(1, '\x10'), {}, {}, left}, .result = result});
    return session;
  };
  EXPECT_EQ(difference(waits(1'500'000'000, 1), waits(1'499'000'000, 1)).status, 0);
  EXPECT_THAT(difference(waits(1'500'000'000, 1), waits(1'499'000'000, 0)).out,
              HasSubstr("    - 3.002000 select station 1 500000 = 1\n"
                        "    + 3.002000 select station 1 499000 = 0\n"));
}

TEST(Diff, HowOftenTheHeartbeatBeatsIsNoDifferenceButWhatItSendsIs) {
  const auto with_prompts = [](int count, const std::string& prompt) {
    RecordingWriter session = clock_session();
    for (int i = 0; i < count; ++i) {
      session.add({.call = Call::send, .in = {4, 6, prompt, 0}, .result = 6, .thread = 1});
      session.add({.call = Call::sleep, .in = {5}, .thread = 1, .took = 5});
    }
    return session;
  };
  EXPECT_EQ(difference(with_prompts(3, "prompt"), with_prompts(8, "prompt")).status, 0);
  EXPECT_THAT(difference(with_prompts(3, "prompt"), with_prompts(3, "PROMPT")).out,
              HasSubstr("thread 1, over the whole session\n  station: 2 differences"));
}

TEST(Diff, SessionsWithNothingInCommonAreComparedToTheEnd) {
  const auto session_of = [](const std::string& node) {
    RecordingWriter session;
    for (int i = 0; i < 3000; ++i) session.add({.call = Call::stat, .in = {node + std::to_string(i)}});
    return session;
  };
  const Said said = difference(session_of("/dev/led"), session_of("/dev/rtc"));
  EXPECT_EQ(said.status, 1);
  EXPECT_THAT(said.out, HasSubstr("  /dev/led2999: 1 difference\n"));
  EXPECT_THAT(said.out, HasSubstr("  /dev/rtc2999: 1 difference\n"));
}

// ---- cut

TEST(Cut, APartIsARecordingWithTheStartAndWhatOpenedItsDescriptors) {
  const Desk desk;
  const std::string file = desk.put("session.rec", clock_session().bytes());
  const Said said = Desk::run({"cut", file, desk.file("part.rec"), "--from", "2.0005s", "--to", "12"});
  EXPECT_EQ(said.status, 0) << said.err;
  EXPECT_EQ(
      said.out,
      "3 calls before the part are not in it: it can be shown, but neither replayed nor compared with a "
      "simulated board\n");
  EXPECT_EQ(Desk::run({"show", "--all", desk.file("part.rec")}).out,
            "0 0 0.000000 start /usr/bin/boardtest boardtest\\x00\n"
            "1 0 0.000000 socket = ok\n"
            "2 0 0.000000 bind 10.20.30.40:36001 = 0\n"
            "3 0 0.000000 listen listener 128 = 0\n"
            "4 0 0.000000 accept listener = ok\n"
            "5 0 2.000000 open /dev/rtc = ok\n"
            "6 0 2.001000 note cut: records 9 to 11 of 14\n"
            "7 0 2.001000 sleep 1\n"
            "8 0 3.001000 ioctl /dev/rtc 0x80247009 {} = 0\n"
            "9 0 3.002000 close /dev/rtc = 0\n");
}

TEST(Cut, BlocksWhoseBytesAreCutAwayAreCounted) {
  const Desk desk;
  RecordingWriter session;
  const std::string block(5000, 'x');
  const auto digest = boardrec::digest(reinterpret_cast<const unsigned char*>(block.data()), block.size());
  session.add({.call = Call::open, .in = {"/dev/mtd4", 0, 0}, .result = 5})
      .add({.call = Call::read, .in = {5, 5000}, .out = {block}, .result = 5000})
      .add({.call = Call::read, .in = {5, 5000}, .out = {LongBlock{5000, digest}}, .result = 5000});
  const std::string file = desk.put("session.rec", session.bytes());
  EXPECT_EQ(Desk::run({"cut", file, desk.file("whole.rec"), "--from", "1"}).out, "");
  EXPECT_THAT(Desk::run({"cut", file, desk.file("part.rec"), "--from", "2"}).out,
              testing::EndsWith("\n1 blocks stand without their bytes, which were cut away\n"));
}

TEST(Cut, PlacesThatAreNoneAreRefused) {
  const Desk desk;
  const std::string file = desk.put("session.rec", clock_session().bytes());
  const Said said = Desk::run({"cut", file, desk.file("part.rec"), "--from", "soon"});
  EXPECT_EQ(said.status, 64);
  EXPECT_EQ(
      said.err,
      "boardrec: \"soon\" is no place in a recording: 120 is the record of this number, 2.5s are seconds\n");
  EXPECT_EQ(Desk::run({"cut", file, desk.file("part.rec"), "--from", "5", "--to", "5"}).err,
            "boardrec: no record lies between these two places\n");
}

// ---- redact

/// A boot block with two MAC addresses, dates, a production number and reserved bytes.
std::string boot_block() {
  std::string block(256, '\0');
  block.replace(0, 8, "BOOTsum!");
  block.replace(53, 12, "\x00\x11\x22\x33\x44\x55\x00\x11\x22\x33\x44\x56", 12);
  block.replace(65, 8, "20240517");
  block.replace(73, 9, "AB1234567");
  block.replace(128, 8, "QN-MODEL");
  block.replace(192, 8, "20240518");
  block.replace(220, 6, "secret");
  return block;
}

/// A session that has a private value of every kind.
RecordingWriter private_session() {
  RecordingWriter session;
  add_start(session);
  std::string interface = "eth0" + std::string(28, '\0');
  std::string answer = interface;
  answer.replace(16, 8, std::string("\x02\0\0\0\x0a\x14\x1e\x28", 8));
  session.add({.call = Call::ioctl, .in = {3, 0x8915, interface}, .out = {answer}})
      .add({.call = Call::open, .in = {"/dev/qznio", 2, 0}, .result = 5})
      .add({.call = Call::ioctl, .in = {5, 0x80044801, std::string(256, '\0')}, .out = {boot_block()}})
      .add({.call = Call::fopen, .in = {"/devinfo/unit.txt", "r"}, .out = {1}, .result = 1})
      .add({.call = Call::fgets,
            .in = {1, 99},
            .out = {"at 10.20.30.40, gate 127.0.0.1, mac 00:11:22:33:44:55, no AB1234567"},
            .result = 1});
  return session;
}

struct Redacted {
  Said said;
  std::string bytes;
  boardrec::Recording recording;
};

Redacted redacted(const RecordingWriter& session, std::vector<std::string> words = {}) {
  const Desk desk;
  words.insert(words.begin(),
               {"redact", desk.put("session.rec", session.bytes()), desk.file("redacted.rec")});
  Said said = Desk::run(words);
  std::ifstream file(desk.file("redacted.rec"), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  return {std::move(said), bytes, boardrec::read_recording(bytes, "redacted")};
}

TEST(Redact, NothingThatSaysWhoseBoardItWasIsLeft) {
  const Redacted result = redacted(private_session());
  EXPECT_EQ(result.said.status, 0) << result.said.err;
  for (const std::string& value :
       {std::string("10.20.30"), std::string("\x0a\x14\x1e\x28"), std::string("\x11\x22\x33\x44\x55"),
        std::string("00:11:22"), std::string("AB1234567"), std::string("2024051"), std::string("secret"),
        std::string("sum!")}) {
    EXPECT_EQ(result.bytes.find(value), std::string::npos) << value;
  }
  EXPECT_NE(result.bytes.find("QN-MODEL"), std::string::npos);
  EXPECT_NE(result.bytes.find("127.0.0.1"), std::string::npos);
  EXPECT_EQ(result.said.out,
            "Replaced\n"
            "  2  IPv4 addresses\n"
            "  2  MAC addresses\n"
            "  3  serial numbers and dates of the boot block\n"
            "  1  boot blocks, their checksum and reserved bytes emptied\n"
            "  0  bytes of the factory partitions outside of the known records\n"
            "  0  calls on nodes that were to be dropped\n"
            "\n"
            "Remaining, as the board gave or got it; look at it with boardrec show --bytes --node NODE\n"
            "  node               bytes\n"
            "  /dev/qznio           512\n"
            "  /devinfo/unit.txt     67\n"
            "  eth0                  64\n");
}

TEST(Redact, OneValueHasOneStandInOfTheSameLengthEverywhere) {
  const Redacted result = redacted(private_session());
  const auto& records = result.recording.records;
  const std::string bound = records[2].in[1].bytes;
  ASSERT_EQ(bound.size(), std::string("10.20.30.40:36001").size());
  const std::string address = bound.substr(0, bound.find(':'));
  const std::string line = records[9].out[0].bytes;
  EXPECT_EQ(line.substr(3, address.size()), address);
  std::string dotted;
  for (const char byte : records[5].out[0].bytes.substr(20, 4))
    dotted +=
        (dotted.empty() ? "" : ".") + std::to_string(static_cast<unsigned>(static_cast<unsigned char>(byte)));
  EXPECT_EQ(dotted, address);
  EXPECT_EQ(records[7].out[0].bytes.substr(53, 12), std::string("\x02\0\0\0\0\x01\x02\0\0\0\0\x02", 12));
  EXPECT_THAT(line, HasSubstr("mac 02:00:00:00:00:01, no " + records[7].out[0].bytes.substr(73, 9)));
  EXPECT_EQ(private_session().bytes().size(), result.bytes.size());
}

TEST(Redact, OfAFactoryPartitionOnlyTheKnownRecordsStay) {
  RecordingWriter session;
  std::string block(0x10000, '\xFF');
  block.replace(0xF800, 18, "timing 10.20.30.40");
  block.replace(0xFF00, 7, "private");
  const auto digest_of = [](const std::string& bytes) {
    return boardrec::digest(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  };
  const LongBlock again{0x10000, digest_of(block)};
  session.add({.call = Call::open, .in = {"/dev/mtd4", 2, 0}, .result = 5})
      .add({.call = Call::lseek, .in = {5, 0x130000, 0}, .result = 0x130000})
      .add({.call = Call::read, .in = {5, 0x10000}, .out = {block}, .result = 0x10000})
      .add({.call = Call::lseek, .in = {5, 0x130000, 0}, .result = 0x130000})
      .add({.call = Call::read, .in = {5, 0x10000}, .out = {again}, .result = 0x10000})
      .add({.call = Call::write, .in = {5, 0x10000, LongBlock{0x10000, 77}}, .result = 0x10000});
  const Redacted result = redacted(session);
  const auto& records = result.recording.records;
  EXPECT_EQ(records[2].out[0].bytes.substr(0xF800, 6), "timing");
  EXPECT_EQ(result.bytes.find("private"), std::string::npos);
  EXPECT_EQ(records[4].out[0].digest, digest_of(records[2].out[0].bytes));
  EXPECT_EQ(records[5].in[2].type, boardrec::ValueType::absent);
  EXPECT_EQ(records[5].flags, boardrec::kNotRecorded);
  EXPECT_THAT(result.said.out,
              HasSubstr("  7  bytes of the factory partitions outside of the known records\n"));
  EXPECT_THAT(result.said.out, HasSubstr("1 blocks of the factory partitions held such bytes"));
}

TEST(Redact, ANodeCanBeDropped) {
  const Redacted result = redacted(private_session(), {"--drop", "/devinfo/unit.txt"});
  EXPECT_EQ(result.recording.records[9].out[0].type, boardrec::ValueType::absent);
  EXPECT_THAT(result.said.out, HasSubstr("  1  calls on nodes that were to be dropped\n"));
  EXPECT_THAT(result.said.out, Not(HasSubstr("/devinfo/unit.txt")));
}

TEST(Redact, ANodeThatNoCallIsOnIsNotDroppedButRefused) {
  const Desk desk;
  const std::string file = desk.put("session.rec", private_session().bytes());
  const Said said = Desk::run({"redact", file, desk.file("redacted.rec"), "--drop", "/devinfo/unit.txt",
                               "--drop", "/devinfo/unit.tx"});
  EXPECT_EQ(said.status, 64);
  EXPECT_EQ(said.err, "boardrec: --drop: no call of the recording is on /devinfo/unit.tx\n");
  EXPECT_EQ(said.out, "");
  EXPECT_FALSE(std::filesystem::exists(desk.file("redacted.rec")));
}

TEST(Redact, MoreAddressesThanThereAreStandInsComeToAnEnd) {
  RecordingWriter session;
  std::string text;
  for (int i = 0; i < 10000; ++i) {
    const std::string digits = std::to_string(10000 + i);
    text += std::string{digits[1], '.', digits[2], '.', digits[3], '.', digits[4], ' '};
  }
  session.add({.call = Call::fgets, .in = {1, 9}, .out = {text}, .result = 1});
  const Redacted result = redacted(session);
  EXPECT_EQ(result.said.status, 0);
  EXPECT_THAT(result.said.out, HasSubstr("  9999  IPv4 addresses\n"));  // all but 0.0.0.0
}

// ---- the command line

TEST(BoardrecCommand, ADamagedRecordingIsCutAndRedactedUpToItsDamage) {
  const Desk desk;
  const std::string bytes = clock_session().bytes();
  const std::string file = desk.put("session.rec", bytes.substr(0, bytes.size() - 10));
  for (const std::string command : {"cut", "redact"}) {
    EXPECT_EQ(Desk::run({command, file, desk.file(command)}).status, 2);
    const Said said = Desk::run({"show", desk.file(command)});
    EXPECT_EQ(said.status, 0) << said.err;
    EXPECT_THAT(said.out, HasSubstr("close /dev/rtc = 0\n"));
  }
}

TEST(BoardrecCommand, AFileThatIsThereIsNeverReplaced) {
  const Desk desk;
  const std::string file = desk.put("session.rec", clock_session().bytes());
  for (const std::string command : {"cut", "redact"}) {
    const Said said = Desk::run({command, file, file});
    EXPECT_EQ(said.status, 73);
    EXPECT_EQ(said.err, "boardrec: " + file + " is there already\n");
  }
  EXPECT_EQ(Desk::run({"show", file}).status, 0);
}

TEST(BoardrecCommand, WhatCannotBeWrittenIsSaid) {
  const Desk desk;
  const std::string file = desk.put("session.rec", clock_session().bytes());
  const std::string nowhere = desk.file("none/part.rec");
  EXPECT_EQ(Desk::run({"cut", file, nowhere}).err,
            "boardrec: " + nowhere + " cannot be written: No such file or directory\n");
  Child full({"/bin/sh", "-c", std::string(BOARDREC_PROGRAM) + " show " + file + " >/dev/full"});
  EXPECT_EQ(full.err(), "boardrec: standard output cannot be written\n");
  EXPECT_EQ(full.exit_status(), 73);
}

TEST(BoardrecCommand, UsageAndHelp) {
  EXPECT_EQ(Desk::run({}).status, 64);
  const Said look = Desk::run({"look", "session.rec"});
  EXPECT_EQ(look.status, 64);
  EXPECT_EQ(look.err, "boardrec: there is no command \"look\"; there are show, stats, diff, cut, redact\n");
  for (const std::string tolerance : {"-1", "nan", "1s"}) {
    const Said said = Desk::run({"diff", "a", "b", "--tolerance=" + tolerance});
    EXPECT_EQ(said.status, 64);
    EXPECT_EQ(said.err, "boardrec: --tolerance: \"" + tolerance + "\" is no number of seconds from 0 on\n");
  }
  for (const std::string command : {"show", "stats", "diff", "cut", "redact"}) {
    const Said said = Desk::run({command, "--help"});
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.out, HasSubstr("Exit codes:\n  0   done\n  1   the recordings differ (diff)\n"));
  }
}

}  // namespace
