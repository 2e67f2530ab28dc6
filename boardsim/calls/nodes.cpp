// How the board answers calls on its nodes.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "boardsim/board/state.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

std::uint32_t low_word(std::size_t size) {
  return static_cast<std::uint32_t>(size);
}

std::string hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", number);
  return text;
}

struct stat64 status_of(const Device& device) {
  struct stat64 status {};
  status.st_mode = device.mode();
  status.st_size = device.size();
  status.st_nlink = 1;
  status.st_blksize = 4096;
  return status;
}

}  // namespace

std::optional<FaultyCall> BoardState::meet_on(const Device* device, std::string_view call,
                                              std::string_view path, std::uint32_t request) {
  const auto faulty = call_faults.meet(call, path, request);
  const int error = device != nullptr ? device->dead() : 0;
  return error != 0 ? FaultyCall{.error = error} : faulty;
}

bool BoardState::is_node(int fd) {
  const std::lock_guard lock(mutex);
  return descriptors.find_node(fd) != nullptr;
}

int BoardState::open(const char* name, const std::string& path, int flags) {
  const std::lock_guard lock(mutex);
  Call call = begin(name, path, {static_cast<std::uint32_t>(flags)});
  const auto failed = [&](int error) {
    return static_cast<int>(finish(std::move(call), Subject::hardware, -1, error));
  };
  Device* const device = (flags & O_CREAT) != 0 ? devices.find_or_make(path) : devices.find(path);
  if (device == nullptr) {
    const int result = failed(ENOENT);
    if (!devices.may_be_missing(path)) violation("unknown node " + path + " (" + name + ")");
    return result;
  }
  if (const auto faulty = meet_on(device, "open", path)) return failed(faulty->error);
  const Answer answer = device->open(flags);
  if (answer.result < 0) return failed(answer.error);
  const int fd = device->descriptor(flags);
  if (fd < 0) return failed(errno);
  descriptors.add(fd, path, device, flags);
  return static_cast<int>(finish(std::move(call), Subject::hardware, fd, 0));
}

int BoardState::close(int fd) {
  const std::lock_guard lock(mutex);
  const Descriptor* known = descriptors.find(fd);
  if (known == nullptr && fd < 0) {  // harmless, but a program that does it has lost track of its nodes
    return static_cast<int>(finish(begin("close", std::to_string(fd)), Subject::hardware, -1, EBADF));
  }
  if (known == nullptr) return real::close(fd);
  const std::string name = known->name;
  Device* const device = known->device;
  Call call = begin("close", name);
  // The number is free for other threads from here on, so the entry goes first.
  descriptors.remove(fd);
  int result = real::close(fd);
  int error = result < 0 ? errno : 0;
  if (device != nullptr) device->close();
  serve_application(name);
  // As on Linux, a descriptor is gone even when closing it fails.
  if (const auto faulty = meet_on(device, "close", name); faulty && error == 0) {
    result = -1;
    error = faulty->error;
  }
  const Subject subject = device != nullptr ? Subject::hardware : Subject::network;
  return static_cast<int>(finish(std::move(call), subject, result, error));
}

Answer BoardState::read_node(std::unique_lock<std::mutex>& lock, int fd, void* buffer, std::size_t size) {
  std::optional<Time> deadline;
  for (const Time began = clock.now();;) {
    Descriptor* const node = descriptors.find_node(fd);
    if (node == nullptr) return Answer::fails(EBADF);  // another thread has closed it meanwhile
    const Answer answer = node->device->read(buffer, size, node->position);
    if (answer.error != EAGAIN || (real::fcntl(fd, F_GETFL) & O_NONBLOCK) != 0) return answer;
    if (const auto limit = node->device->read_limit()) deadline = began + *limit;
    lock.unlock();
    const int error = wait_readable(fd, deadline);
    lock.lock();
    if (error == EAGAIN) return Answer::ok();
    if (error != 0) return Answer::fails(error);
  }
}

int BoardState::pass_transfer(std::unique_lock<std::mutex>& lock, int fd, const Device* device) {
  const Time span = device->transfer_time();
  if (span == Time(0)) return 0;
  const Time end = clock.now() + span;
  lock.unlock();
  clock.sleep_until(end);
  lock.lock();
  const Descriptor* const node = descriptors.find_node(fd);
  // Another thread may have closed it meanwhile.
  return node == nullptr || node->device != device ? EBADF : device->dead();
}

std::optional<ssize_t> BoardState::read(int fd, void* buffer, std::size_t size) {
  std::unique_lock lock(mutex);
  const Descriptor* const node = descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  Call call = begin("read", node->name, {low_word(size)});
  if (!node->can_read()) return finish(std::move(call), Subject::hardware, -1, EBADF);
  if (const auto faulty = meet_on(node->device, "read", node->name)) {
    if (!faulty->at_most) return finish(std::move(call), Subject::hardware, -1, faulty->error);
    size = std::min(size, *faulty->at_most);
  }
  const int error = pass_transfer(lock, fd, node->device);
  const Answer answer = error != 0 ? Answer::fails(error) : read_node(lock, fd, buffer, size);
  if (!answer.known) violation("reading " + call.node + " is not known (read)");
  return finish(std::move(call), Subject::hardware, answer.result, answer.known ? answer.error : EINVAL);
}

