// Records and documents on their way to the station.
#include "t1_sdk/boardtest/protocol/message.h"

#include <gtest/gtest.h>
#include <csignal>
#include <cstddef>
#include <string>
#include <thread>

#include "tests/harness/gbk.h"
#include "tests/harness/station_run.h"

namespace {

class MessageTest : public StationRun {
 protected:
  MessageTest() { msg.SetDoc(nullptr); }

  static void start(unsigned code, std::string name) { t1_sdk_initial_t1Msg(&msg, code, name.data()); }
};

/// A document of exactly that many bytes.
std::string document_of(std::size_t size) {
  const std::string frame = "<a></a>";
  return "<a>" + std::string(size - frame.size(), 'x') + "</a>";
}

// A reply of the clock test, name and description in ASCII: 4 bytes of length, 241 of text.
constexpr char kClockReply[] =
    "f10000003c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e"
    "0d0a3c546573744974656d3e0d0a3c54657374436f64653e313533363c2f54657374436f64653e0d"
    "0a3c546573744e616d653e5254433c2f546573744e616d653e0d0a3c526573756c743e0d0a3c5265"
    "73756c744974656d3e0d0a3c4e616d653eb2e2cad4bde1b9fb3c2f4e616d653e0d0a3c56616c7565"
    "3e506173733c2f56616c75653e0d0a3c4465736372697074696f6e3e6f6b3c2f4465736372697074"
    "696f6e3e0d0a3c2f526573756c744974656d3e0d0a3c2f526573756c743e0d0a3c2f546573744974"
    "656d3e0d0a";

// ---- records ----------------------------------------------------------------------------

TEST(RecordTest, ASignedLengthAndTheTextStandSideBySide) {
  EXPECT_LT((T1_MSG_STRU{.iMsgLen = -1, .acXmlContent = {}}).iMsgLen, 0);
  EXPECT_EQ(offsetof(T1_MSG_STRU, iMsgLen), 0U);
  EXPECT_EQ(sizeof(T1_MSG_STRU::iMsgLen), 4U);
  EXPECT_EQ(offsetof(T1_MSG_STRU, acXmlContent), 4U);
  EXPECT_EQ(sizeof(T1_MSG_STRU::acXmlContent), 2048U);
  EXPECT_EQ(sizeof(T1_MSG_STRU), 2052U);
}

TEST(RecordTest, ThereIsNoStationBeforeTheFirstOne) {
  EXPECT_EQ(g_iSockClient, -1);
}

// ---- sending ----------------------------------------------------------------------------

TEST_F(MessageTest, AReplyOfTheClockTestHasTheseBytes) {
  start(1536, "RTC");
  msg.AddChildElem("Value", "Pass");
  msg.AddChildElem("Description", "ok");
  EXPECT_EQ(tcp_send_xml_msg(&msg), 0);
  EXPECT_EQ(hex(station.bytes()), kClockReply);
}

TEST_F(MessageTest, ARecordIsTheLengthLittleEndianThenTheTextWithoutTerminator) {
  XmlDocument document;
  document.SetDoc(document_of(300).c_str());
  EXPECT_EQ(tcp_send_xml_msg(&document), 0);
  EXPECT_EQ(station.bytes(), std::string("\x2c\x01\x00\x00", 4) + document_of(300));
}

TEST_F(MessageTest, ADocumentStaysAsItIsAndCanBeSentAgain) {
  start(1536, "RTC");
  const std::string before = msg.GetDoc();
  EXPECT_EQ(tcp_send_xml_msg(&msg), 0);
  EXPECT_EQ(tcp_send_xml_msg(&msg), 0);
  EXPECT_EQ(msg.GetDoc(), before);
  EXPECT_EQ(station.records(), (std::vector<std::string>{before, before}));
}

TEST_F(MessageTest, AnEmptyDocumentIsARecordOfLengthZero) {
  XmlDocument document;
  EXPECT_EQ(tcp_send_xml_msg(&document), 0);
  EXPECT_EQ(station.bytes(), length_field(0));
}

TEST_F(MessageTest, ADocumentOf2048BytesOrMoreIsRefusedWhole) {
  XmlDocument document;
  for (const std::size_t size : {2048U, 2049U, 2052U, 5000U, 1000000U}) {
    document.SetDoc(document_of(size).c_str());
    EXPECT_EQ(tcp_send_xml_msg(&document), -1) << size;
  }
  EXPECT_EQ(station.bytes(), "");
  EXPECT_EQ(calls("send"), 0U);

  document.SetDoc(document_of(2047).c_str());
  EXPECT_EQ(tcp_send_xml_msg(&document), 0) << "the next document goes out";
  EXPECT_EQ(station.records(), std::vector<std::string>{document_of(2047)});
}

TEST_F(MessageTest, WithoutADocumentOrAStationNothingTouchesTheNetwork) {
  EXPECT_EQ(tcp_send_xml_msg(nullptr), -1);
  start(1536, "RTC");
  g_iSockClient = -1;
  EXPECT_EQ(tcp_send_xml_msg(&msg), -1);
  EXPECT_EQ(calls("select") + calls("send"), 0U);
}

TEST_F(MessageTest, AFailedSendLeavesTheDocumentAndPrintsNothing) {
  board.fault("send #1 EPIPE");
  start(1536, "RTC");
  const std::string before = msg.GetDoc();
  EXPECT_EQ(tcp_send_xml_msg(&msg), -1);
  EXPECT_EQ(msg.GetDoc(), before);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(calls("send"), 1U) << "it is not tried again";
}

TEST_F(MessageTest, NothingFollowsARecordThatBrokeOff) {
  std::signal(SIGPIPE, SIG_IGN);  // as the server does
  board.fault("send #1 short 10");
  board.fault("send #2 EIO");
  start(1536, "RTC");
  EXPECT_EQ(tcp_send_xml_msg(&msg), -1);
  EXPECT_EQ(tcp_send_xml_msg(&msg), -1);
  EXPECT_EQ(station.bytes().size(), 10U) << "the station would take what follows for the rest of the record";
}

TEST_F(MessageTest, RecordsOfTwoThreadsNeverMixEvenWhenEverySendIsShort) {
  constexpr int kRecords = 100;
  board.fault("send #1+ short 7");
  const auto send_many = [](const char* text) {
    XmlDocument document;
    document.SetDoc(text);
    for (int i = 0; i < kRecords; ++i) EXPECT_EQ(tcp_send_xml_msg(&document), 0);
  };
  std::thread other(send_many, "<other><a>aaaaaaaaaaaaaaaaaaaaaaaa</a></other>");
  send_many("<main><b>bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb</b></main>");
  other.join();
  const std::vector<std::string> records = station.records();
  EXPECT_EQ(records.size(), 2U * kRecords);
  for (const std::string& record : records) {
    EXPECT_TRUE(record == "<other><a>aaaaaaaaaaaaaaaaaaaaaaaa</a></other>" ||
                record == "<main><b>bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb</b></main>")
        << record;
  }
}

// ---- starting a reply -------------------------------------------------------------------

TEST_F(MessageTest, StartingAReplyDiscardsTheLastOne) {
  start(1536, "RTC");
  const std::string first = msg.GetDoc();
  msg.AddChildElem("Value", "Fail");
  start(1536, "RTC");
  EXPECT_EQ(msg.GetDoc(), first);
  EXPECT_EQ(station.bytes(), "") << "nothing is sent yet";
}

TEST_F(MessageTest, AReplyWithoutADocumentIsNotStarted) {
  start(1536, "RTC");
  const std::string before = msg.GetDoc();
  std::string name = "RTC";
  t1_sdk_initial_t1Msg(nullptr, 1536, name.data());
  EXPECT_EQ(msg.GetDoc(), before);
}

}  // namespace
