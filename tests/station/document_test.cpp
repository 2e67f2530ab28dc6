// What comes from a board: GBK texts, records cut anywhere, and every way in which a document can be wrong.
#include "station/protocol/document.h"

#include <gtest/gtest.h>

#include "station/protocol/frame.h"
#include "station/text/errors.h"
#include "station/text/text.h"
#include "tests/station/board_texts.h"

namespace {

using namespace board_texts;
using namespace t1station;

TEST(BoardTextTest, ABoardsGbkBecomesReadableChinese) {
  EXPECT_EQ(gbk_to_utf8(board_texts::rtc_name_gbk), board_texts::rtc_name);
  EXPECT_EQ(gbk_to_utf8(board_texts::prompt_gbk), board_texts::prompt);
  EXPECT_EQ(gbk_to_utf8(board_texts::title_gbk), board_texts::title);
  EXPECT_EQ(gbk_to_utf8(""), "");
  std::size_t accepted = 0;  // of all characters of two bytes; the others are refused
  for (int pair = 0x8000; pair <= 0xFFFF; ++pair) {
    try {
      if (!gbk_to_utf8(std::string{static_cast<char>(pair >> 8), static_cast<char>(pair)}).empty())
        ++accepted;
    } catch (const ProtocolError&) {
      continue;
    }
  }
  EXPECT_GT(accepted, 20000U);
}

TEST(BoardTextTest, ABoardThatSendsNoGbkIsFoundOutWithThePosition) {
  const std::pair<std::string, std::string> texts[] = {{"ok\xFF\xFF", "byte 2 of 4 is wrong"},
                                                       {"ok\xB2", "byte 2 of 3 starts half a character"}};
  for (const auto& [bytes, reason] : texts) {
    try {
      gbk_to_utf8(bytes);
      ADD_FAILURE() << "accepted, though " << reason;
    } catch (const ProtocolError& error) {
      EXPECT_EQ(error.what(), "the document is no GBK text: " + reason);
    }
  }
}

TEST(BoardTextTest, ABoardCannotSteerTheStationsTerminal) {
  EXPECT_EQ(clean_text("a\x1b[2Jb"), "a\uFFFD[2Jb");
  EXPECT_EQ(clean_text("a\x7F\u009Bb"), "a\uFFFD\uFFFDb");
  EXPECT_EQ(clean_text("a\u202Eb"), "a\uFFFDb");
  EXPECT_EQ(clean_text("a\tb\r\nc"), "a\tb\nc");
}

TEST(BoardTextTest, BytesThatAreNoCharacterAreReplacedOneByOne) {
  EXPECT_EQ(clean_text("a\xFF"), "a\uFFFD");
  EXPECT_EQ(clean_text("\xE6\xB5"), "\uFFFD\uFFFD");            // half a character
  EXPECT_EQ(clean_text("\xC0\x80"), "\uFFFD\uFFFD");            // zero, written too long
  EXPECT_EQ(clean_text("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");  // half of a pair
  EXPECT_EQ(clean_text("\xEF\xBF\xBE"), "\uFFFD");              // no character for ever
  EXPECT_EQ(clean_text("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
}

TEST(BoardTextTest, ChineseCharactersTakeTwoColumnsByWhichTextsArePaddedAndCut) {
  EXPECT_EQ(display_width(board_texts::rtc_name), 11U);
  EXPECT_EQ(display_width("，。（）"), 8U);
  EXPECT_EQ(display_width("e\u0301"), 1U);
  EXPECT_EQ(pad_to_width("测试", 6), "测试  ");
  EXPECT_EQ(pad_to_width("测试", 3), "测试");
  EXPECT_EQ(cut_to_width("测试RTC", 5), "测试R");
  EXPECT_EQ(cut_to_width("测试RTC", 3), "测");
  EXPECT_EQ(cut_to_width("RTC", 0), "");
}

TEST(BoardTextTest, EmptyLinesAroundABoardsTextAreLeftOut) {
  EXPECT_EQ(lines_of("\n\na\n\nb\n\n"), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(lines_of("a"), std::vector<std::string>{"a"});
  EXPECT_TRUE(lines_of("\n").empty());
  EXPECT_TRUE(lines_of("").empty());
}

// ---- records ------------------------------------------------------------------------------------------

TEST(FrameTest, ARequestIsItsLengthInFourBytesAndItsText) {
  EXPECT_EQ(make_record("<a/>"), std::string("\x04\0\0\0<a/>", 8));
  EXPECT_EQ(make_record(std::string(258, 'x')).substr(0, 4), std::string("\x02\x01\0\0", 4));
}

TEST(FrameTest, ARequestOf512BytesGoesOutAndOneOf513DoesNot) {
  EXPECT_EQ(make_record(std::string(512, 'x')).size(), 516U);
  EXPECT_THROW(make_record(std::string(513, 'x')), UsageError);
  EXPECT_THROW(make_record(""), UsageError);
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

TEST(FrameTest, ABoardsRecordOf2048BytesIsTakenAndOneOf2049IsNot) {
  RecordReader reader;
  reader.feed(record_of(std::string(2048, 'x')));
  EXPECT_EQ(reader.next().value_or("").size(), 2048U);
  reader.feed(length_field(2049));
  EXPECT_THROW(reader.next(), ProtocolError);
}

TEST(FrameTest, LengthsThatNoBoardCanSendAreRefusedAtOnceBehindTheirFourthByte) {
  for (const std::int32_t length :
       {0, -1, -5, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    RecordReader reader;
    reader.feed(length_field(length).substr(0, 3));
    EXPECT_EQ(reader.next(), std::nullopt);
    EXPECT_TRUE(reader.holds_a_part());
    reader.feed(length_field(length).substr(3));
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

// ---- documents ----------------------------------------------------------------------------------------

// A clock reply with one piece of it replaced.
std::string spoiled(const std::string& from, const std::string& to) {
  std::string document = reply_document(1536, rtc_name_gbk, "Pass", success_gbk);
  const std::size_t position = document.find(from);
  EXPECT_NE(position, std::string::npos) << from;
  return document.replace(position, from.size(), to);
}

void expect_refused(const std::string& document, const std::string& reason) {
  try {
    parse_document(document);
    ADD_FAILURE() << "accepted, though " << reason;
  } catch (const ProtocolError& error) {
    EXPECT_EQ(error.what(), reason);
  }
}

TEST(DocumentTest, ARequestCarriesItsCodeAsDecimalText) {
  EXPECT_EQ(make_request(1024), "<TestItem><TestCode>1024</TestCode></TestItem>");
  EXPECT_EQ(make_request(-15), "<TestItem><TestCode>-15</TestCode></TestItem>");
  EXPECT_EQ(make_request(9728, 120),
            "<TestItem><TestCode>9728</TestCode><Parameters>120</Parameters></TestItem>");
}

TEST(DocumentTest, AReplyIsReadOutOfGbkThoughItsHeaderSaysGbk) {
  const Reply reply =
      std::get<Reply>(parse_document(reply_document(1536, rtc_name_gbk, "Fail", read_failed_gbk)));
  EXPECT_EQ(reply.code, 1536);
  EXPECT_EQ(reply.test_name, rtc_name);
  EXPECT_FALSE(reply.passed);
  EXPECT_EQ(reply.description, read_failed);
}

TEST(DocumentTest, ATextIsReadWithItsEscapesAndLinesButWithoutControlCharacters) {
  const std::pair<std::string, std::string> texts[] = {
      {"", ""},
      {"1 &gt; 0 &amp; <![CDATA[<x>]]>", "1 > 0 & <x>"},
      {"\nb\r\n\nc\n", "\nb\n\nc\n"},
      {"a\x1b[31m b&#27;[2J", "a\uFFFD[31m b\uFFFD[2J"},
  };
  for (const auto& [sent, read] : texts) {
    const Reply reply = std::get<Reply>(parse_document(reply_document(-15, sent + "x", "Pass", sent)));
    EXPECT_EQ(reply.code, -15);
    EXPECT_TRUE(reply.passed);
    EXPECT_EQ(reply.test_name, read + "x");
    EXPECT_EQ(reply.description, read);
  }
}

TEST(DocumentTest, BannerMenuAndHeartbeatAreServiceMessages) {
  const Document banner_document = parse_document(banner().substr(4));
  EXPECT_EQ(std::get<ServiceMessage>(banner_document).lines.at(1), title);
  const Document menu_document = parse_document(menu().substr(4));
  EXPECT_EQ(std::get<ServiceMessage>(menu_document).lines,
            (std::vector<std::string>{"\n\tT1 test menu:\n", "\t[h] 帮助菜单\n", "\t[q] 退出测试\n"}));
  const Document heartbeat_document = parse_document(heartbeat().substr(4));
  EXPECT_EQ(std::get<ServiceMessage>(heartbeat_document).lines, std::vector<std::string>{prompt});
}

TEST(DocumentTest, OnlyTheExactWordsPassAndFailAreResults) {
  for (const std::string value : {"pass", "PASS", " Pass", "Pass ", "Passed", "", "OK", "Fail\n"}) {
    EXPECT_THROW(parse_document(reply_document(1536, "a", value, "b")), ProtocolError) << value;
  }
  expect_refused(spoiled(">Pass<", ">Perhaps<"), "the result \"Perhaps\" is neither Pass nor Fail");
}

TEST(DocumentTest, AReplyThatLacksAnElementIsRefused) {
  expect_refused(spoiled("<Value>Pass</Value>", ""), "the document has no <Value> in <ResultItem>");
  expect_refused(spoiled("<Description>" + success_gbk + "</Description>", ""),
                 "the document has no <Description> in <ResultItem>");
  expect_refused(spoiled("<TestName>" + rtc_name_gbk + "</TestName>", ""),
                 "the document has no <TestName> in <TestItem>");
  expect_refused(spoiled("<TestCode>1536</TestCode>", ""), "the document has no <TestCode> in <TestItem>");
  expect_refused("<Other/>", "the document has no <TestItem>");
  expect_refused("<TestItem><TestCode>5</TestCode></TestItem>", "the document has no <Result> in <TestItem>");
  expect_refused("<TestItem><TestCode>255</TestCode></TestItem>", "a service message has no <TestContext>");
}

TEST(DocumentTest, AReplyThatSaysTwoThingsOrNoTextIsRefused) {
  expect_refused(spoiled("<Value>Pass</Value>", "<Value>Fail</Value><Value>Pass</Value>"),
                 "the document has more than one <Value> in <ResultItem>");
  expect_refused(spoiled("<TestCode>1536</TestCode>", "<TestCode>1536</TestCode><TestCode>1</TestCode>"),
                 "the document has more than one <TestCode> in <TestItem>");
  expect_refused(spoiled(">Pass<", "><b/>Pass<"), "<Value> holds elements where a text is due");
}

TEST(DocumentTest, ATestCodeThatIsNoNumberIsRefused) {
  for (const std::string code : {"", "abc", "15x", "1 ", "0x600", "99999999999"}) {
    EXPECT_THROW(parse_document(spoiled(">1536<", ">" + code + "<")), ProtocolError) << code;
  }
}

TEST(DocumentTest, AnUnfinishedDocumentAndWhatIsNoXmlOrNoGbkIsRefused) {
  const std::string document = reply_document(1536, rtc_name_gbk, "Pass", success_gbk);
  const std::size_t end = document.rfind("</TestItem>");
  for (std::size_t size = 0; size < end + 10; ++size) {
    EXPECT_THROW(parse_document(document.substr(0, size)), ProtocolError) << size << " bytes";
  }
  std::string nested;
  for (int i = 0; i < 600; ++i) nested += "<a>";
  for (const std::string& other :
       {std::string("hello"), std::string("<a></b>"), nested, spoiled("RTC", "\xFF\xFF")}) {
    EXPECT_THROW(parse_document(other), ProtocolError) << other.substr(0, 10);
  }
}

TEST(DocumentTest, ANulCharacterCannotCutATextShort) {
  expect_refused(spoiled(">Pass<", ">Pass&#0;ed<"), "the document holds a NUL character");
  expect_refused(spoiled(">Pass<", ">Pass&#x00;ed<"), "the document holds a NUL character");
  expect_refused(spoiled(">Pass<", std::string(">Pass\0ed<", 9)), "the document holds a NUL character");
}

}  // namespace
