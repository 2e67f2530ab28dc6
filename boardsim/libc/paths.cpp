// Calls that would do something to the board's own paths, or look at them in a way that no simulated node
// answers: reported there, the C library's everywhere else.
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

namespace {

/// Whether a path is the board's; then the call has been reported.
bool refused(const char* call, const char* path, int directory = AT_FDCWD) {
  const Entered board;
  if (!board) return false;
  const auto its_path = boardsim::board_folder(directory, path);
  if (!its_path) return false;
  calls::refuse(*board, std::string(call) + " of " + *its_path);
  return true;
}

}  // namespace

// The one path of a call that returns -1 when it fails.
#define BOARDSIM_REFUSE_PATH(call, path) \
  if (refused(#call, path)) return -1
// A path that is seen from an open folder.
#define BOARDSIM_REFUSE_PATH_AT(call, directory, path) \
  if (refused(#call, path, directory)) return -1

extern "C" {

int rename(const char* from, const char* to) noexcept {
  BOARDSIM_REFUSE_PATH(rename, from);
  BOARDSIM_REFUSE_PATH(rename, to);
  return real::rename(from, to);
}

int renameat(int from_directory, const char* from, int to_directory, const char* to) noexcept {
  BOARDSIM_REFUSE_PATH_AT(renameat, from_directory, from);
  BOARDSIM_REFUSE_PATH_AT(renameat, to_directory, to);
  return real::renameat(from_directory, from, to_directory, to);
}

int renameat2(int from_directory, const char* from, int to_directory, const char* to,
              unsigned flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(renameat2, from_directory, from);
  BOARDSIM_REFUSE_PATH_AT(renameat2, to_directory, to);
  return real::renameat2(from_directory, from, to_directory, to, flags);
}

int remove(const char* path) noexcept {
  BOARDSIM_REFUSE_PATH(remove, path);
  return real::remove(path);
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(unlinkat, directory, path);
  return real::unlinkat(directory, path, flags);
}

int mkdirat(int directory, const char* path, mode_t mode) noexcept {
  BOARDSIM_REFUSE_PATH_AT(mkdirat, directory, path);
  return real::mkdirat(directory, path, mode);
}

int mknod(const char* path, mode_t mode, dev_t device) noexcept {
  BOARDSIM_REFUSE_PATH(mknod, path);
  return real::mknod(path, mode, device);
}

int mkfifo(const char* path, mode_t mode) noexcept {
  BOARDSIM_REFUSE_PATH(mkfifo, path);
  return real::mkfifo(path, mode);
}

int truncate64(const char* path, off64_t size) noexcept {
  BOARDSIM_REFUSE_PATH(truncate, path);
  return real::truncate64(path, size);
}
int truncate(const char* path, off_t size) noexcept {
  return truncate64(path, size);
}

// A link that leads to the board's paths would hide them.
int symlink(const char* target, const char* path) noexcept {
  BOARDSIM_REFUSE_PATH(symlink, target);
  BOARDSIM_REFUSE_PATH(symlink, path);
  return real::symlink(target, path);
}

int symlinkat(const char* target, int directory, const char* path) noexcept {
  BOARDSIM_REFUSE_PATH(symlinkat, target);
  BOARDSIM_REFUSE_PATH_AT(symlinkat, directory, path);
  return real::symlinkat(target, directory, path);
}

int link(const char* from, const char* to) noexcept {
  BOARDSIM_REFUSE_PATH(link, from);
  BOARDSIM_REFUSE_PATH(link, to);
  return real::link(from, to);
}

int linkat(int from_directory, const char* from, int to_directory, const char* to, int flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(linkat, from_directory, from);
  BOARDSIM_REFUSE_PATH_AT(linkat, to_directory, to);
  return real::linkat(from_directory, from, to_directory, to, flags);
}

int chmod(const char* path, mode_t mode) noexcept {
  BOARDSIM_REFUSE_PATH(chmod, path);
  return real::chmod(path, mode);
}

int fchmodat(int directory, const char* path, mode_t mode, int flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(fchmodat, directory, path);
  return real::fchmodat(directory, path, mode, flags);
}

int chown(const char* path, uid_t owner, gid_t group) noexcept {
  BOARDSIM_REFUSE_PATH(chown, path);
  return real::chown(path, owner, group);
}

int lchown(const char* path, uid_t owner, gid_t group) noexcept {
  BOARDSIM_REFUSE_PATH(lchown, path);
  return real::lchown(path, owner, group);
}

int fchownat(int directory, const char* path, uid_t owner, gid_t group, int flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(fchownat, directory, path);
  return real::fchownat(directory, path, owner, group, flags);
}

int utimensat(int directory, const char* path, const timespec times[2], int flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(utimensat, directory, path);
  return real::utimensat(directory, path, times, flags);
}

int chdir(const char* path) noexcept {
  BOARDSIM_REFUSE_PATH(chdir, path);
  return real::chdir(path);
}

DIR* opendir(const char* path) {
  return refused("opendir", path) ? nullptr : real::opendir(path);
}

int scandir(const char* path, dirent*** list, int (*filter)(const dirent*),
            int (*compare)(const dirent**, const dirent**)) {
  BOARDSIM_REFUSE_PATH(scandir, path);
  return real::scandir(path, list, filter, compare);
}
int scandir64(const char* path, dirent64*** list, int (*filter)(const dirent64*),
              int (*compare)(const dirent64**, const dirent64**)) {
  BOARDSIM_REFUSE_PATH(scandir64, path);
  return real::scandir64(path, list, filter, compare);
}

ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
  BOARDSIM_REFUSE_PATH(readlink, path);
  return real::readlink(path, buffer, size);
}

ssize_t readlinkat(int directory, const char* path, char* buffer, size_t size) noexcept {
  BOARDSIM_REFUSE_PATH_AT(readlinkat, directory, path);
  return real::readlinkat(directory, path, buffer, size);
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept {
  BOARDSIM_REFUSE_PATH_AT(faccessat, directory, path);
  return real::faccessat(directory, path, mode, flags);
}

int statx(int directory, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
  BOARDSIM_REFUSE_PATH_AT(statx, directory, path);
  return real::statx(directory, path, flags, mask, status);
}

int statvfs(const char* path, struct statvfs* status) noexcept {
  BOARDSIM_REFUSE_PATH(statvfs, path);
  return real::statvfs(path, status);
}
int statvfs64(const char* path, struct statvfs64* status) noexcept {
  BOARDSIM_REFUSE_PATH(statvfs, path);
  return real::statvfs64(path, status);
}

FILE* freopen(const char* path, const char* mode, FILE* stream) {
  return refused("freopen", path) ? nullptr : real::freopen(path, mode, stream);
}
FILE* freopen64(const char* path, const char* mode, FILE* stream) {
  return freopen(path, mode, stream);
}

}  // extern "C"
