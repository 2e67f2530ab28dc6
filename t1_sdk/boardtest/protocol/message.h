// Messages to the station: one XML document in one length-prefixed record.
#pragma once

#include <cstddef>
#include <cstdint>

#include "t1_sdk/xmldocument/xml_document.h"

/// The record on the wire: the length of the text, little-endian as the board is, then the text
/// without a terminator. Only iMsgLen bytes of the field are sent.
struct T1_MSG_STRU {
  std::int32_t iMsgLen;
  char acXmlContent[2048];
};
static_assert(offsetof(T1_MSG_STRU, acXmlContent) == 4 && sizeof(T1_MSG_STRU) == 2052);

namespace boardtest {

/// What every document starts with.
inline constexpr char kXmlHeader[] = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";

}  // namespace boardtest

/// The connected station's socket, -1 before the first one.
extern int g_iSockClient;
/// The reply of the test that is running.
extern XmlDocument msg;

/// Sends a document as one record on g_iSockClient, and leaves it as it is. Records of several threads never
/// mix: a send waits for another thread's to end. 0, or -1 for a null document, without a station, for a
/// document of 2048 bytes or more, and when the transfer fails. After a transfer that broke off inside a
/// record, nothing more can be sent on that connection.
int tcp_send_xml_msg(XmlDocument* pstXmlMsg);

/// Starts a reply: TestItem with TestCode and TestName, and in Result/ResultItem the Name; children
/// added next stand in ResultItem. Nothing happens for a null document.
void t1_sdk_initial_t1Msg(XmlDocument* stT1Msg, unsigned int testCode, char* testName);
/// The same for a name that nobody may change.
void t1_sdk_initial_t1Msg(XmlDocument* stT1Msg, unsigned int testCode, const char* testName);

namespace boardtest {

/// Starts a message of the service itself (banner, menu, heartbeat): TestItem with TestCode 255 and
/// ResultNum; TestContext children are added next.
void start_service_message(XmlDocument& document, int resultNum);

}  // namespace boardtest
