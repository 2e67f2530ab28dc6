// A small program to be recorded: does the one thing that its first argument names, on files, terminals and
// sockets of the PC, and prints what came back, so that a recorded run can be held against an unrecorded one.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Standard output is a pipe or a file: what is printed is no recorded call, and goes out at the end.
void show(const char* call, long long result) {
  const int error = errno;
  std::printf("%s %lld %d\n", call, result, result < 0 ? error : 0);
  errno = 0;
}

/// A pointer to where no memory is.
template <typename To>
To* nowhere() {
  static volatile std::uintptr_t address = 64;  // no compiler may know better
  return reinterpret_cast<To*>(address);
}

/// A text that ends with its page, behind which there is none.
char* at_the_edge(const char* text) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  auto* const pages =
      static_cast<char*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  munmap(pages + page, page);
  char* const place = pages + page - std::strlen(text) - 1;
  std::strcpy(place, text);
  return place;
}

int files(const std::string& folder) {
  const std::string file = folder + "/file";
  const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
  show("open", fd);
  const std::string block(100'000, 'b');
  show("write", write(fd, "some bytes", 10));
  show("write", write(fd, block.data(), block.size()));
  show("lseek", lseek(fd, 5, SEEK_SET));
  char bytes[16] = {};
  show("read", read(fd, bytes, 5));
  std::string back(block.size(), '\0');
  show("read", read(fd, back.data(), back.size()));
  show("read", read(fd, bytes, sizeof bytes));
  struct stat status {};
  show("fstat", fstat(fd, &status));
  show("stat", stat(file.c_str(), &status));
  show("stat", stat((folder + "/none").c_str(), &status));
  show("access", access(file.c_str(), R_OK));
  struct statfs system {};
  show("statfs", statfs(folder.c_str(), &system));
  show("close", close(fd));
  show("close", close(fd));
  show("mkdir", mkdir((folder + "/made").c_str(), 0755));
  show("rmdir", rmdir((folder + "/made").c_str()));
  show("unlink", unlink(at_the_edge(file.c_str())));
  return 0;
}

/// What a file system tells of itself that is no other's.
void show_system(const std::string& folder) {
  struct statfs system {};
  show("statfs", statfs(folder.c_str(), &system));
  std::printf("of type %lx: %lu blocks, %lu free\n", static_cast<unsigned long>(system.f_type),
              static_cast<unsigned long>(system.f_blocks), static_cast<unsigned long>(system.f_bfree));
}

/// On a medium that is mounted at the folder: it is filled, written when it is read-only, and taken off.
int medium(const std::string& folder) {
  const std::string file = folder + "/file";
  const int fd = open(file.c_str(), O_RDWR | O_CREAT, 0644);
  show("open", fd);
  show_system(folder);
  const std::string block(65'536, 'm');
  ssize_t moved = 0;
  while ((moved = write(fd, block.data(), block.size())) > 0) show("write", moved);
  show("write", moved);
  show_system(folder);
  show("umount", umount(folder.c_str()));
  show("lseek", lseek(fd, -16, SEEK_END));
  char bytes[16] = {};
  show("read", read(fd, bytes, sizeof bytes));
  show("close", close(fd));
  show("mount", mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr));
  show("open", open(file.c_str(), O_RDWR));
  show("unlink", unlink(file.c_str()));
  show("umount", umount(folder.c_str()));
  show("access", access(file.c_str(), R_OK));
  show("umount", umount(folder.c_str()));
  return 0;
}

int streams(const std::string&) {
  FILE* const stream = std::fopen("/proc/self/stat", "r");
  char line[8] = {};
  show("fgets", std::fgets(line, sizeof line, stream) != nullptr);
  show("fread", static_cast<long>(std::fread(line, 1, 4, stream)));
  show("fclose", std::fclose(stream));
  show("fopen", std::fopen("/proc/none", "r") != nullptr);
  return 0;
}

/// The terminal has a name of its own, since its number is another one whenever somebody else has one open.
int terminals(const std::string& folder) {
  const int controller = posix_openpt(O_RDWR | O_NOCTTY);
  grantpt(controller);
  unlockpt(controller);
  const std::string name = folder + "/terminal";
  std::remove(name.c_str());
  if (symlink(ptsname(controller), name.c_str()) != 0) return 1;
  const int terminal = open(name.c_str(), O_RDWR | O_NOCTTY);
  termios settings{};
  show("tcgetattr", tcgetattr(terminal, &settings));
  cfmakeraw(&settings);
  show("tcsetattr", tcsetattr(terminal, TCSANOW, &settings));
  show("write", write(controller, "from a terminal", 15));
  pollfd awaited{terminal, POLLIN, 0};
  show("poll", poll(&awaited, 1, 5000));
  int waiting = 0;
  show("ioctl", ioctl(terminal, FIONREAD, &waiting));
  char bytes[32] = {};
  show("read", read(terminal, bytes, sizeof bytes));
  winsize size{};
  show("ioctl", ioctl(terminal, TIOCGWINSZ, &size));
  show("tcflush", tcflush(terminal, TCIOFLUSH));
  return 0;
}

int sockets(const std::string&) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  show("bind", bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address));
  socklen_t size = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  show("listen", listen(listener, 1));
  const int client = socket(AF_INET, SOCK_STREAM, 0);
  show("connect", connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address));
  const int server = accept(listener, reinterpret_cast<sockaddr*>(&address), &size);
  show("send", send(client, "request", 7, 0));
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(server, &readable);
  timeval limit{5, 0};
  show("select", select(server + 1, &readable, nullptr, nullptr, &limit));
  char bytes[16] = {};
  show("recv", recv(server, bytes, sizeof bytes, 0));
  show("shutdown", shutdown(server, SHUT_RDWR));
  show("recv", recv(client, bytes, sizeof bytes, 0));
  return 0;
}

