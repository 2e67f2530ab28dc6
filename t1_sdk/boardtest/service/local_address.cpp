#include "t1_sdk/boardtest/service/local_address.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr char kFileName[] = "boardtest";  // what "%s:%d" lines call this source
constexpr std::size_t kNameLimit = 16;     // longest interface name
constexpr int kDottedSize = 16;            // "255.255.255.255" and its terminator

/// What a failure says on the console. The line number has become part of the text: it stays as it is.
struct Failure {
  int line;
  const char* text;
};
constexpr Failure kNoAddress{34, "get_local_ipaddr:get interface address failed..."};
constexpr Failure kBadAddress{40, "get_local_ipaddr:convert address failed..."};
constexpr Failure kBadParameter{48, "get_local_ipaddr_by_interface:parameter error..."};
constexpr Failure kNoSocket{53, "get_local_ipaddr_by_interface:create socket failed..."};
constexpr Failure kLongName{58, "diag_recv_tcpdump_from_client string too bigger!"};
constexpr Failure kNoInterfaceAddress{64, "get_local_ipaddr_by_interface:get interface address failed..."};

void print(const Failure& failure) {
  std::printf("%s:%d %s\n", kFileName, failure.line, failure.text);
}

/// The result of a failed question to an interface.
int fail(const Failure& failure) {
  print(failure);
  return DIAG_RET_FAILED;
}

}  // namespace

in_addr_t get_local_ipaddr() {
  char wired[] = "eth0";
  char wireless[] = "wlan0";
  char ip[kDottedSize] = {};
  if (get_local_ipaddr_by_interface(wired, ip, sizeof ip) != DIAG_RET_SUCCESS ||
      std::strncmp(ip, kFallbackAddress, kFallbackCompared) == 0) {
    if (get_local_ipaddr_by_interface(wireless, ip, sizeof ip) != DIAG_RET_SUCCESS) {
      print(kNoAddress);
      return INADDR_ANY;
    }
  }
  const in_addr_t address = inet_addr(ip);
  if (address == INADDR_NONE) {
    print(kBadAddress);
    return INADDR_ANY;
  }
  return address;
}

int get_local_ipaddr_by_interface(char* interface_name, char* ip, int len) {
  if (interface_name == nullptr || ip == nullptr || len < kDottedSize) return fail(kBadParameter);
  const Descriptor probe(socket(AF_INET, SOCK_STREAM, 0));
  if (probe.get() < 0) return fail(kNoSocket);
  const std::size_t length = std::strlen(interface_name);
  if (length > kNameLimit) return fail(kLongName);
  ifreq request{};
  std::memcpy(request.ifr_name, interface_name, std::min(length, sizeof request.ifr_name));
  if (ioctl(probe.get(), SIOCGIFADDR, &request) < 0) return fail(kNoInterfaceAddress);
  sockaddr_in address{};
  std::memcpy(&address, &request.ifr_addr, sizeof address);
  char dotted[kDottedSize] = {};
  inet_ntop(AF_INET, &address.sin_addr, dotted, sizeof dotted);
  std::snprintf(ip, static_cast<std::size_t>(len), "%s", dotted);
  return DIAG_RET_SUCCESS;
}
