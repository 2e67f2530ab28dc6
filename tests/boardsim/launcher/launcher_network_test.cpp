// The launcher's boards on the network: which address each has, and many side by side.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "boardsim/control/client.h"
#include "tests/boardsim/launcher/launcher.h"

namespace {

TEST_F(LauncherTest, AnAddressThatABoardHasIsNotGivenTwice) {
  Process first(launch({"--address", address(0)}, {"wait"}));
  ASSERT_TRUE(first.wait_for("waiting\n"));
  Process second(launch({"--address", address(0)}, {"exit", "0"}));
  EXPECT_EQ(second.wait(), 70);
  EXPECT_NE(second.err.find(address(0) + " is in use: another board has it now"), std::string::npos)
      << second.err;
}

sockaddr_in service_port(const std::string& address) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(36001);
  inet_pton(AF_INET, address.c_str(), &place.sin_addr);
  return place;
}

/// A socket, and what `call` (bind, connect) makes of it and the service port of an address.
template <typename Call>
std::pair<int, int> socket_at(const std::string& address, Call call) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in place = service_port(address);
  return {fd, call(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place)};
}

TEST_F(LauncherTest, APortThatIsStillClosingIsSaidWithTheTimeThatItTakes) {
  const auto [listener, bound] = socket_at(address(3), ::bind);
  ASSERT_EQ(bound, 0) << std::strerror(errno);
  ASSERT_EQ(listen(listener, 1), 0);
  const auto [station, connected] = socket_at(address(3), ::connect);
  ASSERT_EQ(connected, 0);
  Process served(launch({"--address", address(3)}, {"exit", "0"}));
  EXPECT_EQ(served.wait(), 70);
  EXPECT_NE(served.err.find("a program of this PC has port 36001 there"), std::string::npos) << served.err;
  close(accept(listener, nullptr, nullptr));
  close(listener);
  close(station);
  Process closing(launch({"--address", address(3)}, {"exit", "0"}));
  EXPECT_EQ(closing.wait(), 70);
  EXPECT_TRUE(
      std::regex_search(closing.err, std::regex("the address " + address(3) +
                                                " is in use: a program that has ended leaves port 36001 "
                                                "closing.*free in [1-6]?[0-9] s at most")))
      << closing.err;
}

std::string exchange(const std::string& address, const std::string& text) {
  const auto [fd, connected] = socket_at(address, ::connect);
  std::string answer(text.size(), '\0');
  if (connected != 0 || send(fd, text.data(), text.size(), 0) < 0 ||
      recv(fd, answer.data(), answer.size(), MSG_WAITALL) != static_cast<ssize_t>(text.size())) {
    answer = "failed";
  }
  close(fd);
  return answer;
}

TEST_F(LauncherTest, TwoBoardsRunSideBySideOnOnePortWithInterfacesOrWithout) {
  const std::pair<Words, Words> pairs[] = {
      {{"--address", address(1)}, {"--board", "loop", "--address", address(2)}},
      {{"--fault", "interface eth0 none"}, {"--fault", "interface eth0 none"}}};
  for (auto [first, second] : pairs) {
    first.insert(first.end(), {"--control", file("one")});
    second.insert(second.end(), {"--control", file("two")});
    Process one(launch(first, {"echo"}));
    ASSERT_TRUE(one.wait_for(":36001\n"));
    Process two(launch(second, {"echo"}));
    ASSERT_TRUE(two.wait_for(":36001\n"));
    for (const char* name : {"one", "two"}) boardsim::ControlClient(file(name)).settle();
    EXPECT_EQ(exchange(address_in(two.out), "to two"), "to two");
    EXPECT_EQ(exchange(address_in(one.out), "to one"), "to one");
    EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(two.wait(), 0);
  }
}

/// How a board is given its addresses, and where its program is to be found then.
struct Addresses {
  std::string name;
  Words options;
  int found_at;
};

TEST_F(LauncherTest, TheAnnouncedAddressIsTheOneThatTheProgramServes) {
  const Words none{"--fault", "interface eth0 none"};
  const std::vector<Addresses> boards{
      {"eth0", {}, 0},
      {"eth0 by option", {"--interface", "eth0=" + address(1)}, 1},
      {"eth0 by fault", {"--fault", "interface eth0 " + address(1)}, 1},
      {"wlan0", {"--interface", "eth0=none", "--interface", "wlan0=" + address(1)}, 1},
      {"wlan0 by faults", {none[0], none[1], "--fault", "interface wlan0 " + address(1)}, 1},
      {"no interface", none, 0},
  };
  for (const Addresses& board : boards) {
    Words options{"--address", address(0), "--control", file("control")};
    options.insert(options.end(), board.options.begin(), board.options.end());
    Process process(launch(options, {"echo"}));
    ASSERT_TRUE(process.wait_for(":36001\n")) << board.name;
    EXPECT_EQ(address_in(process.out), address(board.found_at)) << board.name;
    boardsim::ControlClient(file("control")).settle();
    EXPECT_EQ(exchange(address(board.found_at), "hello"), "hello") << board.name;
    EXPECT_EQ(process.wait(), 0) << board.name;
  }
}

}  // namespace
