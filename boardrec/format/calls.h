// Which calls are recorded, and what stands in their records.
#pragma once

#include <cstdint>
#include <string_view>

namespace boardrec {

/// A kind of record; its number stands in files. `start` is the first of a recording and has the program's
/// file and its arguments, each with a zero behind it; `finish` is its last when the program ended by itself;
/// `note` says what happened to the recording itself.
enum class Call : std::uint16_t {
  start = 1,
  finish = 2,
  note = 3,
  thread_ended = 4,
  open = 10,
  close = 11,
  read = 12,
  write = 13,
  lseek = 14,
  ioctl = 15,
  select = 16,
  poll = 17,
  stat = 18,
  lstat = 19,
  fstat = 20,
  access = 21,
  statfs = 22,
  mkdir = 23,
  rmdir = 24,
  unlink = 25,
  mount = 26,
  umount = 27,
  tcgetattr = 30,
  tcsetattr = 31,
  tcflush = 32,
  socket = 40,
  bind = 41,
  listen = 42,
  accept = 43,
  connect = 44,
  recv = 45,
  send = 46,
  shutdown = 47,
  getsockname = 48,  ///< from kVersionWithSocketNames on
  fopen = 50,
  fclose = 51,
  fgets = 52,
  fread = 53,
  fwrite = 54,
  sleep = 60,
  usleep = 61,
  nanosleep = 62,
  clock_nanosleep = 63,
  clock_gettime = 64,
  gettimeofday = 65,
  system = 70,
  reboot = 71,
  random = 72,  ///< from kVersionWithRandom on
  pthread_create = 80,
  pthread_join = 81,
  pthread_cancel = 82,
  pthread_mutex_lock = 83,
  pthread_mutex_unlock = 84,
};

/// What stands in the records of a call.
struct CallRow {
  Call call;
  std::string_view
      name;             ///< for all forms of the call: open64, openat with the working folder, __read_chk ...
  std::string_view in;  ///< names of the values that the program hands in, a space between
  std::string_view out;  ///< the same of those that come back
};

// The names of values:
//   fd        a descriptor's number
//   path      bytes without a zero: a path, or another text
//   bytes     as many as the call moved; long ones as digest
//   record    bytes before or after the call, absent for a null pointer, a number where the argument is one
//   set       bytes, one bit a descriptor, for `count` descriptors: number 0 is the lowest bit of the first
//   entries   bytes of PollEntry
//   status    bytes of Status
//   statfs    bytes of FileSystem
//   settings  bytes of TerminalSettings
//   address   bytes: "ADDRESS:PORT" of IPv4, else the sockaddr, as much of it as there was room for
//   time      a number, nanoseconds
//   stream    a number: 1, 2, 3 ... in the order of opening
//   mutex     a number: 1, 2, 3 ... in the order in which they were first locked
//   thread    a number, as Body::thread
// all others are numbers as the program hands them in.
inline constexpr CallRow kCalls[] = {
    {Call::start, "start", "path bytes", ""},
    {Call::finish, "finish", "status", ""},
    {Call::note, "note", "text", ""},
    {Call::thread_ended, "thread_ended", "", ""},
    {Call::open, "open", "path flags mode", ""},
    {Call::close, "close", "fd", ""},
    {Call::read, "read", "fd size", "bytes"},
    {Call::write, "write", "fd size bytes", ""},
    {Call::lseek, "lseek", "fd offset whence", ""},
    {Call::ioctl, "ioctl", "fd request record", "record"},
    {Call::select, "select", "count set set set time", "set set set time"},
    {Call::poll, "poll", "entries time", "entries"},
    {Call::stat, "stat", "path", "status"},
    {Call::lstat, "lstat", "path", "status"},
    {Call::fstat, "fstat", "fd", "status"},
    {Call::access, "access", "path mode", ""},
    {Call::statfs, "statfs", "path", "statfs"},
    {Call::mkdir, "mkdir", "path mode", ""},
    {Call::rmdir, "rmdir", "path", ""},
    {Call::unlink, "unlink", "path", ""},
    {Call::mount, "mount", "path path path flags path", ""},
    {Call::umount, "umount", "path flags", ""},
    {Call::tcgetattr, "tcgetattr", "fd", "settings"},
    {Call::tcsetattr, "tcsetattr", "fd when settings", ""},
    {Call::tcflush, "tcflush", "fd queue", ""},
    {Call::socket, "socket", "domain type protocol", ""},
    {Call::bind, "bind", "fd address", ""},
    {Call::listen, "listen", "fd backlog", ""},
    {Call::accept, "accept", "fd", "address size"},  // the size from kVersionWithSocketNames on
    {Call::connect, "connect", "fd address", ""},
    {Call::recv, "recv", "fd size flags", "bytes"},
    {Call::send, "send", "fd size bytes flags", ""},
    {Call::shutdown, "shutdown", "fd how", ""},
    {Call::getsockname, "getsockname", "fd", "address size"},
    {Call::fopen, "fopen", "path path", "stream"},
    {Call::fclose, "fclose", "stream", ""},
    {Call::fgets, "fgets", "stream size", "bytes"},
    {Call::fread, "fread", "stream size", "bytes"},
    {Call::fwrite, "fwrite", "stream size bytes", ""},
    {Call::sleep, "sleep", "seconds", ""},
    {Call::usleep, "usleep", "microseconds", ""},
    {Call::nanosleep, "nanosleep", "time", "time"},
    {Call::clock_nanosleep, "clock_nanosleep", "clock flags time", "time"},
    {Call::clock_gettime, "clock_gettime", "clock", "time"},
    {Call::gettimeofday, "gettimeofday", "", "time"},
    {Call::system, "system", "path", ""},
    {Call::reboot, "reboot", "command", ""},
    {Call::random, "random", "", ""},
    {Call::pthread_create, "pthread_create", "", "thread"},
    {Call::pthread_join, "pthread_join", "thread", ""},
    {Call::pthread_cancel, "pthread_cancel", "thread", ""},
    {Call::pthread_mutex_lock, "pthread_mutex_lock", "mutex", ""},
    {Call::pthread_mutex_unlock, "pthread_mutex_unlock", "mutex", ""},
};

/// How many values the names of a row stand for.
constexpr std::uint8_t count_of(std::string_view names) {
  std::uint8_t count = names.empty() ? 0 : 1;
  for (const char character : names) count = static_cast<std::uint8_t>(count + (character == ' ' ? 1 : 0));
  return count;
}

/// The numbers of a poll's entry: a descriptor's number, the events asked for, those that came.
struct PollEntry {
  std::int32_t fd;
  std::int16_t events;
  std::int16_t came;
};

/// What stat(2) tells, of any machine.
struct Status {
  std::int64_t size, blocks, block_size, modified;  ///< modified: nanoseconds since 1970
  std::uint64_t device, inode, special_device;
  std::uint32_t mode, links, user, group;
};

/// What statfs(2) tells, of any machine.
struct FileSystem {
  std::int64_t type, block_size, fragment_size, blocks, free, available, files, free_files, name_length,
      flags;
};

/// What tcgetattr tells: modes, speeds as Bxxx constants, control characters.
struct TerminalSettings {
  std::uint32_t input, output, control, local, input_speed, output_speed;
  std::uint8_t characters[32];
};

}  // namespace boardrec
