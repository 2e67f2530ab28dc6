// How the board answers calls on its nodes.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"
#include "boardsim/kernel/real.h"

namespace boardsim::calls {
namespace {

std::uint32_t low_word(std::size_t size) {
  return static_cast<std::uint32_t>(size);
}

struct stat64 status_of(const Device& device) {
  struct stat64 status {};
  status.st_mode = device.mode();
  status.st_size = device.size();
  status.st_nlink = 1;
  status.st_blksize = 4096;
  return status;
}

/// A read that waits, where it does, without the lock.
Answer read_node(BoardState& board, Frame& call, int fd, void* buffer, std::size_t size)
    BOARDSIM_LOCKS(requires_capability(board.mutex)) {
  std::optional<Time> deadline;
  for (const Time began = board.clock.now();;) {
    Descriptor* const node = board.descriptors.find_node(fd);
    if (node == nullptr) return Answer::fails(EBADF);  // another thread has closed it meanwhile
    const Answer answer = node->device->read(buffer, size, node->position);
    if (answer.error != EAGAIN || (real::fcntl(fd, F_GETFL) & O_NONBLOCK) != 0) return answer;
    if (const auto limit = node->device->read_limit()) deadline = began + *limit;
    const int error = call.unlocked([&] { return wait_readable(board, fd, deadline); });
    if (error == EAGAIN) return Answer::ok();
    if (error != 0) return Answer::fails(error);
  }
}

/// Lets time pass without the lock, while another thread may close the node. 0, or the errno with which the
/// call ends.
int pass(BoardState& board, Frame& call, int fd, const Device* device, Time span)
    BOARDSIM_LOCKS(requires_capability(board.mutex)) {
  if (span == Time(0)) return 0;
  const Time end = board.clock.now() + span;
  call.unlocked([&] { return board.clock.sleep_until(end); });
  const Descriptor* const node = board.descriptors.find_node(fd);
  return node == nullptr || node->device != device ? EBADF : device->dead();
}

/// How long a request takes on this board; most take no time.
Time duration_of(const BoardState& board, const std::string& node, std::uint32_t request)
    BOARDSIM_LOCKS(requires_capability(board.mutex)) {
  const auto known = board.durations.find({node, request});
  return known != board.durations.end() ? known->second : Time(0);
}

Time duration_of(const BoardState& board, const std::string& node, const Device& device, Transfer direction)
    BOARDSIM_LOCKS(requires_capability(board.mutex)) {
  const std::uint32_t number = direction == Transfer::read ? BoardState::kReading : BoardState::kWriting;
  return device.transfer_time(direction) + duration_of(board, node, number);
}

int end_stat(BoardState& board, Frame& call, struct stat64* status)
    BOARDSIM_LOCKS(requires_capability(board.mutex)) {
  const Device* const device = board.devices.find(call.node());
  if (const auto faulty = call.meet_on(device, "stat")) return call.end(*faulty);
  if (device == nullptr) return call.fail_missing();
  if (status == nullptr) return call.fail(EFAULT);
  *status = status_of(*device);
  return call.end(0, 0);
}

}  // namespace

bool is_node(BoardState& board, int fd) {
  const Locked lock(board.mutex);
  return board.descriptors.find_node(fd) != nullptr;
}

int open(BoardState& board, const char* name, const std::string& path, int flags) {
  Frame call(board, Subject::hardware, name, path, {static_cast<std::uint32_t>(flags)});
  Devices& devices = board.devices;
  Device* const device = (flags & O_CREAT) != 0 ? devices.find_or_make(path) : devices.find(path);
  if (device == nullptr) return call.fail_missing();
  if (const auto faulty = call.meet_on(device, "open")) return call.end(*faulty);
  const Answer answer = device->open(flags);
  if (answer.result < 0) return call.fail(answer.error);
  const int fd = device->descriptor(flags);
  if (fd < 0) return call.fail(errno);
  board.descriptors.add(fd, path, device, flags);
  return call.end(fd, 0);
}

int close(BoardState& board, int fd) {
  Frame call(board, Subject::hardware, "close", std::to_string(fd));
  const Descriptor* const known = board.descriptors.find(fd);
  // Closing a negative number is harmless, but a program that does it has lost track of its nodes.
  if (known == nullptr) return fd < 0 ? call.fail(EBADF) : real::close(fd);
  Device* const device = known->device;
  call.set_node(known->name);
  if (device == nullptr) call.set_subject(Subject::network);
  // The number is free for other threads from here on, so the entry goes first.
  board.descriptors.remove(fd);
  int result = real::close(fd);
  int error = result < 0 ? errno : 0;
  if (device != nullptr) device->close();
  board.serve_application(call.node());
  // As on Linux, a descriptor is gone even when closing it fails.
  if (const auto faulty = call.meet_on(device, "close"); faulty && error == 0) {
    result = -1;
    error = faulty->error;
  }
  return call.end(result, error);
}

std::optional<ssize_t> read(BoardState& board, int fd, void* buffer, std::size_t size) {
  Frame call(board, Subject::hardware, "read", "", {low_word(size)});
  const Descriptor* const node = board.descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  call.set_node(node->name);
  if (!node->can_read()) return call.fail(EBADF);
  if (const auto faulty = call.meet_on(node->device, "read")) {
    if (!faulty->at_most) return call.fail(faulty->error);
    size = std::min(size, *faulty->at_most);
  }
  const int error =
      pass(board, call, fd, node->device, duration_of(board, call.node(), *node->device, Transfer::read));
  const Answer answer = error != 0 ? Answer::fails(error) : read_node(board, call, fd, buffer, size);
  if (!answer.known) board.violation("reading " + call.node() + " is not known (read)");
  return call.end<ssize_t>(answer.result, answer.known ? answer.error : EINVAL);
}

std::optional<ssize_t> write(BoardState& board, int fd, const void* buffer, std::size_t size) {
  Frame call(board, Subject::hardware, "write", "", {low_word(size)});
  Descriptor* node = board.descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  call.set_node(node->name);
  if (!node->can_write()) return call.fail(EBADF);
  if (const auto faulty = call.meet_on(node->device, "write")) {
    if (!faulty->at_most) return call.end<ssize_t>(*faulty);
    size = std::min(size, *faulty->at_most);
  }
  if (const int error = pass(board, call, fd, node->device,
                             duration_of(board, call.node(), *node->device, Transfer::write)))
    return call.fail(error);
  node = board.descriptors.find_node(fd);
  if ((node->flags & O_APPEND) != 0 && S_ISREG(node->device->mode())) node->position = node->device->size();
  const Answer answer = node->device->write(buffer, size, node->position);
  if (!answer.known) board.violation("writing " + call.node() + " is not known (write)");
  return call.end<ssize_t>(answer.result, answer.known ? answer.error : EINVAL);
}

std::optional<off64_t> lseek(BoardState& board, int fd, off64_t offset, int whence) {
  Frame call(board, Subject::hardware, "lseek", "", {static_cast<std::uint32_t>(offset)});
  Descriptor* const node = board.descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  call.set_node(node->name);
  if (const auto faulty = call.meet_on(node->device, "lseek")) return call.end<off64_t>(*faulty);
  off64_t from = 0;
  if (whence == SEEK_CUR) {
    from = node->position;
  } else if (whence == SEEK_END && S_ISREG(node->device->mode())) {
    from = node->device->size();
  } else if (whence != SEEK_SET) {
    board.violation("seeking from the end of " + call.node() + " is not known (lseek)");
    return call.fail(EINVAL);
  }
  const off64_t position = from + offset;
  if (position < 0) return call.fail(EINVAL);
  node->position = position;
  call.end(static_cast<long>(position), 0);
  return position;  // a long is shorter on 32-bit machines
}

std::optional<int> ioctl(BoardState& board, int fd, std::uint32_t request, void* argument) {
  Frame call(board, Subject::hardware, "ioctl");
  const Descriptor* const node = board.descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  call.set_node(node->name);
  call.set_request(request, node->device->words_in(request, argument));
  if (const auto faulty = call.meet_on(node->device, "ioctl")) return call.end(*faulty);
  if (!node->can_write() && node->device->needs_writing(request)) return call.fail(EPERM);
  Device* const device = node->device;
  if (const int error = pass(board, call, fd, device, duration_of(board, call.node(), request)))
    return call.fail(error);
  const Answer answer = device->ioctl(request, argument);
  if (!answer.known) return call.fail_unknown_request();
  return call.end(answer.result, answer.result < 0 ? answer.error : 0);
}

int refuse_request(BoardState& board, int fd, std::uint32_t request) {
  Frame call(board, Subject::network, "ioctl");
  call.set_node(board.name_of(fd));
  call.set_request(request);
  return call.fail_unknown_request();
}

int stat(BoardState& board, const char* name, const std::string& path, struct stat64* status) {
  Frame call(board, Subject::hardware, name, path);
  return end_stat(board, call, status);
}

std::optional<int> fstat(BoardState& board, int fd, struct stat64* status) {
  Frame call(board, Subject::hardware, "fstat");
  const Descriptor* const node = board.descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  call.set_node(node->name);
  return end_stat(board, call, status);
}

int access(BoardState& board, const std::string& path, int mode) {
  Frame call(board, Subject::hardware, "access", path, {static_cast<std::uint32_t>(mode)});
  const Device* const device = board.devices.find(path);
  if (const auto faulty = call.meet_on(device, "access")) return call.end(*faulty);
  if (device == nullptr) return call.fail_missing();
  // The program runs as root: only executing needs a permission.
  const bool refused = (mode & X_OK) != 0 && (device->mode() & 0111) == 0;
  return refused ? call.fail(EACCES) : call.end(0, 0);
}

}  // namespace boardsim::calls
