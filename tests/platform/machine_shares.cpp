// Share modes between processes, and the locks when a process ends.

#include "tests/platform/own_machine.h"

#include "platform/kernel/object.h"

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr DWORD read_write = static_cast<DWORD>(GENERIC_READ) | GENERIC_WRITE;

class SharesBetweenProcesses : public own_machine::MachineTest {
 protected:
  SharesBetweenProcesses() { own_machine::write_file(path, "x"); }

  static constexpr const char* path = "C:\\shared.log";
};

// The error of opening the file in a child process, as a small number; 0 for success.
int error_in_child(const char* path, DWORD access, DWORD share) {
  const pid_t child = fork();
  if (child == 0) {
    const HANDLE file = CreateFileA(path, access, share, nullptr, OPEN_EXISTING, 0, nullptr);
    _exit(file == INVALID_HANDLE_VALUE ? static_cast<int>(GetLastError() & 0x7F) : 0);
  }
  int status = 0;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status);
}

// A child process that holds the file open until it is told to end.
class Holder {
 public:
  Holder(const char* path, DWORD access, DWORD share) {
    int ready[2] = {};
    EXPECT_EQ(0, pipe(ready));
    EXPECT_EQ(0, pipe(end_));
    child_ = fork();
    if (child_ == 0) {
      const HANDLE file = CreateFileA(path, access, share, nullptr, OPEN_EXISTING, 0, nullptr);
      const char answer = file == INVALID_HANDLE_VALUE ? 'n' : 'y';
      close(end_[1]);
      char byte = 0;
      _exit(write(ready[1], &answer, 1) == 1 && read(end_[0], &byte, 1) >= 0 ? 0 : 1);
    }
    close(ready[1]);
    char answer = 0;
    EXPECT_EQ(1, read(ready[0], &answer, 1));
    EXPECT_EQ('y', answer);
    close(ready[0]);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  ~Holder() { end(); }

  void end() {
    if (child_ > 0) {
      close(end_[1]);
      close(end_[0]);
      int status = 0;
      EXPECT_EQ(child_, waitpid(child_, &status, 0));
      child_ = 0;
    }
  }

 private:
  int end_[2] = {};
  pid_t child_ = 0;
};

TEST_F(SharesBetweenProcesses, OpenFileKeepsAnotherProcessOut) {
  const HANDLE file =
      CreateFileA(path, read_write, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(INVALID_HANDLE_VALUE, file);
  EXPECT_EQ(ERROR_SHARING_VIOLATION, error_in_child(path, read_write, FILE_SHARE_READ));
  EXPECT_EQ(0, error_in_child(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE));
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_EQ(0, error_in_child(path, read_write, 0));
}

TEST_F(SharesBetweenProcesses, ProcessThatEndsLetsGoOfItsFiles) {
  Holder holder(path, read_write, FILE_SHARE_READ);
  EXPECT_EQ(INVALID_HANDLE_VALUE,
            CreateFileA(path, read_write, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr));
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, GetLastError());
  EXPECT_FALSE(DeleteFileA(path));
  EXPECT_EQ(DWORD{ERROR_SHARING_VIOLATION}, GetLastError());
  holder.end();
  EXPECT_TRUE(DeleteFileA(path));
}

}  // namespace
