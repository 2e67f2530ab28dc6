#include "t1_sdk/boardtest/protocol/message.h"

#include <sys/socket.h>
#include <cstring>
#include <mutex>

#include "t1_sdk/boardtest/protocol/transfer.h"

using namespace boardtest;

// Builds for analysis keep UTF-8 texts, since Clang knows no GBK; they do not ship.
#if defined(__GNUC__) && !defined(__clang__)
static_assert(sizeof("测试") == 5 && static_cast<unsigned char>("测试"[0]) == 0xB2,
              "the station reads GBK: compile with -fexec-charset=GBK");
#endif
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the length on the wire is the board's own, little-endian");

int g_iSockClient = -1;
XmlDocument msg;

namespace {

/// Held while a record goes out, so that the heartbeat and a test's reply never mix their bytes.
std::mutex g_send_lock;

}  // namespace

int tcp_send_xml_msg(XmlDocument* pstXmlMsg) {
  if (pstXmlMsg == nullptr || g_iSockClient == -1) return -1;
  const std::string& text = pstXmlMsg->DocText();
  T1_MSG_STRU record;
  if (text.size() >= sizeof record.acXmlContent) return -1;
  record.iMsgLen = static_cast<std::int32_t>(text.size());
  std::memcpy(record.acXmlContent, text.data(), text.size());

  const std::lock_guard<std::mutex> lock(g_send_lock);
  int sent = 0;
  if (tcp_writen(g_iSockClient, &record, record.iMsgLen + static_cast<int>(sizeof record.iMsgLen), sent) ==
      -1) {
    // Whatever came next, the station would read it as the rest of this record.
    if (sent > 0) shutdown(g_iSockClient, SHUT_WR);
    return -1;
  }
  return 0;
}

void t1_sdk_initial_t1Msg(XmlDocument* stT1Msg, unsigned int testCode, char* testName) {
  t1_sdk_initial_t1Msg(stT1Msg, testCode, static_cast<const char*>(testName));
}

void t1_sdk_initial_t1Msg(XmlDocument* stT1Msg, unsigned int testCode, const char* testName) {
  if (stT1Msg == nullptr) return;
  stT1Msg->SetDoc(kXmlHeader);
  stT1Msg->AddElem("TestItem");
  stT1Msg->AddChildElem("TestCode", static_cast<int>(testCode));
  stT1Msg->AddChildElem("TestName", testName);
  stT1Msg->AddChildElem("Result");
  stT1Msg->IntoElem();
  stT1Msg->AddChildElem("ResultItem");
  stT1Msg->IntoElem();
  stT1Msg->AddChildElem("Name", "测试结果");
}

void boardtest::start_service_message(XmlDocument& document, int resultNum) {
  document.SetDoc(kXmlHeader);
  document.AddElem("TestItem");
  document.AddChildElem("TestCode", 255);
  document.AddChildElem("ResultNum", resultNum);
}
