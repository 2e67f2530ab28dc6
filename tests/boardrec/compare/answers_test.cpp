// What agrees and what differs, on recordings written for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "boardrec/compare/report.h"
#include "boardrec/compare/script.h"
#include "tests/boardrec/tool/recording_writer.h"
#include "tests/harness/framing.h"

namespace {

using boardrec::Call;
using boardrec::Comparison;
using boardrec::Recording;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

Recording read(const RecordingWriter& session) {
  return boardrec::read_recording(session.bytes(), "session.rec");
}

Comparison compare(const RecordingWriter& recorded, const RecordingWriter& simulated) {
  return boardrec::compare(read(recorded), read(simulated), {});
}

/// One call on a node that is open, of a session of its own.
RecordingWriter on_node(const std::string& node, const Written& call) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {node, 2, 0}, .result = 5});
  session.add(call);
  session.add({.call = Call::finish, .in = {0}});
  return session;
}

RecordingWriter request_on(const std::string& node, std::int64_t request, const std::string& in,
                           const std::string& out) {
  return on_node(node, {.call = Call::ioctl, .in = {5, request, in}, .out = {out}});
}

RecordingWriter alone(const Written& call) {
  RecordingWriter session;
  session.add(call);
  session.add({.call = Call::finish, .in = {0}});
  return session;
}

/// "DEVICE, KIND: WHAT, RECORDED, SIMULATED" of everything that differs.
std::vector<std::string> differences(const RecordingWriter& recorded, const RecordingWriter& simulated) {
  std::vector<std::string> texts;
  for (const boardrec::Finding& finding : compare(recorded, simulated).findings) {
    const boardrec::Difference& difference = finding.difference;
    texts.push_back(finding.device + ", " + finding.kind + ": " + difference.what + ", " +
                    difference.recorded + ", " + difference.simulated);
  }
  return texts;
}

std::string reading(std::uint32_t minutes, std::uint32_t seconds) {
  return words({seconds, minutes, 10, 22, 10, 126, 0, 325, 0});
}

RecordingWriter two_readings(std::uint32_t minutes, std::uint32_t first, std::uint32_t second) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = 5});
  const std::string none(36, '\0');
  session.add({.call = Call::ioctl, .in = {5, 0x80247009, none}, .out = {reading(minutes, first)}});
  session.add({.call = Call::sleep, .in = {4}, .took = 4});
  session.add({.call = Call::ioctl, .in = {5, 0x80247009, none}, .out = {reading(minutes, second)}});
  return session;
}

template <class Layout>
RecordingWriter told(Call call, const Layout& layout) {
  return alone({.call = call, .in = {"/mnt/test/file"}, .out = {RecordingWriter::raw(layout)}});
}

/// A storage test that writes one block and reads another.
RecordingWriter block_test(char written, char read) {
  const std::string block(5000, written);
  const std::string other(5000, read);
  RecordingWriter session;
  session.add({.call = Call::mount, .in = {"/dev/mmc01", "/mnt/test", "vfat", 0, ""}});
  session.add({.call = Call::open, .in = {"/mnt/test/file", 66, 0644}, .result = 5});
  session.add({.call = Call::write, .in = {5, 5000, block}, .result = 5000});
  session.add({.call = Call::read, .in = {5, 5000}, .out = {other}, .result = 5000});
  session.add({.call = Call::finish, .in = {0}});
  return session;
}

boardrec::Status a_file(std::int64_t size, std::uint64_t inode = 1) {
  boardrec::Status status{};
  status.size = size;
  status.inode = inode;
  status.mode = 0100644;
  return status;
}

boardrec::FileSystem a_medium(std::int64_t available, std::int64_t block_size) {
  boardrec::FileSystem system{};
  system.type = 1;
  system.available = available;
  system.block_size = block_size;
  return system;
}

RecordingWriter banner(const std::string& built, const std::string& title) {
  const std::string document = record_of("<a>" + title + " BUILD: " + built + "\n</a>");
  RecordingWriter session;
  session.add({.call = Call::accept, .in = {3}, .out = {"192.0.2.1:4000"}, .result = 4});
  session.add({.call = Call::send,
               .in = {4, static_cast<std::int64_t>(document.size()), document, 0},
               .result = static_cast<std::int64_t>(document.size())});
  return session;
}

