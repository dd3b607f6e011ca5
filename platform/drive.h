#pragma once

// Windows paths on the machine's drive C:. Every step is taken from an open folder and
// follows no link, so that nothing planted there leads out of the drive.

#include <windows.h>

#include <string>
#include <string_view>

namespace platform {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  int get() const { return number_; }
  bool valid() const { return number_ >= 0; }
  int release();

 private:
  int number_ = -1;
};

// Where a path leads: an open folder and the last part's name in it.
struct Place {
  DWORD error = ERROR_SUCCESS;  // why it leads nowhere
  Descriptor folder;
  std::string name;        // as the host has it when `found`, else as it would be made
  bool found = false;      // something stands there
  bool is_folder = false;  // and it is a folder
  bool read_only = false;  // and no one may write to it
};

// `path` is ANSI text. Names compare without case. Errors: 3 for an empty or relative path,
// a drive other than C: or a missing folder on the way, 123 for characters that no name may
// hold, 206 for a path of 260 characters or more, 53 for another computer's.
Place find_place(const char* path);

// Whether both places are names of one file.
bool same_file(const Place& left, const Place& right);

// Error number of the last failed host call.
DWORD host_error();

}  // namespace platform
