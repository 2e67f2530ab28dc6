#include "t1_sdk/boardtest/platform/app_channel.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

CMD_SERVER_TEST test_item;

namespace {

constexpr std::uint16_t kApplicationPort = 7001;

bool connect_application(int socket) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kApplicationPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

void enableAPPCMD(int toolCmd, unsigned int val) {
  const Descriptor application(socket(AF_INET, SOCK_STREAM, 0));
  if (application.get() < 0 || !connect_application(application.get())) {
    std::printf("connect failre errno=%d", errno);
    return;
  }
  const TOOL_HEADER command{htonl(sizeof command), htonl(static_cast<std::uint32_t>(toolCmd)), htonl(val)};
  if (send(application.get(), &command, sizeof command, 0) != ssize_t{sizeof command}) return;
  for (;;) {
    char reply[4096] = {};
    if (recv(application.get(), reply, sizeof reply, 0) < 1) return;
    std::memcpy(&test_item, reply, sizeof test_item);
    std::printf("MAtest:CMD:%d, maHeart:%d, maStartOK:0x%x\n", test_item.cmd,
                static_cast<int>(test_item.test_data[0]), test_item.test_data[1]);
  }
}