TEST(Answers, WhatIsABoardsOwnAgrees) {
  std::string block(256, '\0');
  std::string other = block;
  for (const std::size_t at : {4U, 53U, 64U, 65U, 82U, 128U, 191U, 192U, 199U}) other[at] = 'x';
  const std::string none(256, '\0');
  EXPECT_THAT(differences(request_on("/dev/qznio", 0x80044801, none, block),
                          request_on("/dev/qznio", 0x80044801, none, other)),
              SizeIs(0));
  EXPECT_THAT(differences(two_readings(10, 5, 9), two_readings(59, 31, 35)), SizeIs(0));
  EXPECT_THAT(
      differences(
          on_node("/proc/debug/temp1", {.call = Call::read, .in = {5, 32}, .out = {"41200\n"}, .result = 6}),
          on_node("/proc/debug/temp1", {.call = Call::read, .in = {5, 32}, .out = {"45500\n"}, .result = 6})),
      SizeIs(0));
  EXPECT_THAT(differences(told(Call::stat, a_file(4, 7)), told(Call::stat, a_file(4, 8))), SizeIs(0));
  EXPECT_THAT(
      differences(told(Call::statfs, a_medium(100000, 4096)), told(Call::statfs, a_medium(999999, 512))),
      SizeIs(0));
  EXPECT_THAT(differences(banner("Jan  1 2026-10:00:00", "x"), banner("Feb  2 2026-09:09:09", "x")),
              SizeIs(0));
  EXPECT_THAT(differences(alone({.call = Call::bind, .in = {3, "192.0.2.7:36001"}}),
                          alone({.call = Call::bind, .in = {3, "127.0.0.1:36001"}})),
              SizeIs(0));
}

TEST(Answers, WhatIsNotIsToldWithBothValues) {
  EXPECT_THAT(differences(request_on("/dev/qznio", 0x80044703, words({7, 0}), words({7, 1})),
                          request_on("/dev/qznio", 0x80044703, words({7, 0}), words({7, 0}))),
              ElementsAre("/dev/qznio, ioctl 0x80044703: word 2, 1, 0"));
  std::string block(256, '\0');
  std::string other = block;
  other[90] = 7;
  EXPECT_THAT(
      differences(request_on("/dev/qznio", 0x80044801, block, block),
                  request_on("/dev/qznio", 0x80044801, block, other)),
      ElementsAre("/dev/qznio, ioctl 0x80044801: bytes from 90 on, 00 00 00 00 00 00 00 00, 07 00 00 00 00 "
                  "00 00 00"));
  EXPECT_THAT(
      differences(two_readings(10, 5, 9), two_readings(10, 5, 5)),
      ElementsAre(
          "/dev/rtc, ioctl 0x80247009: clock, +0.0 s against time passed, -4.0 s against time passed"));
  EXPECT_THAT(differences(alone({.call = Call::open, .in = {"/dev/led", 2, 0}, .result = 5}),
                          alone({.call = Call::open, .in = {"/dev/led", 2, 0}, .result = -1, .error = 16})),
              ElementsAre("/dev/led, open: result, 5, -1 EBUSY"));
  EXPECT_THAT(
      differences(on_node("/dev/uart1", {.call = Call::read, .in = {5, 8}, .out = {"abcd"}, .result = 4}),
                  on_node("/dev/uart1", {.call = Call::read, .in = {5, 8}, .out = {"ab"}, .result = 2})),
      ElementsAre("/dev/uart1, read: result, 4, 2"));
  EXPECT_THAT(
      differences(
          on_node("/dev/mtd4",
                  {.call = Call::read, .in = {5, 9000}, .out = {LongBlock{9000, 1}}, .result = 9000}),
          on_node("/dev/mtd4",
                  {.call = Call::read, .in = {5, 9000}, .out = {LongBlock{9000, 2}}, .result = 9000})),
      ElementsAre("/dev/mtd4, read: bytes, 9000 bytes, digest 0000000000000001, 9000 bytes, digest "
                  "0000000000000002"));
  EXPECT_THAT(differences(told(Call::stat, a_file(4)), told(Call::stat, a_file(5))),
              ElementsAre("/mnt/test/file, stat: status, 4 bytes, mode 0100644, 5 bytes, mode 0100644"));
  EXPECT_THAT(differences(told(Call::statfs, a_medium(1, 1)), told(Call::statfs, a_medium(0, 1))),
              ElementsAre("/mnt/test/file, statfs: statfs, type 1, less than 100 MB free, type 1, no room"));
  EXPECT_THAT(differences(banner("now", "x"), banner("now", "y")),
              ElementsAre(HasSubstr("station, document: bytes from 3 on, 78 20")));
}

TEST(Answers, DurationsAgreeWithinTheirTolerance) {
  const auto moved = [](double seconds) {
    return on_node("/dev/motor", {.call = Call::ioctl, .in = {5, 0x40044901, 90}, .took = seconds});
  };
  EXPECT_THAT(differences(moved(0.300), moved(0.266)), SizeIs(0));
  EXPECT_THAT(differences(moved(0.300), moved(0.264)),
              ElementsAre("/dev/motor, ioctl 0x40044901: duration, 300.000 ms, 264.000 ms"));
  EXPECT_THAT(differences(moved(0.000), moved(0.005)), SizeIs(0));
}

