// /mnt: which path leads where, and what a program may do there.
#include "boardsim/devices/mounts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>

namespace boardsim {
namespace {

constexpr std::string_view kMountRoot = "/mnt";

bool is_below(std::string_view path, std::string_view folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

std::string_view parent_of(std::string_view path) {
  return path.substr(0, path.rfind('/'));
}

}  // namespace

Answer Folder::open(int flags) {
  return (flags & O_ACCMODE) == O_RDONLY && (flags & O_CREAT) == 0 ? Answer::ok() : Answer::fails(EISDIR);
}

Answer Folder::read(void* /*buffer*/, std::size_t /*size*/, off64_t& /*position*/) {
  return Answer::fails(EISDIR);
}

mode_t Folder::mode() const {
  return S_IFDIR | 0755;
}

bool Mounts::is_path(std::string_view path) {
  return path == kMountRoot || is_below(path, kMountRoot);
}

Mounts::Place Mounts::place_of(std::string_view path) {
  // What was mounted last hides what its folder showed before.
  for (auto mount = mounts_.rbegin(); mount != mounts_.rend(); ++mount) {
    if (path == mount->place) return {mount->medium, ""};
    if (is_below(path, mount->place)) return {mount->medium, path.substr(mount->place.size() + 1)};
  }
  return {};
}

bool Mounts::is_folder(std::string_view path) {
  const auto [medium, name] = place_of(path);
  if (medium != nullptr) return name.empty();
  return path == kMountRoot || std::ranges::find(folders_, path) != folders_.end();
}

bool Mounts::is_on_medium(std::string_view path) {
  const auto [medium, name] = place_of(path);
  return medium != nullptr && !name.empty();
}

Device* Mounts::find(std::string_view path) {
  if (is_folder(path)) return &folder_;
  const auto [medium, name] = place_of(path);
  return medium != nullptr ? medium->find(name) : nullptr;
}

Device* Mounts::find_or_make(std::string_view path) {
  // There are no folders on a medium that a file could be in.
  if (!is_on_medium(path) || is_folder(path) || !is_folder(parent_of(path))) return find(path);
  const auto [medium, name] = place_of(path);
  return medium->find_or_make(name);
}

Answer Mounts::mount(std::string_view node, std::string_view place, std::string_view type) {
  Medium* const source = medium(node);
  if (source == nullptr) return Answer::unknown();
  if (!is_folder(place)) return Answer::fails(find(place) != nullptr ? ENOTDIR : ENOENT);
  if (const int error = source->mount_error()) return Answer::fails(error);
  if (type != "vfat") return Answer::fails(EINVAL);
  if (place_of(place).medium == source) return Answer::fails(EBUSY);
  mounts_.push_back({source, std::string(place)});
  return Answer::ok();
}

Answer Mounts::umount(std::string_view place) {
  if (find(place) == nullptr) return Answer::fails(ENOENT);
  const auto last = std::ranges::find(mounts_.rbegin(), mounts_.rend(), place, &Mount::place);
  if (last == mounts_.rend()) return Answer::fails(EINVAL);
  if (last->medium->is_busy()) return Answer::fails(EBUSY);
  mounts_.erase(std::next(last).base());
  return Answer::ok();
}

Answer Mounts::make_folder(std::string_view path) {
  if (find(path) != nullptr) return Answer::fails(EEXIST);
  if (!is_folder(parent_of(path))) return Answer::fails(ENOENT);
  if (place_of(path).medium != nullptr) return Answer::unknown();
  folders_.emplace_back(path);
  return Answer::ok();
}

Answer Mounts::remove_folder(std::string_view path) {
  if (!is_folder(path)) return Answer::fails(find(path) != nullptr ? ENOTDIR : ENOENT);
  if (place_of(path).medium != nullptr) return Answer::fails(EBUSY);
  if (path == kMountRoot) return Answer::unknown();
  if (std::ranges::any_of(folders_, [&](const auto& folder) { return is_below(folder, path); })) {
    return Answer::fails(ENOTEMPTY);
  }
  std::erase(folders_, path);
  return Answer::ok();
}

Answer Mounts::unlink(std::string_view path) {
  if (is_folder(path)) return Answer::fails(EISDIR);
  const auto [medium, name] = place_of(path);
  return medium != nullptr ? medium->unlink(name) : Answer::unknown();
}

Answer Mounts::space(std::string_view path, Medium::Space& space) {
  if (find(path) == nullptr) return Answer::fails(ENOENT);
  const Medium* const medium = place_of(path).medium;
  if (medium == nullptr) return Answer::unknown();
  if (medium->mount_error() != 0) return Answer::fails(EIO);
  space = medium->space();
  return Answer::ok();
}

Medium* Mounts::medium(std::string_view node) {
  const auto found = std::ranges::find(media, node, &Medium::node);
  return found != media.end() ? &*found : nullptr;
}

Medium& Mounts::at(std::string_view node) {
  if (Medium* const known = medium(node)) return *known;
  throw std::invalid_argument("boardsim: there is no storage medium behind \"" + std::string(node) + "\"");
}

std::vector<std::string> Mounts::mounted() const {
  std::vector<std::string> lines;
  for (const Mount& mount : mounts_)
    lines.push_back(std::string(mount.medium->node()) + " on " + mount.place);
  return lines;
}

}  // namespace boardsim
