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
           const std::function<Answer()>& perform) {
  return Frame(board, Subject::hardware, name, what, std::move(record)).run(name, perform);
}

}  // namespace

int mount(BoardState& board, const std::string& node, const std::string& place, const std::string& type) {
  return on_mnt(board, "mount", node + " " + place + " " + type, {0},
                [&] { return board.devices.mounts.mount(node, place, type); });
}

int umount(BoardState& board, const std::string& place) {
  return on_mnt(board, "umount", place, {}, [&] { return board.devices.mounts.umount(place); });
}

int statfs(BoardState& board, const std::string& path, struct statfs64* status) {
  return on_mnt(board, "statfs", path, {}, [&] {
    if (status == nullptr) return Answer::fails(EFAULT);
    Medium::Space space;
    const Answer answer = board.devices.mounts.space(path, space);
    if (answer.known && answer.error == 0) *status = status_of(space);
    return answer;
  });
}

int mkdir(BoardState& board, const std::string& path, mode_t mode) {
  return on_mnt(board, "mkdir", path, {mode}, [&] { return board.devices.mounts.make_folder(path); });
}

int rmdir(BoardState& board, const std::string& path) {
  return on_mnt(board, "rmdir", path, {}, [&] { return board.devices.mounts.remove_folder(path); });
}

int unlink(BoardState& board, const std::string& path) {
  return on_mnt(board, "unlink", path, {}, [&] { return board.devices.mounts.unlink(path); });
}

}  // namespace boardsim::calls
