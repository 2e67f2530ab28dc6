// Recordings that are damaged, cut off, or none at all.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "boardrec/session/named_calls.h"
#include "boardrec/session/recording.h"
#include "tests/boardrec/tool/session.h"

namespace {

using boardrec::Call;
using testing::HasSubstr;

/// All records as text.
std::vector<std::string> texts(const boardrec::Recording& recording) {
  std::vector<std::string> lines;
  for (const boardrec::NamedCall& call : boardrec::named_calls(recording))
    lines.push_back(boardrec::timed_text(call));
  return lines;
}

TEST(Damage, ARecordingThatEndsAtAnyByteIsReadUpToThere) {
  const std::string bytes = clock_session().bytes();
  const std::vector<std::string> whole = texts(boardrec::read_recording(bytes, "it"));
  std::size_t complete = 0;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    const std::string cut = bytes.substr(0, size);
    if (size < sizeof(boardrec::Header)) {
      EXPECT_THROW(boardrec::read_recording(cut, "it"), boardrec::Unreadable) << size;
      continue;
    }
    const boardrec::Recording read = boardrec::read_recording(cut, "it");
    const std::vector<std::string> lines = texts(read);
    ASSERT_TRUE(std::equal(lines.begin(), lines.end(), whole.begin())) << size;
    if (read.broken.empty()) {
      ++complete;
    } else {
      EXPECT_THAT(read.broken, HasSubstr("it was cut off at byte ")) << size;
    }
  }
  EXPECT_EQ(complete, whole.size());  // the ends of all records but the last, and that of the header
}

TEST(Damage, NoBitCanChangeWithoutBeingNoticed) {
  RecordingWriter session;
  session.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = 5})
      .add({.call = Call::ioctl, .in = {5, 0x80247009, {}}, .out = {clock_reading(12)}, .took = 0.001})
      .add({.call = Call::read, .in = {5, 5000}, .out = {LongBlock{5000, 1}}, .result = 5000});
  const std::string bytes = session.bytes();
  const std::vector<std::string> whole = texts(boardrec::read_recording(bytes, "it"));
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    std::string changed = bytes;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    try {
      const boardrec::Recording read = boardrec::read_recording(changed, "it");
      const std::vector<std::string> lines = texts(read);
      ASSERT_THAT(read.broken, HasSubstr("it ")) << "bit " << bit;
      ASSERT_TRUE(std::equal(lines.begin(), lines.end(), whole.begin())) << "bit " << bit;
    } catch (const boardrec::Unreadable& error) {
      ASSERT_LT(bit, 8 * sizeof(boardrec::Header)) << error.what();
    }
  }
}

std::string refusal(const std::string& bytes) {
  try {
    boardrec::read_recording(bytes, "it");
  } catch (const boardrec::Unreadable& error) {
    return error.what();
  }
  return "read";
}

TEST(Damage, TheOtherByteOrderAndAnotherVersionAreSaid) {
  RecordingWriter other_order = clock_session();
  other_order.header().order = __builtin_bswap32(boardrec::kOrder);
  EXPECT_EQ(refusal(other_order.bytes()), "it was recorded on a machine of the other byte order");
  RecordingWriter newer = clock_session();
  newer.header().version = 4;
  EXPECT_EQ(refusal(newer.bytes()), "it has version 4 of the format; this program reads 1 to 3");
}

TEST(Damage, ARecordingOfTheFirstVersionIsRead) {
  RecordingWriter older = clock_session();
  older.header().version = 1;
  EXPECT_EQ(refusal(older.bytes()), "read");
}

TEST(Damage, WhatIsNoRecordingIsSaid) {
  EXPECT_EQ(refusal(""), "it is no recording");
  EXPECT_EQ(refusal(std::string(1000, 'x')), "it is no recording");
  EXPECT_EQ(refusal(clock_session().bytes().substr(0, 63)), "it was cut off within its first 64 bytes");
}

std::string why_broken(const RecordingWriter& writer, const std::string& behind = "") {
  return boardrec::read_recording(writer.bytes() + behind, "it").broken;
}