TEST(Partings, AProgramThatGoesAnotherWayIsToldWithTheAnswerBefore) {
  const auto session = [](std::uint32_t level) {
    RecordingWriter writer;
    writer.add({.call = Call::open, .in = {"/dev/qznio", 2, 0}, .result = 5});
    writer.add({.call = Call::ioctl, .in = {5, 0x80044703, words({7, 0})}, .out = {words({7, level})}});
    if (level == 0) writer.add({.call = Call::usleep, .in = {500}, .took = 0.0005});
    writer.add(
        {.call = level == 0 ? Call::ioctl : Call::system,
         .in = level == 0 ? std::vector<Item>{5, 0x40044704, words({8, 1})} : std::vector<Item>{"dayICR"}});
    writer.add({.call = Call::close, .in = {5}});
    writer.add({.call = Call::finish, .in = {0}});
    return writer;
  };
  const Comparison found = compare(session(1), session(0));
  ASSERT_THAT(found.partings, SizeIs(1));
  EXPECT_EQ(found.partings[0].segment, "the start");
  EXPECT_EQ(found.partings[0].first_recorded, "system dayICR = 0");
  EXPECT_EQ(found.partings[0].first_simulated, "usleep 500");
  EXPECT_EQ(found.partings[0].recorded, 1U);
  EXPECT_EQ(found.partings[0].simulated, 2U);
  EXPECT_EQ(found.partings[0].because, "ioctl /dev/qznio 0x80044703 {7, 0} = 0: word 2 1, simulated 0");
  EXPECT_EQ(
      boardrec::table_text({.file = "session.rec", .board = "normal (0x9601)", .comparison = found}),
      "Recording session.rec: 0.0 s, 0 requests of the station\n"
      "Simulated board normal (0x9601)\n"
      "The station asked for no test\n"
      "\n"
      "Device      Compared  Agree  Differ  Recorded only  Simulated only\n"
      "/dev/qznio         3      2       1              -               1\n"
      "commands           -      -       -              1               -\n"
      "sleeps             -      -       -              -               1\n"
      "\n"
      "== What differs\n"
      "/dev/qznio, ioctl 0x80044703: 1 of 1 differ\n"
      "  first at 0.000000 s, the start\n"
      "  ioctl /dev/qznio 0x80044703 {7, 0} = 0\n"
      "    word 2: recorded 1, simulated 0\n"
      "\n"
      "== Where the programs went different ways\n"
      "the start\n"
      "  only the recorded program: 1 question, first system dayICR = 0\n"
      "  only the simulated one: 2 questions, first usleep 500\n"
      "  because: ioctl /dev/qznio 0x80044703 {7, 0} = 0: word 2 1, simulated 0\n"
      "\n"
      "The boards differ: 1 kind of answers, 1 request behind which the programs went different ways.\n");
}

TEST(Partings, WhatBothAskBehindThousandsOfOtherQuestionsIsStillCompared) {
  const auto session = [](const std::string& other, int times) {
    RecordingWriter writer;
    for (int i = 0; i < times; ++i) writer.add({.call = Call::system, .in = {other}});
    return writer.add({.call = Call::open,
                       .in = {"/dev/led", 2, 0},
                       .result = times > 1 ? 5 : -1,
                       .error = times > 1 ? 0 : 16});
  };
  EXPECT_THAT(differences(session("closeIRIS", 1), session("openIRIS", 3000)),
              ElementsAre("/dev/led, open: result, -1 EBUSY, 5"));
}

TEST(Partings, OtherBytesThatAreWrittenAreAnotherWay) {
  const auto wrote = [](const std::string& bytes) {
    return on_node("/dev/uart1", {.call = Call::write, .in = {5, 4, bytes}, .result = 4});
  };
  EXPECT_THAT(compare(wrote("abcd"), wrote("abcx")).partings, SizeIs(1));
  EXPECT_TRUE(compare(wrote("abcd"), wrote("abcd")).agrees());
}

TEST(Partings, AProgramThatGoesOnBehindARecordingThatStoppedDoesNotDiffer) {
  RecordingWriter cut;
  cut.add({.call = Call::sleep, .in = {1}, .took = 1});
  RecordingWriter longer = cut;
  longer.add({.call = Call::open, .in = {"/dev/led", 2, 0}, .result = 5});
  EXPECT_TRUE(compare(cut, longer).agrees());
  EXPECT_FALSE(compare(longer, cut).agrees());
  cut.add({.call = Call::finish, .in = {0}});
  EXPECT_FALSE(compare(cut, longer).agrees());
}