int clocks(const std::string&) {
  timespec time{0, 1000};
  show("nanosleep", nanosleep(&time, nullptr));
  show("clock_nanosleep", clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr));
  show("usleep", usleep(1));
  show("sleep", static_cast<long>(sleep(0)));
  show("clock_gettime", clock_gettime(CLOCK_MONOTONIC, &time));
  timeval day{};
  show("gettimeofday", gettimeofday(&day, nullptr));
  show("clock_gettime", clock_gettime(-77, &time));
  return 0;
}

/// Others in each run: the seed is the process's own.
int random_numbers(const std::string&) {
  srandom(static_cast<unsigned>(getpid()));
  for (int i = 0; i < 3; ++i) show("random", random());
  return 0;
}

/// Each of these is handed memory that is none.
int bad_pointers(const std::string& folder) {
  const int fd = open("/dev/zero", O_RDWR);
  const int full = open((folder + "/file").c_str(), O_RDWR | O_CREAT, 0644);
  show("open", open(nowhere<char>(), O_RDONLY));
  show("read", read(fd, nowhere<char>(), 8));
  show("write", write(full, nowhere<char>(), 8));
  show("stat", stat(nowhere<char>(), nowhere<struct stat>()));
  show("access", access(nowhere<char>(), R_OK));
  show("ioctl", ioctl(fd, 0x80044801, nowhere<char>()));
  show("ioctl", ioctl(fd, FIONREAD, nowhere<char>()));
  show("ioctl", ioctl(fd, TCGETS, nowhere<char>()));
  show("select", select(1, nowhere<fd_set>(), nullptr, nullptr, nullptr));
  show("poll", poll(nowhere<pollfd>(), 1, 0));
  // A C library of 32 bits goes to these places itself, and crashes.
  if (sizeof(long) == sizeof(std::int64_t)) {
    show("fstat", fstat(fd, nowhere<struct stat>()));
    show("nanosleep", nanosleep(nowhere<timespec>(), nullptr));
    std::printf("clock_nanosleep: %d\n", clock_nanosleep(CLOCK_MONOTONIC, 0, nowhere<timespec>(), nullptr));
  }
  const int plug = socket(AF_INET, SOCK_STREAM, 0);
  show("connect", connect(plug, nowhere<sockaddr>(), sizeof(sockaddr_in)));
  show("bind", bind(plug, nowhere<sockaddr>(), sizeof(sockaddr_in)));
  show("mkdir", mkdir(nowhere<char>(), 0755));
  show("unlink", unlink(nowhere<char>()));
  show("statfs", statfs(nowhere<char>(), nowhere<struct statfs>()));
  show("getsockname", getsockname(plug, nowhere<sockaddr>(), nowhere<socklen_t>()));
  std::printf("fopen: %d\n", std::fopen(nowhere<char>(), "r") != nullptr);
  show("send", send(plug, nowhere<char>(), 8, MSG_NOSIGNAL));
  show("close", close(-5));
  return 0;
}