TEST(Damage, SizesAndCountsThatCannotBeAreDamage) {
  const auto frame = [](std::uint32_t size) {
    return RecordingWriter::raw(boardrec::Frame{.size = size, .checksum = 0});
  };
  EXPECT_EQ(why_broken(RecordingWriter(), frame(0xFFFFFFFF)), "it is damaged at byte 64, behind 0 records");
  EXPECT_EQ(why_broken(RecordingWriter(), frame(boardrec::kLargestBody)),
            "it was cut off at byte 64, behind 0 records");

  boardrec::Body many{};
  many.call = static_cast<std::uint16_t>(Call::note);
  many.in = 0xFFFF;
  EXPECT_EQ(why_broken(RecordingWriter().add_body(RecordingWriter::raw(many))),
            "it is damaged at byte 64, behind 0 records");

  boardrec::Body one = many;
  one.in = 1;
  const std::string gigabytes = std::string(1, '\2') + words({0xFFFFFFF0}) + "few";
  EXPECT_EQ(why_broken(RecordingWriter().add_body(RecordingWriter::raw(one) + gigabytes)),
            "it is damaged at byte 64, behind 0 records");
  const std::string no_such_type = std::string(1, '\4') + "1234";
  EXPECT_EQ(why_broken(RecordingWriter().add_body(RecordingWriter::raw(one) + no_such_type)),
            "it is damaged at byte 64, behind 0 records");
  boardrec::Body unknown{};
  unknown.call = 999;
  EXPECT_EQ(why_broken(RecordingWriter().add_body(RecordingWriter::raw(unknown))),
            "it is damaged at byte 64, behind 0 records");
  EXPECT_EQ(why_broken(RecordingWriter().add_body(RecordingWriter::raw(boardrec::Body{}) + "more")),
            "it is damaged at byte 64, behind 0 records");
}

TEST(Damage, ACallWithFewerValuesThanItHasIsShownAllTheSame) {
  RecordingWriter session;
  for (const boardrec::CallRow& row : boardrec::kCalls) {
    session.add({.call = row.call});
    session.add({.call = row.call, .in = {LongBlock{70000, 1}, {}, "short"}, .out = {7, {}}, .result = 1});
  }
  const Desk desk;
  const std::string file = desk.put("session.rec", session.bytes());
  EXPECT_EQ(Desk::run({"show", "--all", "--bytes", file}).status, 0);
  EXPECT_EQ(Desk::run({"show", file}).status, 0);
  EXPECT_EQ(Desk::run({"stats", file}).status, 0);
  EXPECT_EQ(Desk::run({"diff", file, file}).status, 0);
  EXPECT_EQ(Desk::run({"redact", file, desk.file("redacted.rec")}).status, 0);
  EXPECT_EQ(Desk::run({"cut", "--from", "20", file, desk.file("cut.rec")}).status, 0);
}

TEST(Damage, ASetOfMoreDescriptorsThanAProgramCanHaveIsCut) {
  RecordingWriter session;
  session.add({.call = Call::select, .in = {1 << 30, std::string(8 << 20, '\xff'), {}, {}, 0}});
  EXPECT_LT(texts(boardrec::read_recording(session.bytes(), "it")).at(0).size(), 1'000'000U);
}

TEST(Damage, WhatStandsBeforeTheDamageIsShownAndTheDamageIsSaid) {
  const Desk desk;
  const std::string bytes = clock_session().bytes();
  const std::string file = desk.put("session.rec", bytes.substr(0, bytes.size() - 10));
  const Said said = Desk::run({"show", file});
  EXPECT_EQ(said.status, 2);
  EXPECT_THAT(said.out, HasSubstr("close /dev/rtc = 0\n"));
  EXPECT_THAT(said.err,
              testing::MatchesRegex("boardrec: .* was cut off at byte [0-9]+, behind 13 records\n"));
  EXPECT_THAT(Desk::run({"stats", file}).out, HasSubstr("not known: the recording breaks off"));
}

TEST(Damage, FilesThatCannotBeReadAreRefusedByName) {
  const Desk desk;
  const std::string fifo = desk.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string large = desk.put("large", "BOARDREC");
  ASSERT_EQ(truncate(large.c_str(), (off_t{1} << 30) + 1), 0);
  const auto said = [](const std::string& file) {
    const Said answer = Desk::run({"show", file});
    EXPECT_EQ(answer.status, 65);
    return answer.err;
  };
  EXPECT_EQ(said(desk.file("none")), "boardrec: " + desk.file("none") + ": No such file or directory\n");
  EXPECT_EQ(said(desk.file("")), "boardrec: " + desk.file("") + " is a folder\n");
  EXPECT_EQ(said(fifo), "boardrec: " + fifo + " is no file\n");
  EXPECT_EQ(said(large),
            "boardrec: " + large + " has 1073741825 bytes; recordings of up to 1073741824 bytes are read\n");
}

}  // namespace
