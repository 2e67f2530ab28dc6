#include "boardrec/session/descriptors.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace boardrec {
namespace {

constexpr std::array<std::string_view, 4> kBoardRoots{"/dev", "/proc/debug", "/devinfo", "/mnt"};
constexpr std::array<std::string_view, 13> kOfEverySystem{
    "/dev/null",    "/dev/zero",   "/dev/full",  "/dev/tty",    "/dev/ptmx",   "/dev/pts", "/dev/shm",
    "/dev/urandom", "/dev/random", "/dev/stdin", "/dev/stdout", "/dev/stderr", "/dev/fd"};

bool is_below(std::string_view path, std::string_view root) {
  return path.starts_with(root) && (path.size() == root.size() || path[root.size()] == '/');
}

bool went_well(const Record& record) {
  return record.error == 0 && record.result >= 0 && (record.flags & (kBegan | kCancelled)) == 0;
}

}  // namespace

void Descriptors::open(std::int64_t fd, std::string name, bool is_socket, const Record& record) {
  descriptors_[fd].push_back({std::move(name), is_socket, record.ended, {record.number}});
}

void Descriptors::close(std::int64_t fd, std::uint64_t began) {
  const auto found = descriptors_.find(fd);
  if (found == descriptors_.end()) return;
  std::vector<Opened>& opened = found->second;
  // What has come meanwhile is another one; so is the last of two when time stands still.
  if (std::erase_if(opened, [began](const Opened& one) { return one.since < began; }) == 0)
    opened.erase(opened.begin());
  if (opened.empty()) descriptors_.erase(found);
}

void Descriptors::follow(const Record& record) {
  if (record.call == Call::close) {  // one that fails is gone all the same
    close(value_at(record.in, 0).number, record.began);
    return;
  }
  if (record.call == Call::fclose) streams_.erase(value_at(record.in, 0).number);
  if (!went_well(record)) return;
  const std::int64_t fd = value_at(record.in, 0).number;
  const auto known = descriptors_.find(fd);
  Opened* const socket = known != descriptors_.end() ? &known->second.back() : nullptr;
  switch (record.call) {
    case Call::open:
      open(record.result, value_at(record.in, 0).bytes, false, record);
      break;
    case Call::fopen:
      if (record.result == 0) break;
      streams_[value_at(record.out, 0).number] = {
          value_at(record.in, 0).bytes, false, record.ended, {record.number}};
      break;
    case Call::socket:
      open(record.result, "socket", true, record);
      break;
    case Call::accept:
      open(record.result, "station", true, record);
      break;
    case Call::bind:
      if (socket != nullptr) socket->records.push_back(record.number);
      break;
    case Call::listen:
    case Call::connect:
      if (socket == nullptr) break;
      socket->records.push_back(record.number);
      socket->name = record.call == Call::listen                           ? "listener"
                     : value_at(record.in, 1).bytes == kApplicationAddress ? "application"
                                                                           : "station";
      break;
    default:
      break;
  }
}

const Opened* Descriptors::find(std::int64_t fd, std::uint64_t began) const {
  const auto found = descriptors_.find(fd);
  if (found == descriptors_.end()) return nullptr;
  const std::vector<Opened>& opened = found->second;
  const auto last = std::ranges::find_if(opened.rbegin(), opened.rend(),
                                         [began](const Opened& one) { return one.since <= began; });
  return last != opened.rend() ? &*last : &opened.front();
}

const Opened* Descriptors::find_stream(std::int64_t stream) const {
  const auto found = streams_.find(stream);
  return found != streams_.end() ? &found->second : nullptr;
}

std::vector<std::size_t> Descriptors::openings() const {
  std::vector<std::size_t> records;
  const auto take = [&records](const Opened& one) {
    records.insert(records.end(), one.records.begin(), one.records.end());
  };
  for (const auto& [fd, opened] : descriptors_) std::ranges::for_each(opened, take);
  for (const auto& [stream, opened] : streams_) take(opened);
  std::ranges::sort(records);
  return records;
}

bool is_board_path(std::string_view path) {
  const std::string plain = std::filesystem::path(path).lexically_normal().string();
  const auto below = [&](std::string_view root) { return is_below(plain, root); };
  if (plain == "/dev" || plain == "/dev/") return false;
  return std::ranges::any_of(kBoardRoots, below) && std::ranges::none_of(kOfEverySystem, below);
}

}  // namespace boardrec