int unknown_requests(const std::string&) {
  const int fd = open("/dev/null", O_RDWR);
  char record[64] = "a record that nobody knows";
  show("ioctl", ioctl(fd, _IOWR('z', 77, record), record));
  show("ioctl", ioctl(fd, 0x7A00, 1234));
  show("ioctl", ioctl(fd, 0x80047A01, nowhere<char>()));
  return 0;
}

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

void* locking_thread(void*) {
  for (int i = 0; i < 100; ++i) {
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
  }
  return nullptr;
}

int threads(const std::string&) {
  std::vector<pthread_t> all(8);
  for (pthread_t& thread : all)
    show("pthread_create", pthread_create(&thread, nullptr, locking_thread, nullptr));
  for (const pthread_t thread : all) show("pthread_join", pthread_join(thread, nullptr));
  return 0;
}

/// A thread with a stack that no machine has, then one that can be.
int refused_thread(const std::string&) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  show("pthread_attr_setstacksize",
       pthread_attr_setstacksize(&attributes, ~std::size_t{0} / 4096 * 4096 / 2));
  pthread_t thread{};
  show("pthread_create", pthread_create(&thread, &attributes, locking_thread, nullptr));
  show("pthread_create", pthread_create(&thread, nullptr, locking_thread, nullptr));
  show("pthread_join", pthread_join(thread, nullptr));
  return 0;
}

/// Datagrams and addresses that are longer than the room for them.
int cut_off(const std::string&) {
  int pair[2] = {-1, -1};
  socketpair(AF_UNIX, SOCK_DGRAM, 0, pair);
  show("send", send(pair[0], "a datagram", 10, 0));
  char* const byte = at_the_edge("");
  show("recv", recv(pair[1], byte, 1, MSG_TRUNC));
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  listen(listener, 1);
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  connect(socket(AF_INET, SOCK_STREAM, 0), reinterpret_cast<sockaddr*>(&address), sizeof address);
  size = 1;
  const int server = accept(listener, static_cast<sockaddr*>(static_cast<void*>(byte)), &size);
  std::printf("%d, an address of %u bytes\n", server >= 0, static_cast<unsigned>(size));
  return 0;
}

void unlock(void*) {
  pthread_mutex_unlock(&mutex);
}

int ends[2];

/// Waits for what never comes, with a lock that is given back when it is cancelled.
void* waiting_thread(void*) {
  pthread_mutex_lock(&mutex);
  pthread_cleanup_push(unlock, nullptr);
  char byte = 0;
  while (read(ends[0], &byte, 1) == 1) {
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);  // on a busy PC it would be cancelled in here
    write(ends[1], &byte, 1);
    pthread_setcancelstate(state, nullptr);
  }
  pthread_cleanup_pop(1);
  return nullptr;
}

