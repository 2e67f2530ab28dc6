// A small program for the launcher's tests: does the one thing that its first argument names.
#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

int unknown_node() {
  std::printf("before\n");
  open("/dev/foo", O_RDWR);
  std::printf("after\n");
  return 0;
}

int restart() {
  std::printf("restarting\n");
  std::printf("returned %d\n", reboot(RB_AUTOBOOT));
  return 0;
}

int run_shell() {
  return system("true");
}

/// Prints how many seconds its own clock says a sleep of 100,000 s took. One that lasts is ended by an alarm,
/// which goes by the PC's clock.
int measure() {
  timespec before{};
  timespec after{};
  alarm(60);
  clock_gettime(CLOCK_MONOTONIC, &before);
  sleep(100'000);
  clock_gettime(CLOCK_MONOTONIC, &after);
  std::printf("%ld\n", static_cast<long>(after.tv_sec - before.tv_sec));
  return 0;
}

/// "Pass" in GBK, a byte that is no GBK, and a line on standard error.
int print_gbk() {
  std::fputs("\xB2\xE2\xCA\xD4 ok \xFF!\n", stdout);
  std::fputs("\xCA\xA7\xB0\xDC\n", stderr);
  return 0;
}

/// What a program can see of the launcher.
int show_environment() {
  std::printf("LD_PRELOAD %s\n", std::getenv("LD_PRELOAD") != nullptr ? "set" : "unset");
  std::printf("BOARDSIM_CONFIG %s\n", std::getenv("BOARDSIM_CONFIG") != nullptr ? "set" : "unset");
  std::FILE* file = std::fopen("/proc/self/status", "r");
  char line[256];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strncmp(line, "CapEff", 6) == 0 || std::strncmp(line, "NoNewPrivs", 10) == 0)
      std::fputs(line, stdout);
  }
  std::fclose(file);
  return 0;
}

/// Serves one connection on port 36001: sends back what comes until the peer closes.
int echo() {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(36001);
  // The address of eth0, of wlan0, or all: as the launcher expects of a board's program.
  ifreq request{};
  for (const char* name : {"eth0", "wlan0"}) {
    std::strcpy(request.ifr_name, name);
    if (ioctl(listener, SIOCGIFADDR, &request) != 0) continue;
    std::memcpy(&place, &request.ifr_addr, sizeof place);
    place.sin_port = htons(36001);
    break;
  }
  if (bind(listener, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0) return 1;
  if (listen(listener, 1) != 0) return 1;
  const int fd = accept(listener, nullptr, nullptr);
  char bytes[64];
  for (;;) {
    const ssize_t size = recv(fd, bytes, sizeof bytes, 0);
    if (size <= 0) return size == 0 ? 0 : 1;
    send(fd, bytes, static_cast<std::size_t>(size), 0);
  }
}

void* beat(void* /*unused*/) {
  for (;;) {
    std::printf("beat\n");
    sleep(5);
  }
}

/// Two threads: one beats every 5 seconds, the other sleeps for a minute with a node open.
int heartbeat() {
  pthread_t thread{};
  pthread_create(&thread, nullptr, beat, nullptr);
  const int fd = open("/dev/rtc", O_RDONLY);
  sleep(60);
  close(fd);
  return 0;
}

int read_sensor() {
  std::FILE* file = std::fopen("/proc/debug/temp1", "r");
  if (file == nullptr) return 2;
  char text[32] = "";
  std::fputs(std::fgets(text, sizeof text, file), stdout);
  std::fclose(file);
  return 0;
}

/// Prints the first four bytes of each storage partition and then makes zeros of them.
int use_storage() {
  for (const char* node : {"/dev/mtd4", "/dev/mmcblk0p7"}) {
    const int fd = open(node, O_RDWR);
    unsigned bytes = 0;
    if (fd < 0 || read(fd, &bytes, sizeof bytes) != sizeof bytes) return 1;
    std::printf("%s %08x\n", node, bytes);
    bytes = 0;
    if (lseek(fd, 0, SEEK_SET) != 0 || write(fd, &bytes, sizeof bytes) != sizeof bytes) return 1;
    close(fd);
  }
  return 0;
}

/// Prints the first line of each of these files.
int show_files() {
  for (const char* path : {"/devinfo/TG.bin", "/devinfo/more/notes.txt"}) {
    std::FILE* file = std::fopen(path, "r");
    char line[64] = "";
    std::printf("%s: %s\n", path,
                file == nullptr                                  ? std::strerror(errno)
                : std::fgets(line, sizeof line, file) != nullptr ? line
                                                                 : "empty");
    if (file != nullptr) std::fclose(file);
  }
  return 0;
}

/// Sends to a peer that has gone, as a program does that forgot about the signal.
int break_pipe() {
  int ends[2];
  socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
  close(ends[1]);
  send(ends[0], "x", 1, 0);
  std::printf("still there\n");
  return 0;
}

/// Receives 15 bytes on the first serial port, sends them back, and prints the 7 bytes that come then.
int echo_on_uart() {
  const int fd = open("/dev/uart1", O_RDWR);
  int setup[5] = {38400, 3, 0, 0, 0};
  if (fd < 0 || ioctl(fd, 0x40045501U, setup) != 0) return 1;
  std::printf("waiting\n");
  char bytes[64];
  const auto receive = [&](std::size_t size) {
    for (std::size_t count = 0; count < size;) {
      const ssize_t part = read(fd, bytes + count, size - count);
      if (part <= 0) return false;
      count += static_cast<std::size_t>(part);
    }
    return true;
  };
  if (!receive(15) || write(fd, bytes, 15) != 15 || !receive(7)) return 2;
  std::printf("%.7s\n", bytes);
  return 0;
}

/// Prints the number of a descriptor, which is the lowest free one.
int number_descriptor() {
  std::printf("%d\n", open("/dev/null", O_RDWR));
  return 0;
}

int number_later_descriptor() {
  sleep(5);
  return number_descriptor();
}

/// Prints more than a terminal of the PC keeps, once it is interrupted.
int chatter_later() {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  sigprocmask(SIG_BLOCK, &interrupt, nullptr);
  std::printf("waiting\n");
  int signal = 0;
  sigwait(&interrupt, &signal);
  for (int line = 0; line < 20000; ++line) std::printf("line\n");
  std::printf("done\n");
  return 0;
}

int wait_for_ever() {
  std::printf("waiting\n");
  pause();
  return 0;
}

const std::map<std::string, int (*)()> kActions{
    {"unknown-node", unknown_node},
    {"restart", restart},
    {"shell", run_shell},
    {"measure", measure},
    {"gbk", print_gbk},
    {"environment", show_environment},
    {"echo", echo},
    {"heartbeat", heartbeat},
    {"sensor", read_sensor},
    {"storage", use_storage},
    {"files", show_files},
    {"broken-pipe", break_pipe},
    {"uart", echo_on_uart},
    {"descriptor", number_descriptor},
    {"later-descriptor", number_later_descriptor},
    {"later-chatter", chatter_later},
    {"wait", wait_for_ever},
};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && std::string(argv[1]) == "exit") return std::atoi(argv[2]);
  const auto action = kActions.find(argc > 1 ? argv[1] : "");
  return action == kActions.end() ? 99 : action->second();
}
