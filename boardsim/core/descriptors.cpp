// The program's descriptors that the board knows something about.
#include "boardsim/core/descriptors.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>

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

}  // namespace

void Descriptors::add(int fd, std::string name, Device* device) {
  entries_.insert_or_assign(fd, Descriptor{std::move(name), device, 0, opened_++});
}

Descriptor* Descriptors::find(int fd) {
  const auto found = entries_.find(fd);
  return found == entries_.end() ? nullptr : &found->second;
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
  return is_below(path, "/proc/debug");
}

std::string plain_path(const char* path) {
  return std::filesystem::path(path).lexically_normal().string();
}

}  // namespace boardsim
