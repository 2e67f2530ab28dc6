// Requests byte by byte, and every way in which a board's document can be wrong.
#include "station/protocol/document.h"

#include <gtest/gtest.h>

#include "station/text/errors.h"
#include "tests/station/board_texts.h"

namespace {

using namespace board_texts;
using t1station::Document;
using t1station::make_request;
using t1station::parse_document;
using t1station::ProtocolError;
using t1station::Reply;
using t1station::ServiceMessage;

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

TEST(DocumentTest, AReplyWithAnEmptyDescriptionIsComplete) {
  const Reply reply = std::get<Reply>(parse_document(reply_document(14592, light_name_gbk, "Pass", "")));
  EXPECT_TRUE(reply.passed);
  EXPECT_EQ(reply.description, "");
}

TEST(DocumentTest, ANegativeTestCodeIsRead) {
  EXPECT_EQ(std::get<Reply>(parse_document(reply_document(-15, "x", "Pass", "y"))).code, -15);
}

TEST(DocumentTest, EscapedAndQuotedCharactersOfADescriptionAreRead) {
  const Reply reply =
      std::get<Reply>(parse_document(reply_document(1, "a&lt;b", "Pass", "1 &gt; 0 &amp; <![CDATA[<x>]]>")));
  EXPECT_EQ(reply.test_name, "a<b");
  EXPECT_EQ(reply.description, "1 > 0 & <x>");
}

TEST(DocumentTest, TheLinesOfADescriptionAreKept) {
  EXPECT_EQ(std::get<Reply>(parse_document(reply_document(1, "a", "Pass", "\nb\r\n\nc\n"))).description,
            "\nb\n\nc\n");
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

TEST(DocumentTest, AReplyThatSaysTwoThingsIsRefused) {
  expect_refused(spoiled("<Value>Pass</Value>", "<Value>Fail</Value><Value>Pass</Value>"),
                 "the document has more than one <Value> in <ResultItem>");
  expect_refused(spoiled("<TestCode>1536</TestCode>", "<TestCode>1536</TestCode><TestCode>1</TestCode>"),
                 "the document has more than one <TestCode> in <TestItem>");
}

TEST(DocumentTest, AnElementWhereATextIsDueIsRefused) {
  expect_refused(spoiled(">Pass<", "><b/>Pass<"), "<Value> holds elements where a text is due");
}

TEST(DocumentTest, ATestCodeThatIsNoNumberIsRefused) {
  for (const std::string code : {"", "abc", "15x", "1 ", "0x600", "99999999999"}) {
    EXPECT_THROW(parse_document(spoiled(">1536<", ">" + code + "<")), ProtocolError) << code;
  }
}

TEST(DocumentTest, AnUnfinishedDocumentIsRefused) {
  const std::string document = reply_document(1536, rtc_name_gbk, "Pass", success_gbk);
  const std::size_t end = document.rfind("</TestItem>");
  for (std::size_t size = 0; size < end + 10; ++size) {
    EXPECT_THROW(parse_document(document.substr(0, size)), ProtocolError) << size << " bytes";
  }
}

TEST(DocumentTest, WhatIsNoXmlOrNoGbkIsRefused) {
  EXPECT_THROW(parse_document("hello"), ProtocolError);
  EXPECT_THROW(parse_document("<a></b>"), ProtocolError);
  EXPECT_THROW(parse_document(spoiled("RTC", "\xFF\xFF")), ProtocolError);
}

TEST(DocumentTest, ANulCharacterCannotCutATextShort) {
  expect_refused(spoiled(">Pass<", ">Pass&#0;ed<"), "the document holds a NUL character");
  expect_refused(spoiled(">Pass<", ">Pass&#x00;ed<"), "the document holds a NUL character");
  expect_refused(spoiled(">Pass<", std::string(">Pass\0ed<", 9)), "the document holds a NUL character");
}

TEST(DocumentTest, ControlCharactersOfABoardDoNotReachTheOperator) {
  const Reply reply = std::get<Reply>(parse_document(reply_document(1, "a\x1b[31m", "Pass", "b&#27;[2J")));
  EXPECT_EQ(reply.test_name, "a\uFFFD[31m");
  EXPECT_EQ(reply.description, "b\uFFFD[2J");
}

TEST(DocumentTest, ADeeplyNestedDocumentIsReadOrRefusedWithoutHarm) {
  std::string nested;
  for (int i = 0; i < 600; ++i) nested += "<a>";
  EXPECT_THROW(parse_document(nested), ProtocolError);
}

}  // namespace
