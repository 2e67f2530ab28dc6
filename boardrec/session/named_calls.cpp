#include "boardrec/session/named_calls.h"

#include <linux/sockios.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <set>
#include <tuple>

#include "boardrec/session/descriptors.h"

namespace boardrec {
namespace {

constexpr std::size_t kLargestSet = 8192;   // bytes; no program has more descriptors
constexpr std::size_t kInterfaceName = 16;  // bytes at the front of an ifreq

std::string_view text_at(const Record& record, std::size_t index) {
  return value_at(record.in, index).bytes;
}

/// The descriptors of a select's sets, of any of them.
std::set<std::int64_t> selected(const Record& record) {
  std::set<std::int64_t> fds;
  for (std::size_t set = 1; set <= 3; ++set) {
    const std::string_view bits = text_at(record, set).substr(0, kLargestSet);
    for (std::size_t bit = 0; bit < 8 * bits.size(); ++bit) {
      const unsigned byte = static_cast<unsigned char>(bits[bit / 8]);
      if ((byte >> bit % 8 & 1U) != 0) fds.insert(static_cast<std::int64_t>(bit));
    }
  }
  return fds;
}

std::vector<std::int64_t> polled(const Record& record) {
  const std::string_view entries = text_at(record, 0);
  std::vector<std::int64_t> fds;
  for (std::size_t at = 0; at + sizeof(PollEntry) <= entries.size(); at += sizeof(PollEntry)) {
    PollEntry entry{};
    std::memcpy(&entry, entries.data() + at, sizeof entry);
    fds.push_back(entry.fd);
  }
  return fds;
}

/// How a kind of call is named; those with `none` are not in the trace.
enum class Naming : std::uint8_t {
  none,
  alone,       ///< it has no node
  path,        ///< by its path, or its command
  board_path,  ///< the same; in the trace when the path is the board's
  mount,
  node,  ///< by its descriptor; in the trace when that is a node
  node_or_socket,
  socket,
  request,
  selected,
  polled,
  address,
  listener,
  stream,
};

struct NamingRow {
  Call call;
  Naming naming;
};
constexpr NamingRow kNamings[] = {
    {Call::open, Naming::board_path},
    {Call::fopen, Naming::board_path},
    {Call::stat, Naming::board_path},
    {Call::lstat, Naming::board_path},
    {Call::access, Naming::board_path},
    {Call::statfs, Naming::path},
    {Call::mkdir, Naming::path},
    {Call::rmdir, Naming::path},
    {Call::unlink, Naming::path},
    {Call::umount, Naming::path},
    {Call::system, Naming::path},
    {Call::mount, Naming::mount},
    {Call::close, Naming::node_or_socket},
    {Call::read, Naming::node_or_socket},
    {Call::write, Naming::node_or_socket},
    {Call::lseek, Naming::node},
    {Call::fstat, Naming::node},
    {Call::tcgetattr, Naming::node},
    {Call::tcsetattr, Naming::node},
    {Call::tcflush, Naming::node},
    {Call::recv, Naming::socket},
    {Call::send, Naming::socket},
    {Call::shutdown, Naming::socket},
    {Call::ioctl, Naming::request},
    {Call::select, Naming::selected},
    {Call::poll, Naming::polled},
    {Call::bind, Naming::address},
    {Call::connect, Naming::address},
    {Call::listen, Naming::listener},
    {Call::accept, Naming::listener},
    {Call::fgets, Naming::stream},
    {Call::fread, Naming::stream},
    {Call::fwrite, Naming::stream},
    {Call::fclose, Naming::stream},
    {Call::socket, Naming::alone},
    {Call::sleep, Naming::alone},
    {Call::usleep, Naming::alone},
    {Call::nanosleep, Naming::alone},
    {Call::clock_nanosleep, Naming::alone},
    {Call::reboot, Naming::alone},
    {Call::pthread_create, Naming::alone},
    {Call::thread_ended, Naming::alone},
};

Naming naming_of(Call call) {
  const auto* const row = std::ranges::find(kNamings, call, &NamingRow::call);
  return row != std::end(kNamings) ? row->naming : Naming::none;
}

/// Names one call after the other.
class Namer {
 public:
  NamedCall name(const Record& record) {
    NamedCall call{.record = &record};
    name_by_kind(record, call);
    call.node = printable(call.node);
    // Of a call that was written before it ran, what came of it is told by its other record.
    if ((record.flags & kBegan) == 0) descriptors_.follow(record);
    return call;
  }

 private:
  void name_by_kind(const Record& record, NamedCall& call) const;
  /// A call on a descriptor; `only` says which ones of them are in the trace.
  enum class Only : std::uint8_t { all, nodes, sockets_and_nodes };
  void name_by_descriptor(const Record& record, NamedCall& call, Only only) const;
  void name_by_stream(const Record& record, NamedCall& call) const;
  void name_request(const Record& record, NamedCall& call) const;
  template <class Numbers>
  std::string names_of(const Numbers& fds, std::uint64_t began) const;

