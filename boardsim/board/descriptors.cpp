#include "boardsim/board/descriptors.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

#include "boardsim/kernel/invariant.h"

namespace boardsim {
namespace {

constexpr std::array<std::string_view, 4> kBoardRoots{"/dev", "/proc/debug", "/devinfo", "/mnt"};
constexpr std::array<std::string_view, 13> kOfThePc{
    "/dev/null",    "/dev/zero",   "/dev/full",  "/dev/tty",    "/dev/ptmx",   "/dev/pts", "/dev/shm",
    "/dev/urandom", "/dev/random", "/dev/stdin", "/dev/stdout", "/dev/stderr", "/dev/fd"};

/// The path itself or something below it.
bool is_below(std::string_view path, std::string_view root) {
  return path.starts_with(root) && (path.size() == root.size() || path[root.size()] == '/');
}

/// Path of a folder that is open, or that the program works in.
std::string folder(int directory) {
  char path[PATH_MAX];
  if (directory == AT_FDCWD) return getcwd(path, sizeof path) != nullptr ? path : "";
  const std::string link = "/proc/self/fd/" + std::to_string(directory);
  const ssize_t size = readlink(link.c_str(), path, sizeof path);
  return size < 0 ? "" : std::string(path, static_cast<std::size_t>(size));
}

/// The absolute path without ".", ".." and doubled slashes, or a slash at its end.
std::optional<std::string> plain_path(int directory, const char* path) {
  if (path == nullptr || *path == '\0') return std::nullopt;
  std::filesystem::path whole(path);
  if (whole.is_relative()) whole = folder(directory) / whole;
  std::string plain = whole.lexically_normal().string();
  if (plain.size() > 1 && plain.ends_with('/')) plain.pop_back();
  return plain;
}

}  // namespace

void Descriptors::add(int fd, std::string name, Device* device, int flags) {
  invariant(fd >= 0, "what is known of descriptors is of open ones");
  invariant(device != nullptr || flags == 0, "only nodes are opened with flags");
  invariant(device == nullptr || find_node(fd) == nullptr,
            "a node's number is free before it is given again");
  entries_.insert_or_assign(fd, Descriptor{std::move(name), device, 0, opened_++, flags});
}

Descriptor* Descriptors::find(int fd) {
  const auto found = entries_.find(fd);
  return found == entries_.end() ? nullptr : &found->second;
}

Descriptor* Descriptors::find_node(int fd) {
  Descriptor* const found = find(fd);
  return found != nullptr && found->device != nullptr ? found : nullptr;
}

std::vector<std::string> Descriptors::open_nodes() const {
  std::map<std::uint64_t, std::string> by_order;
  for (const auto& [fd, entry] : entries_) {
    if (entry.device != nullptr) by_order.emplace(entry.order, entry.name);
  }
  std::vector<std::string> names;
  for (const auto& [order, name] : by_order) names.push_back(name);
  return names;
}

bool is_board_path(std::string_view path) {
  const auto below = [&](std::string_view root) { return is_below(path, root); };
  if (path == "/dev") return false;
  return std::ranges::any_of(kBoardRoots, below) && std::ranges::none_of(kOfThePc, below);
}

bool may_be_missing(std::string_view path) {
  return is_below(path, "/proc/debug") || is_below(path, "/devinfo");
}

std::optional<std::string> board_path(int directory, const char* path) {
  auto plain = plain_path(directory, path);
  return plain && is_board_path(*plain) ? plain : std::nullopt;
}

std::optional<std::string> board_folder(int directory, const char* path) {
  auto plain = plain_path(directory, path);
  return plain && (*plain == "/dev" || is_board_path(*plain)) ? plain : std::nullopt;
}

}  // namespace boardsim
