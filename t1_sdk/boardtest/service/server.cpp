#include "t1_sdk/boardtest/service/server.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>

#include "t1_sdk/boardtest/platform/pins.h"
#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/protocol/transfer.h"
#include "t1_sdk/boardtest/service/dispatch.h"
#include "t1_sdk/boardtest/service/heartbeat.h"
#include "t1_sdk/boardtest/service/help_menu.h"
#include "t1_sdk/boardtest/service/local_address.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

int g_iTimeCount = 0;

namespace {

constexpr std::uint16_t kPort = 36001;
constexpr int kBacklog = 128;
constexpr int kIdleLimit = 18;  // empty waits of 100 seconds: half an hour
constexpr int kWaitAgain = -2;  // of recv_client_operation
constexpr int kCloseStation = -1;

/// Binds the listening socket to the board's address. False when that fails.
bool bind_board_address(int listener) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kPort);
  address.sin_addr.s_addr = get_local_ipaddr();
  return bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// Serves the requests of the connected station until the connection is to be closed.
void serve_requests(unsigned char* buffer) {
  for (;;) {
    const int length = recv_client_operation(buffer);
    if (length == kCloseStation) {
      std::printf("send error,errno=%d\n", errno);
      return;
    }
    if (length == kWaitAgain) continue;
    if (process_client_operation(buffer, length) == kQuitRequested) {
      sleep(1);
      return;
    }
  }
}

/// Greets the station in g_iSockClient and serves it to its end. False when the greeting fails.
bool serve_station(unsigned char* buffer) {
  if (send_start_info(&g_iSockClient) != 0) return false;
  gpio_pin_cfg();
  Heartbeat heartbeat;
  std::puts(heartbeat.start() ? "HeartBeatThread started" : "can't create thread ThreadUpnpProcess");
  serve_requests(buffer);
  shutdown(g_iSockClient, SHUT_RDWR);  // a prompt that the station does not read must not hold up its end
  heartbeat.stop();
  close(g_iSockClient);
  return true;
}

}  // namespace

int boardtest::run_server() {
  std::signal(SIGPIPE, SIG_IGN);  // a station that vanishes makes a send fail and nothing else
  std::puts("T1 started!");
  Descriptor listener(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  if (listener.get() < 0) {
    std::puts("create socket error!");
    return -1;
  }
  if (!bind_board_address(listener.get())) {
    std::puts("bind socket failed!");
    return -1;
  }
  unsigned char buffer[kMaxRequest + 1] = {};  // never cleared again; the last byte stays 0
  for (;;) {
    if (listen(listener.get(), kBacklog) != 0) {
      std::puts("enter listen state failed!");
      return -1;
    }
    g_iSockClient = accept(listener.get(), nullptr, nullptr);
    if (g_iSockClient < 0) {
      std::puts("accept client failed!");
      return -1;
    }
    if (!serve_station(buffer)) {
      std::puts("send_start_info failed!");
      listener.leave_open("the process ends here, and nothing is closed before");
      return -1;
    }
  }
}

int send_start_info(int* pSock) {
  if (pSock == nullptr) return -1;
  static constexpr char kStars[] = "**************************************************\n";
  static constexpr char kTitle[] = "*           VELTRONIX IPC 外设测试程序           *\n";
  static_assert(sizeof kStars == 52);
  char build[64];
  std::snprintf(build, sizeof build, "BUILD: %s-%s\n", __DATE__, __TIME__);

  XmlDocument banner;
  start_service_message(banner, 4);
  for (const char* line : {kStars, kTitle, kStars, static_cast<const char*>(build)}) {
    banner.AddChildElem("TestContext", line);
  }
  if (tcp_send_xml_msg(&banner) != 0) return -1;
  return send_help_info(g_iSockClient);
}

int recv_client_operation(unsigned char* pcRecvBuf) {
  if (pcRecvBuf == nullptr || g_iSockClient == -1) return kCloseStation;
  std::int32_t length = 0;
  const int received = tcp_readn(g_iSockClient, &length, sizeof length);
  if (received == -1 || length > kMaxRequest) {
    std::printf("send error,errno=%d\n", errno);
    return kCloseStation;
  }
  if (received == 0) {
    std::printf("tcp_readn time_out,goto loop! count =%d...\n", g_iTimeCount);
    if (++g_iTimeCount < kIdleLimit) return kWaitAgain;
    std::puts("T1 exit cause' there is no operation over half an hour!");
    return kCloseStation;
  }
  // From here on a time-out or a close in the middle goes unnoticed: the buffer is taken as it is.
  if (tcp_readn(g_iSockClient, pcRecvBuf, length) == -1) return kCloseStation;
  std::printf("RECV COMMANDS:\n%.*s\n", kMaxRequest, reinterpret_cast<const char*>(pcRecvBuf));
  return length;
}
