// Calls that mount media on /mnt, and make and remove what is there.
#include <sys/statfs.h>

#include <cerrno>

#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"

namespace boardsim::calls {
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

/// `what` names in the trace what the call is about.
int on_mnt(BoardState& board, const char* name, const std::string& what, std::vector<std::uint32_t> record,
           const std::function<Answer(Mounts& mounts)>& perform) {
  Frame call(board, Subject::hardware, name, what, std::move(record));
  return call.run(
      name, [&]() BOARDSIM_LOCKS(requires_capability(board.mutex)) { return perform(board.devices.mounts); });
}

}  // namespace

int mount(BoardState& board, const std::string& node, const std::string& place, const std::string& type) {
  return on_mnt(board, "mount", node + " " + place + " " + type, {0},
                [&](Mounts& mounts) { return mounts.mount(node, place, type); });
}

int umount(BoardState& board, const std::string& place) {
  return on_mnt(board, "umount", place, {}, [&](Mounts& mounts) { return mounts.umount(place); });
}

int statfs(BoardState& board, const std::string& path, struct statfs64* status) {
  return on_mnt(board, "statfs", path, {}, [&](Mounts& mounts) {
    if (status == nullptr) return Answer::fails(EFAULT);
    Medium::Space space;
    const Answer answer = mounts.space(path, space);
    if (answer.known && answer.error == 0) *status = status_of(space);
    return answer;
  });
}

int mkdir(BoardState& board, const std::string& path, mode_t mode) {
  return on_mnt(board, "mkdir", path, {mode}, [&](Mounts& mounts) { return mounts.make_folder(path); });
}

int rmdir(BoardState& board, const std::string& path) {
  return on_mnt(board, "rmdir", path, {}, [&](Mounts& mounts) { return mounts.remove_folder(path); });
}

int unlink(BoardState& board, const std::string& path) {
  return on_mnt(board, "unlink", path, {}, [&](Mounts& mounts) { return mounts.unlink(path); });
}

}  // namespace boardsim::calls
