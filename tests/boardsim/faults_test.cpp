// Faults that hit system calls.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Lines = std::vector<std::string>;

class FaultsTest : public testing::Test {
 protected:
  FaultsTest() { socketpair(AF_UNIX, SOCK_STREAM, 0, wire); }
  ~FaultsTest() override {
    close(wire[0]);
    close(wire[1]);
  }
  bool opens(const char* node) {
    const int fd = open(node, O_RDWR);
    const int error = errno;
    if (fd >= 0) close(fd);
    errno = error;
    return fd >= 0;
  }

  Board board;
  int wire[2] = {-1, -1};
};

TEST_F(FaultsTest, ANodeThatCannotBeOpenedGivesNoDeviceUntilFurtherNotice) {
  board.fault("open /dev/rtc");
  EXPECT_FALSE(opens("/dev/rtc"));
  EXPECT_EQ(errno, ENODEV);
  EXPECT_FALSE(opens("/dev/rtc")) << "without a count it lasts";
  EXPECT_TRUE(opens("/dev/led")) << "another node is healthy";
}

TEST_F(FaultsTest, ACountedFaultHitsOneCallFromTheMomentItIsLaidAndWithAPlusAllBehindIt) {
  EXPECT_TRUE(opens("/dev/rtc"));
  board.fault("open /dev/rtc #2 EBUSY");
  board.fault("open /dev/rtc #4+");
  EXPECT_TRUE(opens("/dev/rtc"));
  EXPECT_FALSE(opens("/dev/rtc"));
  EXPECT_EQ(errno, EBUSY);
  EXPECT_TRUE(opens("/dev/rtc"));
  EXPECT_FALSE(opens("/dev/rtc"));
  EXPECT_FALSE(opens("/dev/rtc"));
}

