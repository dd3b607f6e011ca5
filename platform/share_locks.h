#pragma once

// Windows' share modes on Linux: record locks of the open file description, so they hold
// between handles and between processes alike and go with the descriptor.

#include <windows.h>

namespace platform {

// Rights that an opener has or lets others have.
struct FileRights {
  bool read = false;
  bool write = false;
  bool remove = false;
};

FileRights rights_of_access(DWORD access);
FileRights rights_of_share(DWORD share);

// Registers an opener on its descriptor; ERROR_SHARING_VIOLATION when it and those that
// are there don't bear each other, and then nothing stays registered.
DWORD lock_shares(int descriptor, const FileRights& access, const FileRights& share);

}  // namespace platform