  Descriptors descriptors_;
};

void Namer::name_by_descriptor(const Record& record, NamedCall& call, Only only) const {
  const std::int64_t fd = value_at(record.in, 0).number;
  const Opened* const opened = descriptors_.find(fd, record.began);
  if (opened == nullptr) {
    call.node = only == Only::all ? "station" : std::to_string(fd);
    // Closing a negative number is harmless, but a program that does it has lost track of its nodes.
    call.in_trace = only == Only::all || (record.call == Call::close && fd < 0);
    return;
  }
  call.node = opened->name;
  call.opened_by = opened->records.front();
  const bool is_node = !opened->is_socket && is_board_path(opened->name);
  call.in_trace = only == Only::all || is_node || (only == Only::sockets_and_nodes && opened->is_socket);
}

void Namer::name_by_stream(const Record& record, NamedCall& call) const {
  const std::int64_t stream = value_at(record.in, 0).number;
  const Opened* const opened = descriptors_.find_stream(stream);
  call.node = opened != nullptr ? opened->name : "stream " + std::to_string(stream);
  call.in_trace = opened != nullptr && is_board_path(opened->name);
  if (opened != nullptr) call.opened_by = opened->records.front();
}

void Namer::name_request(const Record& record, NamedCall& call) const {
  name_by_descriptor(record, call, Only::sockets_and_nodes);
  if (value_at(record.in, 1).number != SIOCGIFADDR) return;
  const std::string_view name = text_at(record, 2).substr(0, kInterfaceName);
  call.node = name.substr(0, name.find('\0'));
}

template <class Numbers>
std::string Namer::names_of(const Numbers& fds, std::uint64_t began) const {
  std::string names;
  for (const std::int64_t fd : fds) {
    const Opened* const opened = descriptors_.find(fd, began);
    names.append(names.empty() ? "" : " ").append(opened != nullptr ? opened->name : "station");
  }
  return names;
}

void Namer::name_by_kind(const Record& record, NamedCall& call) const {
  const std::string_view path = text_at(record, 0);
  const auto in_trace = [&call](std::string_view node, bool is_there = true) {
    call.node = node;
    call.in_trace = is_there;
  };
  switch (naming_of(record.call)) {
    case Naming::none:
      break;
    case Naming::alone:
      return in_trace("");
    case Naming::path:
      return in_trace(path);
    case Naming::board_path:
      return in_trace(path, is_board_path(path));
    case Naming::mount:
      return in_trace(
          std::string(path).append(" ").append(text_at(record, 1)).append(" ").append(text_at(record, 2)));
    case Naming::node:
      return name_by_descriptor(record, call, Only::nodes);
    case Naming::node_or_socket:
      return name_by_descriptor(record, call, Only::sockets_and_nodes);
    case Naming::socket:
      return name_by_descriptor(record, call, Only::all);
    case Naming::request:
      return name_request(record, call);
    case Naming::selected:
      return in_trace(names_of(selected(record), record.began));
    case Naming::polled:
      return in_trace(names_of(polled(record), record.began));
    case Naming::address:
    case Naming::listener:
      name_by_descriptor(record, call, Only::all);
      return in_trace(naming_of(record.call) == Naming::address ? text_at(record, 1) : "listener");
    case Naming::stream:
      return name_by_stream(record, call);
  }
}

bool is_sleep(Call call) {
  return call == Call::sleep || call == Call::usleep || call == Call::nanosleep ||
         call == Call::clock_nanosleep;
}

/// What a record that was written before its call shares with the one that tells what came of it.
auto beginning(const Record& record) {
  return std::tuple(record.call, record.thread, record.began);
}

}  // namespace

std::vector<NamedCall> named_calls(const Recording& recording) {
  Namer namer;
  std::vector<NamedCall> calls;
  calls.reserve(recording.records.size());
  for (const Record& record : recording.records) calls.push_back(namer.name(record));
  return calls;
}

std::vector<NamedCall> calls_of_trace(const Recording& recording) {
  std::vector<NamedCall> all = named_calls(recording);
  struct Turn {
    std::uint64_t time;
    std::size_t at;
  };
  std::set<std::tuple<Call, std::uint16_t, std::uint64_t>> begun;
  for (const Record& record : recording.records) {
    if ((record.flags & kBegan) != 0) begun.insert(beginning(record));
  }
  decltype(begun) ended;
  for (const Record& record : recording.records) {
    if ((record.flags & kBegan) == 0 && begun.contains(beginning(record))) ended.insert(beginning(record));
  }
  std::vector<Turn> turns;
  std::uint64_t now = 0;
  for (std::size_t at = 0; at < all.size(); ++at) {
    const Record& record = *all[at].record;
    const bool is_followed = (record.flags & kBegan) != 0 && ended.contains(beginning(record));
    if (!all[at].in_trace || is_followed) continue;
    now = std::max(now, record.ended);  // threads that end calls at once may be recorded the other way round
    turns.push_back({is_sleep(record.call) ? record.began : now, at});
  }
  std::ranges::stable_sort(turns, {}, &Turn::time);
  std::vector<NamedCall> calls;
  calls.reserve(turns.size());
  for (const Turn& turn : turns) calls.push_back(std::move(all[turn.at]));
  return calls;
}

std::string printable(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character >= ' ' && character <= '~') {
      result += character;
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x",
                    static_cast<unsigned>(static_cast<unsigned char>(character)));
      result += escaped;
    }
  }
  return result;
}

std::string seconds_text(std::uint64_t nanoseconds) {
  char seconds[48];
  std::snprintf(seconds, sizeof seconds, "%" PRIu64 ".%06" PRIu64, nanoseconds / 1'000'000'000,
                nanoseconds / 1'000 % 1'000'000);
  return seconds;
}

std::string timed_text(const NamedCall& call) {
  return seconds_text(call.record->began) + " " + text(call);
}

}  // namespace boardrec
