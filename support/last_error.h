#pragma once

#include <windows.h>

namespace vlp {

// Puts the thread's last error back as it was, on every way out of the scope.
class LastErrorKeeper {
 public:
  LastErrorKeeper() : kept_(GetLastError()) {}
  ~LastErrorKeeper() { SetLastError(kept_); }
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  DWORD Kept() const { return kept_; }

 private:
  DWORD kept_;
};

}  // namespace vlp