TEST(Partings, ACallThatNobodyKnowsIsPassedOver) {
  RecordingWriter session;
  session.add({.call = Call::sleep, .in = {1}, .took = 1});
  RecordingWriter other = session;
  other.add({.call = Call{999}, .in = {1, "x"}, .result = -1, .error = 999});
  EXPECT_TRUE(compare(other, session).agrees());
}

TEST(Untouched, NodesAndRequestsThatTheProgramNeverUsedAreListed) {
  const std::vector<boardrec::KnownNode> known{{"/dev/led", {{1, "switches"}}},
                                               {"/dev/rtc", {{0x80247009, "reads"}, {2, "sets"}}}};
  const auto rest = boardrec::untouched(read(two_readings(1, 2, 6)), known);
  ASSERT_THAT(rest, SizeIs(2));
  EXPECT_EQ(rest[0].path, "/dev/led");
  EXPECT_FALSE(rest[0].is_used);
  EXPECT_TRUE(rest[1].is_used);
  EXPECT_THAT(rest[1].requests, SizeIs(1));
  const std::string table = boardrec::table_text({.untouched = rest});
  EXPECT_THAT(table, HasSubstr("== What the recording never touched\n/dev/led\n/dev/rtc 0x00000002: sets\n"));
}

TEST(Script, TheStationDoesWhatItDidWhenTheProgramNoticed) {
  RecordingWriter session;
  session.add({.call = Call::accept, .in = {3}, .out = {"192.0.2.1:4000"}, .result = 4, .took = 1});
  session.after(0.5).add(
      {.call = Call::recv, .in = {4, 4, 0}, .out = {std::string("\x2e\0\0\xff", 4)}, .result = 4});
  session.after(1).add({.call = Call::recv, .in = {4, 4, 0}, .out = {""}});
  session.add({.call = Call::close, .in = {4}});
  session.add({.call = Call::accept, .in = {3}, .out = {"192.0.2.1:4001"}, .result = 4, .took = 1});
  session.after(1).add({.call = Call::send, .in = {4, 4, "abcd", 0}, .result = 4});
  session.after(1).add({.call = Call::send, .in = {4, 4, {}, 0}, .result = -1, .error = 32});
  session.add({.call = Call::close, .in = {4}});
  session.add({.call = Call::accept, .in = {3}, .out = {"192.0.2.1:4002"}, .result = 4, .took = 1});
  session.after(1).add({.call = Call::recv, .in = {4, 4, 0}, .out = {{}}, .result = -1, .error = 104});
  EXPECT_EQ(boardrec::station_script(read(session)),
            "1.000000 connect\n1.500000 send 2e0000ff\n2.500000 leave\n"
            "3.500000 connect\n4.500000 leave\n"
            "6.500000 connect\n7.500000 reset\n127.500000 end\n");
}

TEST(Script, WhatTheProgramCouldNotReceiveIsSentAsAByte) {
  const auto fails = [](RecordingWriter& session, int error) {
    session.after(1).add({.call = Call::recv, .in = {4, 4, 0}, .out = {{}}, .result = -1, .error = error});
  };
  RecordingWriter session;
  session.add({.call = Call::accept, .in = {3}, .out = {"192.0.2.1:4000"}, .result = 4, .took = 1});
  fails(session, 4);
  session.add({.call = Call::recv, .in = {4, 4, 0}, .out = {"a"}, .result = 1});  // it was only interrupted
  fails(session, 5);
  session.add({.call = Call::shutdown, .in = {4, 2}}).add({.call = Call::close, .in = {4}});
  EXPECT_EQ(boardrec::station_script(read(session)),
            "1.000000 connect\n2.000000 send 61\n3.000000 send 00\n123.000000 end\n");
}

TEST(Script, AStationThatCouldNotBeAcceptedConnectsAllTheSame) {
  RecordingWriter session;
  const auto fails = [&session](int error) {
    session.add({.call = Call::accept, .in = {3}, .out = {{}}, .result = -1, .error = error, .took = 1});
  };
  fails(4);  // it was only interrupted
  session.add({.call = Call::accept, .in = {3}, .out = {"192.0.2.1:4000"}, .result = 4, .took = 1});
  session.after(1).add({.call = Call::close, .in = {4}});
  fails(5);
  EXPECT_EQ(boardrec::station_script(read(session)), "2.000000 connect\n4.000000 connect\n124.000000 end\n");
}

TEST(StorageAnswerTest, ABlockIsHeldAgainstWhatItsOwnTestWrote) {
  EXPECT_THAT(differences(block_test('a', 'a'), block_test('b', 'b')), testing::IsEmpty());
  EXPECT_THAT(differences(block_test('a', 'a'), block_test('a', 'b')),
              ElementsAre(HasSubstr("/dev/mmc01, read: bytes")));
}

}  // namespace
