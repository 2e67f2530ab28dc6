// Calls that mount media on /mnt, and make and remove what is there.
#include <sys/statfs.h>

#include <cerrno>

#include "boardsim/board/state.h"

namespace boardsim {
namespace {

constexpr long kFatMagic = 0x4D44;
constexpr long kLongestName = 1530;  // as Linux tells it of vfat: 255 characters of up to six bytes

struct statfs64 status_of(const Medium::Space& space) {
  struct statfs64 status {};
  status.f_type = kFatMagic;
  status.f_bsize = status.f_frsize = Medium::kCluster;
  status.f_blocks = static_cast<fsblkcnt64_t>(space.size);
  status.f_bfree = status.f_bavail = static_cast<fsblkcnt64_t>(space.free);
  status.f_namelen = kLongestName;
  return status;
}

}  // namespace

/// `what` names in the trace what the call is about.
int BoardState::storage_call(const char* name, const std::string& what, std::vector<std::uint32_t> record,
                             const std::function<Answer()>& perform) {
  const std::lock_guard lock(mutex);
  Call call = begin(name, what, std::move(record));
  const auto faulty = call_faults.meet(name);
  const Answer answer = faulty ? Answer::fails(faulty->error) : perform();
  const auto result = static_cast<int>(
      finish(std::move(call), Subject::hardware, answer.result, answer.known ? answer.error : EPERM));
  if (!answer.known) {
    violation(std::string(name) + " of " + what + " is nothing that a program may do on this board");
  }
  return result;
}

int BoardState::mount(const std::string& node, const std::string& place, const std::string& type) {
  return storage_call("mount", node + " " + place + " " + type, {0},
                      [&] { return devices.mounts.mount(node, place, type); });
}

int BoardState::umount(const std::string& place) {
  return storage_call("umount", place, {}, [&] { return devices.mounts.umount(place); });
}

int BoardState::statfs(const std::string& path, struct statfs64* status) {
  return storage_call("statfs", path, {}, [&] {
    if (status == nullptr) return Answer::fails(EFAULT);
    Medium::Space space;
    const Answer answer = devices.mounts.space(path, space);
    if (answer.known && answer.error == 0) *status = status_of(space);
    return answer;
  });
}

int BoardState::mkdir(const std::string& path, mode_t mode) {
  return storage_call("mkdir", path, {mode}, [&] { return devices.mounts.make_folder(path); });
}

int BoardState::rmdir(const std::string& path) {
  return storage_call("rmdir", path, {}, [&] { return devices.mounts.remove_folder(path); });
}

int BoardState::unlink(const std::string& path) {
  return storage_call("unlink", path, {}, [&] { return devices.mounts.unlink(path); });
}

}  // namespace boardsim
