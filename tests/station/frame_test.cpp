// Records: length field, limits, and streams cut anywhere.
#include "station/protocol/frame.h"

#include <gtest/gtest.h>

#include "station/text/errors.h"
#include "tests/harness/framing.h"

namespace {

using t1station::make_record;
using t1station::ProtocolError;
using t1station::RecordReader;

TEST(FrameTest, ARequestIsItsLengthInFourBytesAndItsText) {
  EXPECT_EQ(make_record("<a/>"), std::string("\x04\0\0\0<a/>", 8));
  EXPECT_EQ(make_record(std::string(258, 'x')).substr(0, 4), std::string("\x02\x01\0\0", 4));
}

TEST(FrameTest, ARequestOf512BytesGoesOutAndOneOf513DoesNot) {
  EXPECT_EQ(make_record(std::string(512, 'x')).size(), 516U);
  EXPECT_THROW(make_record(std::string(513, 'x')), t1station::UsageError);
  EXPECT_THROW(make_record(""), t1station::UsageError);
}

TEST(FrameTest, ABoardsBytesSplitAnywhereComeOutAsTheSameRecords) {
  const std::string stream = record_of("first") + record_of("second one");
  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    RecordReader reader;
    std::vector<std::string> documents;
    for (const std::string& piece : {stream.substr(0, cut), stream.substr(cut)}) {
      reader.feed(piece);
      while (const auto document = reader.next()) documents.push_back(*document);
    }
    EXPECT_EQ(documents, (std::vector<std::string>{"first", "second one"})) << "cut at " << cut;
    EXPECT_FALSE(reader.holds_a_part());
  }
}

TEST(FrameTest, ABoardThatSendsByteByByteIsUnderstood) {
  RecordReader reader;
  std::string found;
  for (const char byte : record_of("<TestItem/>")) {
    EXPECT_EQ(found, "");
    reader.feed(std::string(1, byte));
    if (const auto document = reader.next()) found = *document;
  }
  EXPECT_EQ(found, "<TestItem/>");
}

TEST(FrameTest, ThreeBytesOfALengthAreNoRecordYet) {
  RecordReader reader;
  reader.feed(std::string("\xFF\xFF\xFF", 3));
  EXPECT_EQ(reader.next(), std::nullopt);
  EXPECT_TRUE(reader.holds_a_part());
}

TEST(FrameTest, ABoardsRecordOf2048BytesIsTakenAndOneOf2049IsNot) {
  RecordReader reader;
  reader.feed(record_of(std::string(2048, 'x')));
  EXPECT_EQ(reader.next().value_or("").size(), 2048U);
  reader.feed(length_field(2049));
  EXPECT_THROW(reader.next(), ProtocolError);
}

TEST(FrameTest, LengthsThatNoBoardCanSendAreRefusedAtOnce) {
  for (const std::int32_t length :
       {0, -1, -5, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    RecordReader reader;
    reader.feed(length_field(length));
    EXPECT_THROW(reader.next(), ProtocolError) << length;
  }
}

TEST(FrameTest, AfterABadLengthNothingOfABoardIsReadAnyMore) {
  RecordReader reader;
  reader.feed(length_field(-1));
  EXPECT_THROW(reader.next(), ProtocolError);
  reader.feed(record_of("<TestItem/>"));
  EXPECT_THROW(reader.next(), ProtocolError);
}

}  // namespace
