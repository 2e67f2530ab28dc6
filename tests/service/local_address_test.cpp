// Which address the server binds.
#include "t1_sdk/boardtest/service/local_address.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <array>
#include <string>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using namespace boardtest;
using ::testing::ElementsAre;

class LocalAddressTest : public OnBoard {
 protected:
  LocalAddressTest() { board.set_interface("wlan0", ""); }
  void TearDown() override {
    EXPECT_EQ(open_descriptors(), open_before_) << "a socket was left open";
    OnBoard::TearDown();
  }

  int ask(std::string name, char* destination, int length) {
    return get_local_ipaddr_by_interface(name.data(), destination, length);
  }
  int ask(const std::string& name) { return ask(name, ip.data(), 16); }

  std::array<char, 64> ip = {};
  Console console;

 private:
  static int open_descriptors() {
    int open = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) open += fcntl(descriptor, F_GETFD) != -1;
    return open;
  }

  int open_before_ = open_descriptors();
};

std::string dotted(in_addr_t address) {
  return inet_ntoa(in_addr{address});
}

// ---- choosing ---------------------------------------------------------------------------

TEST_F(LocalAddressTest, TheAddressOfEth0IsBound) {
  board.set_interface("eth0", "127.9.8.7");
  board.set_interface("wlan0", "127.1.1.1");
  EXPECT_EQ(get_local_ipaddr(), htonl(0x7f090807)) << "in network byte order";
  EXPECT_EQ(console.out(), "");
}

TEST_F(LocalAddressTest, ABoardWithoutEth0IsReachedOverWlan0) {
  board.set_interface("eth0", "");
  board.set_interface("wlan0", "127.1.1.1");
  EXPECT_EQ(dotted(get_local_ipaddr()), "127.1.1.1");
  EXPECT_THAT(console.lines(),
              ElementsAre("boardtest:64 get_local_ipaddr_by_interface:get interface address failed..."));
}

TEST_F(LocalAddressTest, TheFallbackAddressIsComparedOverTenCharacters) {
  EXPECT_STREQ(kFallbackAddress, "198.51.100.64");
  EXPECT_EQ(kFallbackCompared, 10);
  board.set_interface("wlan0", "127.1.1.1");
  // Its neighbours begin with the same ten characters.
  for (const char* neighbour : {"198.51.100.64", "198.51.100.7", "198.51.100.65", "198.51.100.255"}) {
    board.set_interface("eth0", neighbour);
    EXPECT_EQ(dotted(get_local_ipaddr()), "127.1.1.1") << neighbour;
  }
  // One that differs within the ten characters is an address like any other.
  for (const char* other : {"198.51.10.7", "198.51.10.64", "198.51.101.64", "198.52.100.64"}) {
    board.set_interface("eth0", other);
    EXPECT_EQ(dotted(get_local_ipaddr()), other);
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(LocalAddressTest, TheFallbackAddressOnWlan0IsTakenAsItIs) {
  board.set_interface("eth0", "");
  board.set_interface("wlan0", "198.51.100.64");
  EXPECT_EQ(dotted(get_local_ipaddr()), "198.51.100.64");
}

TEST_F(LocalAddressTest, ABoardWithoutAnyAddressBindsToAll) {
  board.set_interface("eth0", "");
  EXPECT_EQ(get_local_ipaddr(), 0U);
  EXPECT_THAT(console.lines(),
              ElementsAre("boardtest:64 get_local_ipaddr_by_interface:get interface address failed...",
                          "boardtest:64 get_local_ipaddr_by_interface:get interface address failed...",
                          "boardtest:34 get_local_ipaddr:get interface address failed..."));
}

TEST_F(LocalAddressTest, AnUnconfiguredBoardWithoutWlan0BindsToAll) {
  board.set_interface("eth0", "198.51.100.64");
  EXPECT_EQ(get_local_ipaddr(), 0U);
  EXPECT_THAT(console.lines(),
              ElementsAre("boardtest:64 get_local_ipaddr_by_interface:get interface address failed...",
                          "boardtest:34 get_local_ipaddr:get interface address failed..."));
}

TEST_F(LocalAddressTest, AnAddressThatCannotBeConvertedBindsToAll) {
  board.set_interface("eth0", "255.255.255.255");
  EXPECT_EQ(get_local_ipaddr(), 0U);
  EXPECT_THAT(console.lines(), ElementsAre("boardtest:40 get_local_ipaddr:convert address failed..."));
}

// ---- asking one interface ---------------------------------------------------------------

TEST_F(LocalAddressTest, AnInterfaceGivesItsDottedAddress) {
  board.set_interface("eth0", "127.100.100.100");
  EXPECT_EQ(ask("eth0"), DIAG_RET_SUCCESS);
  EXPECT_EQ((std::array<int, 3>{DIAG_RET_SUCCESS, DIAG_RET_FAILED, DIAG_RET_BUTT}), (std::array{0, 1, 2}));
  EXPECT_STREQ(ip.data(), "127.100.100.100") << "the longest address fills the 16 bytes";
  EXPECT_EQ(console.out(), "");
}

TEST_F(LocalAddressTest, NoNameNoBufferOrTooSmallABufferIsAParameterError) {
  const auto parameter_error = "boardtest:48 get_local_ipaddr_by_interface:parameter error...";
  EXPECT_EQ(get_local_ipaddr_by_interface(nullptr, ip.data(), 16), 1);
  EXPECT_EQ(ask("eth0", nullptr, 16), 1);
  for (const int length : {15, 0, -1}) EXPECT_EQ(ask("eth0", ip.data(), length), 1) << length;
  EXPECT_THAT(console.lines(), ElementsAre(parameter_error, parameter_error, parameter_error, parameter_error,
                                           parameter_error));
  EXPECT_EQ(calls("socket"), 0U);
}

TEST_F(LocalAddressTest, ASocketThatCannotBeOpenedIsSaid) {
  board.fault("socket #1 EMFILE");
  EXPECT_EQ(ask("eth0"), 1);
  EXPECT_THAT(console.lines(),
              ElementsAre("boardtest:53 get_local_ipaddr_by_interface:create socket failed..."));
}

TEST_F(LocalAddressTest, ANameOf17CharactersIsRefusedInTheWordsOfAnotherFunction) {
  EXPECT_EQ(ask("abcdefghijklmnopq"), 1);
  EXPECT_THAT(console.lines(), ElementsAre("boardtest:58 diag_recv_tcpdump_from_client string too bigger!"));
}

TEST_F(LocalAddressTest, ANameOf16CharactersIsAskedFor) {
  EXPECT_EQ(ask("abcdefghijklmnop"), 1);
  EXPECT_THAT(console.lines(),
              ElementsAre("boardtest:64 get_local_ipaddr_by_interface:get interface address failed..."));
}

}  // namespace
