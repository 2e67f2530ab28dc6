// How requests may be written, and every kind of request that is no good.
#include <gtest/gtest.h>
#include <string>

#include "tests/service/dispatching.h"

namespace {

using namespace boardtest;

// ---- requests that name no test ---------------------------------------------------------

TEST_F(DispatchTest, AnUnknownCodeIsNotAnsweredButDiscardsAnUnfinishedTrim) {
  expect_invalid(request("1"));
  EXPECT_TRUE(trim_is_reset());
}

TEST_F(DispatchTest, ARequestThatDoesNotParseOrHasNoCodeIsNotAnswered) {
  for (const char* xml : {"",
                          " ",
                          "hello",
                          "<",
                          "<TestItem>",
                          "<TestItem/>",
                          "<TestItem></TestItem>",
                          "<TestItem><TestCode/></TestItem>",
                          "<TestItem><TestCode></TestCode></TestItem>",
                          "<TestItem><TestCode><a>1536</a></TestCode></TestItem>",
                          "<TestItem><Code>1536</Code></TestItem>",
                          "<TestCode>1536</TestCode>",
                          "<TestItem><a><TestCode>1536</TestCode></a></TestItem>",
                          "<TestItem><TestCodes>1536</TestCodes></TestItem>",
                          "<TestItem><testcode>1536</testcode></TestItem>",
                          "<TestItem><TestCode>1536</TestCode>",
                          "<TestItem><TestCode>1536</TestItem>",
                          "<TestItem><TestCode>1536</TestCode></Other>",
                          "<TestItem><TestCode>1536",
                          "<TestItem><\"TestCode\">1536</TestCode></TestItem>"}) {
    expect_invalid(xml);
  }
}

TEST_F(DispatchTest, NoBufferGivesMinusOne) {
  EXPECT_EQ(process_client_operation(nullptr, 0), -1);
  EXPECT_EQ(process_client_operation(nullptr, 512), -1);
  EXPECT_EQ(console.out(), "");
  EXPECT_TRUE(trim_is_untouched());
}

// ---- how codes are written --------------------------------------------------------------

TEST_F(DispatchTest, ACodeMayHaveBlanksBeforeAPlusAndAnythingBehind) {
  for (const char* text :
       {"1536", "  1536", "\r\n\t1536", "1536 ", "1536abc", "+1536", "0001536", "1536.9"}) {
    expect_clock_test(request(text));
  }
}

TEST_F(DispatchTest, ACodeThatIsNoDecimalNumberOrBeyondAllNumbersIsUnknown) {
  for (const char* text : {"", "abc", "--15", "- 15", "RTC", "１５３６", "0x600", "600h", "2147483647",
                           "-2147483648", "99999999999", "-99999999999", "999999999999999999999999999999"}) {
    expect_invalid(request(text));
  }
}

TEST_F(DispatchTest, ACodeMayBeEscapedOrCdata) {
  expect_clock_test(request("&#49;536"));
  expect_clock_test(request("<![CDATA[1536]]>"));
}

// ---- how requests are written -----------------------------------------------------------

TEST_F(DispatchTest, TheRootMayHaveAnyName) {
  expect_clock_test("<x><TestCode>1536</TestCode></x>");
  expect_clock_test("<TestCode><TestCode>1536</TestCode></TestCode>");
}

TEST_F(DispatchTest, ARequestMayHaveHeaderCommentsAttributesAndOtherElements) {
  expect_clock_test(
      "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>1536</TestCode>\r\n"
      "</TestItem>\r\n");
  expect_clock_test("<!-- station 7 --><TestItem><TestCode>1536</TestCode></TestItem>");
  expect_clock_test("<TestItem no=\"1\"><TestCode base=\"10\">1536</TestCode></TestItem>");
  expect_clock_test("<TestItem><Operator>7426</Operator><TestCode>1536</TestCode><a/></TestItem>");
}

TEST_F(DispatchTest, TheFirstCodeOfARequestCounts) {
  expect_clock_test("<TestItem><TestCode>1536</TestCode><TestCode>7426</TestCode></TestItem>");
}

TEST_F(DispatchTest, WhatFollowsTheRootIsIgnored) {
  expect_clock_test(request("1536") + request("7426"));
  expect_clock_test(request("1536") + "</TestItem> <<< rest of an earlier request");
}

TEST_F(DispatchTest, ARequestEndsAtItsFirstNul) {
  expect_clock_test(request("1536") + std::string("\0<broken", 8));
  expect_invalid(std::string("\0", 1) + request("1536"));
}

TEST_F(DispatchTest, TheReceivedLengthIsNotUsed) {
  for (const int length : {0, 1, 512, 100000, -1, -5, -2147483647 - 1}) {
    station.forget();
    EXPECT_EQ(dispatch(request("1536"), length), 0);
    EXPECT_EQ(station.reply().code, 1536) << length;
  }
}

// ---- buffers without an end -------------------------------------------------------------

/// Dispatches a buffer of 512 bytes; what stands behind it would close any element left open.
int dispatch_full(std::string text) {
  text.resize(kMaxRequest, ' ');
  text += "</TestCode></TestItem>";
  return process_client_operation(reinterpret_cast<unsigned char*>(text.data()), 0);
}

TEST_F(DispatchTest, ARequestMayFillItsBufferUpToTheLastByteWithoutANul) {
  const std::string xml = request("1536");
  for (const std::size_t blanks : {std::size_t{0}, kMaxRequest - xml.size()}) {
    station.forget();
    EXPECT_EQ(dispatch_full(std::string(blanks, ' ') + xml), 0);
    EXPECT_EQ(station.reply().code, 1536) << blanks;
  }
}

TEST_F(DispatchTest, WhatStandsBehindTheBufferIsNotParsed) {
  const std::string begun = "<TestItem><TestCode>1536";
  const auto ends_with = [](const std::string& text, std::size_t taken) {
    return std::string(kMaxRequest - taken, ' ') + text;
  };
  const auto full_of = [](std::string start, const std::string& rest) {
    while (start.size() < kMaxRequest) start += rest;
    return start.substr(0, kMaxRequest);
  };
  const std::string xml = request("1536");
  for (const std::string& text :
       {ends_with(begun, begun.size()), ends_with(xml, xml.size() - 1), full_of("", "<"), full_of("", "&"),
        full_of("", "<a>"), full_of("", "</a>"), full_of("<", "a"), full_of("<!", "["), full_of("<a ", "\""),
        full_of("<![CDATA[", "]"), full_of("<!--", "-")}) {
    console.clear();
    EXPECT_EQ(dispatch_full(text), 0);
    EXPECT_EQ(console.out(), "testCode is invalid\n") << text;
  }
}

}  // namespace
