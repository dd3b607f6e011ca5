#include "platform/share_locks.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>

#include <array>

namespace platform {
namespace {

// Far behind any data. One byte for "uses" and one for "forbids" of each right; a user
// and a forbidder hold read locks on theirs and look for holders of the other.
constexpr off_t first_byte = off_t{1} << 62;

struct flock record(short type, size_t index) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = first_byte + static_cast<off_t>(index);
  lock.l_len = 1;
  return lock;
}

bool take(int descriptor, size_t index) {
  struct flock lock = record(F_RDLCK, index);
  return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

void release_all(int descriptor) {
  struct flock lock = record(F_UNLCK, 0);
  lock.l_len = 6;
  fcntl(descriptor, F_OFD_SETLK, &lock);
}

bool others_hold(int descriptor, size_t index) {
  struct flock lock = record(F_WRLCK, index);
  return fcntl(descriptor, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

// Two openers at once must not both find the other there. Held for a few system calls.
class Turn {
 public:
  explicit Turn(int descriptor) : descriptor_(descriptor) {
    while (flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  ~Turn() { flock(descriptor_, LOCK_UN); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  int descriptor_;
};

}  // namespace

FileRights rights_of_access(DWORD access) {
  constexpr DWORD read_data = 1;
  constexpr DWORD write_data = 2;
  constexpr DWORD append_data = 4;
  return {(access & (GENERIC_READ | GENERIC_ALL | read_data)) != 0,
          (access & (GENERIC_WRITE | GENERIC_ALL | write_data | append_data)) != 0,
          (access & (static_cast<DWORD>(DELETE) | GENERIC_ALL)) != 0};
}

FileRights rights_of_share(DWORD share) {
  return {(share & FILE_SHARE_READ) != 0, (share & FILE_SHARE_WRITE) != 0,
          (share & FILE_SHARE_DELETE) != 0};
}

DWORD lock_shares(int descriptor, const FileRights& access, const FileRights& share) {
  const std::array<bool, 3> used = {access.read, access.write, access.remove};
  const std::array<bool, 3> forbidden = {!share.read, !share.write, !share.remove};
  if (!used[0] && !used[1] && !used[2]) {
    return ERROR_SUCCESS;  // looking at attributes disturbs nobody
  }
  const Turn turn(descriptor);
  for (size_t right = 0; right < used.size(); ++right) {
    const size_t uses = right * 2;
    const size_t forbids = uses + 1;
    const bool fits =
        (!used[right] || (take(descriptor, uses) && !others_hold(descriptor, forbids))) &&
        (!forbidden[right] || (take(descriptor, forbids) && !others_hold(descriptor, uses)));
    if (!fits) {
      release_all(descriptor);
      return ERROR_SHARING_VIOLATION;
    }
  }
  return ERROR_SUCCESS;
}

}  // namespace platform