std::optional<ssize_t> BoardState::write(int fd, const void* buffer, std::size_t size) {
  std::unique_lock lock(mutex);
  Descriptor* node = descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  Call call = begin("write", node->name, {low_word(size)});
  if (!node->can_write()) return finish(std::move(call), Subject::hardware, -1, EBADF);
  if (const auto faulty = meet_on(node->device, "write", node->name)) {
    if (!faulty->at_most) return finish(std::move(call), Subject::hardware, faulty->result, faulty->error);
    size = std::min(size, *faulty->at_most);
  }
  if (const int error = pass_transfer(lock, fd, node->device)) {
    return finish(std::move(call), Subject::hardware, -1, error);
  }
  node = descriptors.find_node(fd);
  if ((node->flags & O_APPEND) != 0 && S_ISREG(node->device->mode())) node->position = node->device->size();
  const Answer answer = node->device->write(buffer, size, node->position);
  if (!answer.known) violation("writing " + node->name + " is not known (write)");
  return finish(std::move(call), Subject::hardware, answer.result, answer.known ? answer.error : EINVAL);
}

std::optional<off64_t> BoardState::lseek(int fd, off64_t offset, int whence) {
  const std::lock_guard lock(mutex);
  Descriptor* const node = descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  Call call = begin("lseek", node->name, {static_cast<std::uint32_t>(offset)});
  const auto done = [&](off64_t result, int error) {
    finish(std::move(call), Subject::hardware, static_cast<long>(result), error);
    return result;
  };
  if (const auto faulty = meet_on(node->device, "lseek", node->name)) {
    return done(faulty->result, faulty->error);
  }
  off64_t from = 0;
  if (whence == SEEK_CUR) {
    from = node->position;
  } else if (whence == SEEK_END && S_ISREG(node->device->mode())) {
    from = node->device->size();
  } else if (whence != SEEK_SET) {
    violation("seeking from the end of " + node->name + " is not known (lseek)");
    return done(-1, EINVAL);
  }
  const off64_t position = from + offset;
  if (position < 0) return done(-1, EINVAL);
  node->position = position;
  return done(position, 0);
}

std::optional<int> BoardState::ioctl(int fd, std::uint32_t request, void* argument) {
  const std::lock_guard lock(mutex);
  const Descriptor* const node = descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  Call call = begin("ioctl", node->name, node->device->words_in(request, argument));
  call.request = request;
  const auto done = [&](long result, int error) {
    return static_cast<int>(finish(std::move(call), Subject::hardware, result, error));
  };
  if (const auto faulty = meet_on(node->device, "ioctl", node->name, request)) {
    return done(faulty->result, faulty->error);
  }
  if (!node->can_write() && node->device->needs_writing(request)) return done(-1, EPERM);
  const Answer answer = node->device->ioctl(request, argument);
  if (!answer.known) return unknown_request(std::move(call), Subject::hardware);
  return done(answer.result, answer.result < 0 ? answer.error : 0);
}

int BoardState::refuse_request(int fd, std::uint32_t request) {
  const std::lock_guard lock(mutex);
  Call call = begin("ioctl", name_of(fd));
  call.request = request;
  return unknown_request(std::move(call), Subject::network);
}

int BoardState::unknown_request(Call call, Subject subject) {
  const std::string text = "unknown request " + hex(call.request) + " on " + call.node + " (ioctl)";
  const auto result = static_cast<int>(finish(std::move(call), subject, -1, ENOTTY));
  violation(text);
  return result;
}

int BoardState::stat(const char* name, const std::string& path, struct stat64* status) {
  const std::lock_guard lock(mutex);
  return locked_stat(name, path, status);
}

std::optional<int> BoardState::fstat(int fd, struct stat64* status) {
  const std::lock_guard lock(mutex);
  const Descriptor* const node = descriptors.find_node(fd);
  if (node == nullptr) return std::nullopt;
  return locked_stat("fstat", node->name, status);
}

int BoardState::locked_stat(const char* name, const std::string& path, struct stat64* status) {
  Call call = begin(name, path);
  const auto done = [&](int error) {
    return static_cast<int>(finish(std::move(call), Subject::hardware, error == 0 ? 0 : -1, error));
  };
  const Device* const device = devices.find(path);
  if (const auto faulty = meet_on(device, "stat", path)) {
    return static_cast<int>(finish(std::move(call), Subject::hardware, faulty->result, faulty->error));
  }
  if (device == nullptr) {
    const int result = done(ENOENT);
    if (!devices.may_be_missing(path)) violation("unknown node " + path + " (" + name + ")");
    return result;
  }
  if (status == nullptr) return done(EFAULT);
  *status = status_of(*device);
  return done(0);
}

int BoardState::access(const std::string& path, int mode) {
  const std::lock_guard lock(mutex);
  Call call = begin("access", path, {static_cast<std::uint32_t>(mode)});
  const auto done = [&](int error) {
    return static_cast<int>(finish(std::move(call), Subject::hardware, error == 0 ? 0 : -1, error));
  };
  const Device* const device = devices.find(path);
  if (const auto faulty = meet_on(device, "access", path)) {
    return static_cast<int>(finish(std::move(call), Subject::hardware, faulty->result, faulty->error));
  }
  if (device == nullptr) {
    const int result = done(ENOENT);
    if (!devices.may_be_missing(path)) violation("unknown node " + path + " (access)");
    return result;
  }
  // The program runs as root: only executing needs a permission.
  return done((mode & X_OK) != 0 && (device->mode() & 0111) == 0 ? EACCES : 0);
}

}  // namespace boardsim