int cancelled(const std::string&) {
  socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
  const int other = ends[1];
  ends[1] = ends[0];
  pthread_t thread{};
  show("pthread_create", pthread_create(&thread, nullptr, waiting_thread, nullptr));
  char byte = 'x';
  write(other, &byte, 1);
  read(other, &byte, 1);  // the thread has come that far, and goes on into its next read
  show("pthread_cancel", pthread_cancel(thread));
  void* value = nullptr;
  show("pthread_join", pthread_join(thread, &value));
  std::printf("cancelled: %d\n", value == PTHREAD_CANCELED);
  show("pthread_mutex_lock", pthread_mutex_lock(&mutex));
  return 0;
}

/// Closes every number that a program can have but its outputs, as programs do before they start others.
int close_all(const std::string& folder) {
  long closed = 0;
  for (int fd = 3; fd < 1024; ++fd) closed += close(fd) == 0 ? 1 : 0;
  show("close", closed);
  show("access", access(folder.c_str(), R_OK));
  return 0;
}

int children(const std::string&) {
  std::fflush(stdout);
  show("system", system("echo \"$LD_PRELOAD|$BOARDRECORD|$BOARDRECORD_LIMIT\"; test -z \"$BOARDRECORD\""));
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    access("/proc", R_OK);
    _exit(0);
  }
  return 0;
}

/// Goes on until it is killed; says when it is at work.
int forever(const std::string&) {
  for (long count = 0;; ++count) {
    access("/proc", R_OK);
    if (count == 1000) write(STDOUT_FILENO, "working\n", 8);
  }
}

int many(const std::string& folder) {
  const int fd = open("/dev/zero", O_RDONLY);
  std::string block(2000, '\0');
  long sum = 0;
  for (int i = 0; i < 1000; ++i) sum += read(fd, block.data(), block.size());
  show("read", sum);
  show("access", access(folder.c_str(), R_OK));
  return 7;
}

int leave(const std::string&) {
  std::exit(5);
}
int leave_at_once(const std::string&) {
  _exit(6);
}
int crash(const std::string&) {
  std::abort();
}

/// Nanoseconds of processor time of one call, on average of many: what else this PC does is none of it.
template <typename Call>
double nanoseconds_of(Call call) {
  constexpr int kCalls = 10'000;
  timespec start{};
  timespec end{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
  for (int i = 0; i < kCalls; ++i) call();
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
  return (static_cast<double>(end.tv_sec - start.tv_sec) * 1e9 +
          static_cast<double>(end.tv_nsec - start.tv_nsec)) /
         kCalls;
}

/// What cheap calls cost: without a record, with one that comes back, with one that goes in and comes back.
int cost(const std::string& folder) {
  const int fd = open((folder + "/file").c_str(), O_RDWR | O_CREAT, 0644);
  int waiting = 0;
  char bytes[16] = {};
  std::printf("%.0f\n", nanoseconds_of([&] { return lseek(fd, 0, SEEK_SET); }));
  std::printf("%.0f\n", nanoseconds_of([&] { return read(fd, bytes, sizeof bytes); }));
  std::printf("%.0f\n", nanoseconds_of([&] { return ioctl(fd, FIONREAD, &waiting); }));
  return 0;
}

struct Deed {
  const char* name;
  int (*run)(const std::string& folder);
};
constexpr Deed kDeeds[] = {
    {"files", files},
    {"medium", medium},
    {"streams", streams},
    {"terminals", terminals},
    {"sockets", sockets},
    {"clocks", clocks},
    {"random", random_numbers},
    {"bad-pointers", bad_pointers},
    {"unknown", unknown_requests},
    {"threads", threads},
    {"refused-thread", refused_thread},
    {"cut-off", cut_off},
    {"cancelled", cancelled},
    {"close-all", close_all},
    {"children", children},
    {"forever", forever},
    {"many", many},
    {"leave", leave},
    {"leave-at-once", leave_at_once},
    {"crash", crash},
    {"cost", cost},
};

}  // namespace

int main(int argc, char** argv) {
  const std::string name = argc > 1 ? argv[1] : "";
  for (const Deed& deed : kDeeds) {
    if (name == deed.name) return deed.run(argc > 2 ? argv[2] : "/tmp");
  }
  return 64;
}