TEST_F(FaultsTest, OneRequestOfANodeCanFailOrEvery) {
  const int fd = open("/dev/fpga", O_RDWR);
  std::uint32_t record[2] = {1, 2};
  board.fault("ioctl /dev/fpga 0x40044603 #2 EINVAL");
  EXPECT_EQ(ioctl(fd, 0x40044603U, record), 0);
  EXPECT_EQ(ioctl(fd, 0x80044602U, record), 0) << "another request is not counted";
  EXPECT_EQ(ioctl(fd, 0x40044603U, record), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(ioctl(fd, 0x40044603U, record), 0);
  board.fault("ioctl /dev/fpga");
  EXPECT_EQ(ioctl(fd, 0x80044602U, record), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(board.hardware_trace().back(), "ioctl /dev/fpga 0x80044602 {1, 2} = -1 EIO");
  close(fd);
}

TEST_F(FaultsTest, ARequestCanReturnANumberWithoutDoingItsWork) {
  const int fd = open("/dev/fpga", O_RDWR);
  std::uint32_t record[2] = {1, 2};
  board.fault("ioctl /dev/fpga 0x40044603 #2 result 5");
  EXPECT_EQ(ioctl(fd, 0x40044603U, record), 0);
  record[1] = 3;
  errno = ERANGE;
  EXPECT_EQ(ioctl(fd, 0x40044603U, record), 5);
  EXPECT_EQ(errno, ERANGE) << "left as it was";
  EXPECT_EQ(board->fpga.reg(1), 2U);
  EXPECT_EQ(board.hardware_trace().back(), "ioctl /dev/fpga 0x40044603 {1, 3} = 5");
  EXPECT_EQ(ioctl(fd, 0x40044603U, record), 0);
  EXPECT_EQ(board->fpga.reg(1), 3U);
  close(fd);
}

TEST_F(FaultsTest, ARequestThatADeviceDoesNotKnowCanBeAnswered) {
  const int fd = open("/dev/led", O_RDWR);
  board.fault("ioctl /dev/led 0x541d #1 result 0");
  board.fault("ioctl /dev/led 0x541d #2 EPERM");
  EXPECT_EQ(ioctl(fd, 0x541DU, nullptr), 0);
  EXPECT_EQ(ioctl(fd, 0x541DU, nullptr), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(board.violations(), Lines{});
  close(fd);
}

TEST_F(FaultsTest, OtherCallsThatReturnANumberCanReturnAnyToo) {
  struct stat status {};
  board.fault("lseek /dev/led result 7");
  board.fault("write /dev/led result 3");
  board.fault("access /dev/led result 1");
  board.fault("stat /dev/led result 2");
  const int fd = open("/dev/led", O_RDWR);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 7);
  EXPECT_EQ(write(fd, "abc", 3), 3);
  EXPECT_EQ(access("/dev/led", F_OK), 1);
  EXPECT_EQ(stat("/dev/led", &status), 2);
  EXPECT_EQ(fstat(fd, &status), 2);
  close(fd);
}

TEST_F(FaultsTest, EveryCallOnANodeCanFailAndAReadFallShort) {
  struct stat status {};
  board.fault("stat /proc/debug/temp1 EACCES");
  board.fault("access /dev/rtc");
  board.fault("lseek /dev/rtc ESPIPE");
  EXPECT_EQ(stat("/proc/debug/temp1", &status), -1);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(access("/dev/rtc", F_OK), -1);
  EXPECT_EQ(errno, EIO);
  const int fd = open("/dev/rtc", O_RDONLY);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), -1);
  EXPECT_EQ(errno, ESPIPE);
  board.fault("close /dev/rtc EIO");
  EXPECT_EQ(close(fd), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(board.open_nodes(), Lines{}) << "closed all the same";
  const int sensor = open("/proc/debug/temp1", O_RDONLY);
  char text[16];
  board.fault("read /proc/debug/temp1 #1");
  board.fault("read /proc/debug/temp1 #2 short 2");
  EXPECT_EQ(read(sensor, text, sizeof text), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(read(sensor, text, sizeof text), 2);
  EXPECT_EQ(read(sensor, text, sizeof text), 4);
  close(sensor);
}

TEST_F(FaultsTest, NetworkCallsCanFail) {
  board.fault("socket #1 EMFILE");
  EXPECT_EQ(socket(AF_INET, SOCK_STREAM, 0), -1);
  EXPECT_EQ(errno, EMFILE);
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(fd, 0);
  board.fault("bind #1 EADDRINUSE");
  board.fault("listen");
  board.fault("accept ECONNABORTED");
  board.fault("connect ECONNREFUSED");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const auto* place = reinterpret_cast<const sockaddr*>(&address);
  EXPECT_EQ(bind(fd, place, sizeof address), -1);
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(listen(fd, 1), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(accept(fd, nullptr, nullptr), -1);
  EXPECT_EQ(errno, ECONNABORTED);
  EXPECT_EQ(connect(fd, place, sizeof address), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  close(fd);
}

TEST_F(FaultsTest, TransfersCanFailAndFallShort) {
  board.fault("send #1 short 2");
  EXPECT_EQ(send(wire[1], "hello", 5, 0), 2);
  EXPECT_EQ(send(wire[1], "llo", 3, 0), 3);
  board.fault("recv #1 EINTR");
  board.fault("recv #2 short 1");
  char text[8] = "";
  EXPECT_EQ(recv(wire[0], text, sizeof text, 0), -1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(recv(wire[0], text, sizeof text, 0), 1);
  EXPECT_EQ(recv(wire[0], text, sizeof text, 0), 4);
  EXPECT_EQ(std::string(text, 4), "ello");
}

TEST_F(FaultsTest, ASelectAndAThreadCanFail) {
  board.fault("select #1 EBADF");
  board.fault("thread #1 EAGAIN");
  timeval timeout{1, 0};
  EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &timeout), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_EQ(select(0, nullptr, nullptr, nullptr, &timeout), 0);
  pthread_t thread{};
  const auto body = [](void*) -> void* { return nullptr; };
  EXPECT_EQ(pthread_create(&thread, nullptr, body, nullptr), EAGAIN);
  ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
  EXPECT_EQ(pthread_join(thread, nullptr), 0);
}

std::string interface_address(const char* name) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  ifreq request{};
  std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
  const int result = ioctl(fd, SIOCGIFADDR, &request);
  close(fd);
  if (result != 0) return std::strerror(errno);
  sockaddr_in address{};
  std::memcpy(&address, &request.ifr_addr, sizeof address);
  return inet_ntoa(address.sin_addr);
}

TEST_F(FaultsTest, AnInterfaceHasTheAddressThatItIsGiven) {
  EXPECT_EQ(interface_address("eth0"), "127.0.0.1");
  EXPECT_EQ(interface_address("wlan0"), "No such device");
  board.set_interface("wlan0", "127.9.8.7");
  EXPECT_EQ(interface_address("wlan0"), "127.9.8.7");
  board.fault("interface eth0 none");
  EXPECT_EQ(interface_address("eth0"), "No such device");
  board.fault("interface eth0 192.0.2.1");
  EXPECT_EQ(interface_address("eth0"), "192.0.2.1");
  board.clear_faults();
  EXPECT_EQ(interface_address("eth0"), "127.0.0.1");
  EXPECT_THROW(board.set_interface("eth0", "::1"), std::invalid_argument);
  EXPECT_THROW(board.set_interface("eth0", "127.0.0.256"), std::invalid_argument);
}

// No fault has a comma in it.
constexpr std::string_view kRefused =
    "open, open rtc, open /dev/rtc #0, open /dev/rtc #x, open /dev/rtc EWHATEVER, open /dev/rtc result 5, "
    "recv short, recv short many, recv result 5, send EIO twice, ioctl /dev/rtc 0xZZ, ioctl /dev/rtc short "
    "1, "
    "ioctl /dev/rtc result, ioctl /dev/rtc result -1, ioctl /dev/rtc result 0x80000000, mount /dev/msb1, "
    "mount short 1, unlink result 0, interface eth0, interface eth0 127.0.0, interface eth0 eth1, "
    "gpio, gpio 26 stuck, gpio 26 stuck up, gpio 256 stuck high, gpio x stuck high, gpio 26 stuck high now, "
    "fpga 1 stuck two, fpga 1 stuck 0x100000000, fpga -1 stuck 2, rtc fast, rtc seconds -1, sensors all, "
    "sensor 1 broken, sensor 1 none now, sensor 4000000000 none, uart 0 dead, uart 6 dead, uart 1 hot, "
    "motor rejects move +, motor rejects step 1, focus motor hot, focus motor rejects step 0, "
    "limit switch maybe, home switch always, app sleepy, app slow, app slow soon, app refused twice, "
    "flash cut, flash cut x, flash cut 1 2, flash dead, flash cut erase x, emmc cut erase, record vsub, "
    "record vsub bad, record nothing none, record vsub none now, medium /dev/rtc absent, medium /dev/msb1, "
    "medium /dev/msb1 absent now, medium /dev/msb1 full x, medium /dev/msb1 full 1 2, "
    "medium /dev/msb1 read-only 1, medium /dev/msb1 wrong, medium /dev/msb1 slow, medium /dev/msb1 short, "
    "medium /dev/msb1 pulled write, medium /dev/msb1 pulled write 0, medium /dev/msb1 pulled open 1, "
    "medium /dev/msb1 broken, input T1 floats high, input T1 stuck up, output F1 broken, wire T1 torn, "
    "short T1, jig, jig 2in4out, rs485 0 1 open, rs485 1 6 open, rs485 6 late 1, rs485 1 late x, "
    "rs485 1 flips, rs485 1 flips 0, rs485 1 loses -1, rs485 1 2 shut, rs485 1 2 open 3, rs485 partner loud, "
    "rs485 partner 6 open, rs485 partners late 1, rs485 1 Partner open, rs485 fixture, rs485 fixture ring4, ";

TEST_F(FaultsTest, AFaultThatIsNotUnderstoodIsRefusedWithWhatIs) {
  for (std::string_view left = kRefused; !left.empty(); left.remove_prefix(left.find(", ") + 2)) {
    const std::string_view text = left.substr(0, left.find(", "));
    EXPECT_THROW(board.fault(text), std::invalid_argument) << text;
  }
  EXPECT_THROW(board.fault(""), std::invalid_argument);
  try {
    board.fault("nonsense");
  } catch (const std::invalid_argument& error) {
    EXPECT_NE(std::string(error.what()).find("ioctl NODE [REQUEST]"), std::string::npos) << error.what();
    EXPECT_NE(std::string(error.what()).find("rtc stopped"), std::string::npos) << error.what();
  }
}

/// What the board says against a fault, without the fault itself; empty when it takes it.
std::string refusal(Board& board, const std::string& text) {
  try {
    board.fault(text);
  } catch (const std::invalid_argument& error) {
    const std::string start = "fault: \"" + text + "\" is not understood: ";
    const std::string what = error.what();
    return what.starts_with(start) ? what.substr(start.size()) : what;
  }
  return "";
}

TEST_F(FaultsTest, ARefusalTellsWhatThereIsInsteadOfTheWordThatIsWrong) {
  const std::pair<const char*, const char*> refusals[] = {
      {"gpio 300 stuck high",
       "\"300\" can only be a number from 0 to 255; expected gpio LINE stuck high|low"},
      {"rtc", "behind it there can be stopped or seconds; expected rtc stopped, rtc seconds SECOND..."},
      {"rtc stopped now", "it ends before \"now\"; expected rtc stopped"},
      {"record x none",
       "\"x\" can only be dead-pixels, flat-field, timing or vsub; expected record RECORD "
       "none|magic|checksum"},
      {"uart 6 driver dead",
       "\"6\" can only be a number from 1 to 5; expected uart PORT dead, uart PORT driver dead"},
      {"motor rejects move 0",
       "\"0\" can only be a count from 1, like 2 or 2+; expected motor rejects move N[+]"},
      {"rs485 9 late 5",
       "\"9\" can only be a number from 1 to 5, partner or fixture; expected rs485 FROM TO open, "
       "rs485 FROM flips|loses BYTE..., rs485 FROM late MILLISECONDS, rs485 partner "
       "silent|wrong, rs485 fixture FIXTURE"},
      {"medium /dev/msb2 absent",
       "\"/dev/msb2\" can only be /dev/mmc01, /dev/mmc11, /dev/msbd1 or /dev/msb1; "},
      {"recv #0",
       "\"#0\" can only be a count from 1, like #2 or #2+; expected recv [#N[+]] [ERRNO|short BYTES]"},
      {"open /dev/rtc short 1",
       "\"short\" can only be the name of an error, like EBUSY; expected open NODE "},
      {"interface eth0", "behind it there can be ADDRESS|none; expected interface NAME ADDRESS|none"}};
  for (const auto& [fault, expected] : refusals) {
    EXPECT_TRUE(refusal(board, fault).starts_with(expected)) << fault << ": " << refusal(board, fault);
  }
}

TEST_F(FaultsTest, ARefusalNamesTheTerminalsOfTheJigsThatFitTheBoard) {
  EXPECT_EQ(refusal(board, "input T9 stuck high"),
            "\"T9\" can only be T1, T2, T3, T4, T5, T6, T7 or SYNC; expected input INPUT stuck high|low");
  EXPECT_EQ(
      refusal(board, "output A1 dead"),
      "\"A1\" can only be F1, F2, F3, F4, F5, F6, F7, F8 or F9; expected output OUTPUT dead|closed|open");
  board.set_type(0x9C0A);
  EXPECT_EQ(refusal(board, "input T9 stuck high"), "");
}

TEST_F(FaultsTest, AFaultOnANodeThatTheBoardLacksNamesThoseThatItHas) {
  for (const char* text : {"open /dev/rtcc", "ioctl /dev/fpg 0x40044603", "stat /proc/debug/temp",
                           "open /dev//rtc", "close /dev/null"}) {
    EXPECT_THROW(board.fault(text), std::invalid_argument) << text;
  }
  try {
    board.fault("open /dev/rtcc EBUSY");
  } catch (const std::invalid_argument& error) {
    EXPECT_EQ(error.what(), "fault: the board has no /dev/rtcc; it has " + board->paths());
    for (const auto& node : board->nodes()) EXPECT_NE(board->paths().find(node.path), std::string::npos);
  }
  EXPECT_NO_THROW(board.fault("open /proc/debug/temp21 EACCES")) << "a sensor that may come later";
}

}  // namespace
