// Two real processes: their ends, and the named mutexes that they share.

#include <windows.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/platform/call_helpers.h"

namespace {

using test::Handle;
using test::kUntouched;
using test::look;

std::string partner_path() {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string own = path;
  return own.substr(0, own.find_last_of("/\\") + 1) + VLP_PARTNER;
}

// Starts the partner; the caller closes the handle.
HANDLE start_partner(const std::string& arguments) {
  std::string line = "\"" + partner_path() + "\" " + arguments;
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information{};
  if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &information)) {
    ADD_FAILURE() << "no process: " << GetLastError();
    return nullptr;
  }
  CloseHandle(information.hThread);
  return information.hProcess;
}

DWORD run_partner(const std::string& arguments) {
  const Handle process(start_partner(arguments));
  EXPECT_EQ(WaitForSingleObject(process, 30000), WAIT_OBJECT_0);
  DWORD code = 0xffff;
  EXPECT_TRUE(GetExitCodeProcess(process, &code));
  return code;
}

TEST(Processes, TheExitCodeIsReadWhenTheEndIsSignalled) {
  EXPECT_EQ(run_partner("die Global\\VlpProcess_exit"), 7u);
}

TEST(Processes, AMissingProgramIsAMissingFile) {
  std::string line = "no_such_program_at_all.exe";
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information{};
  SetLastError(kUntouched);
  EXPECT_FALSE(CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &information));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST(SharedMutexes, AnotherProcessFindsTheNameWhileItIsOpenHere) {
  EXPECT_EQ(run_partner("exists Global\\VlpProcess_name"), DWORD{ERROR_SUCCESS});
  {
    const Handle mutex(CreateMutexA(nullptr, FALSE, "Global\\VlpProcess_name"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(run_partner("exists Global\\VlpProcess_name"), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(run_partner("exists Global\\VLPPROCESS_NAME"), DWORD{ERROR_SUCCESS});
  }
  EXPECT_EQ(run_partner("exists Global\\VlpProcess_name"), DWORD{ERROR_SUCCESS});
}

TEST(SharedMutexes, AnOwnerHereKeepsAnotherProcessOut) {
  const Handle mutex(CreateMutexA(nullptr, TRUE, "Global\\VlpProcess_keep"));
  EXPECT_EQ(run_partner("try Global\\VlpProcess_keep"), 2u);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(run_partner("try Global\\VlpProcess_keep"), WAIT_OBJECT_0);
  // It ended with the mutex in its hands.
  EXPECT_EQ(look(mutex), WAIT_ABANDONED);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(look(mutex), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(SharedMutexes, ADeadProcessLeavesItAbandonedToTheNextWait) {
  const Handle mutex(CreateMutexA(nullptr, FALSE, "Global\\VlpProcess_dead"));
  EXPECT_EQ(run_partner("die Global\\VlpProcess_dead"), 7u);
  const Handle never(test::new_event(false, false));
  const HANDLE both[] = {never, mutex};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 5000), WAIT_ABANDONED_0 + 1);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(run_partner("try Global\\VlpProcess_dead"), WAIT_OBJECT_0);
}

TEST(SharedMutexes, AWaitEndsWhenAnotherProcessReleases) {
  const Handle mutex(CreateMutexA(nullptr, TRUE, "Global\\VlpProcess_hold"));
  const Handle process(start_partner("hold Global\\VlpProcess_hold 100"));
  EXPECT_EQ(WaitForSingleObject(process, 0), DWORD{WAIT_TIMEOUT});
  ReleaseMutex(mutex);
  // The partner takes it some time after it has started; it is ours again when it ends.
  EXPECT_EQ(WaitForSingleObject(process, 30000), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(mutex, 10000), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
}

TEST(SharedMutexes, AnAbandonedOneOfAThreadIsAbandonedForAnotherProcessToo) {
  const Handle mutex(CreateMutexA(nullptr, FALSE, "Global\\VlpProcess_thread"));
  test::on_other_thread([&] { return look(mutex); });
  EXPECT_EQ(run_partner("try Global\\VlpProcess_thread"), DWORD{WAIT_ABANDONED});
}

TEST(SharedMutexes, AnOwnerWithoutAHandleLeavesItAbandonedToAnotherProcess) {
  HANDLE process = nullptr;
  test::on_other_thread([&] {
    const HANDLE mutex = CreateMutexA(nullptr, TRUE, "Global\\VlpProcess_closed");
    process = start_partner("await Global\\VlpProcess_closed Global\\VlpProcess_ready");
    DWORD error = ERROR_SUCCESS;
    while (error != ERROR_ALREADY_EXISTS && WaitForSingleObject(process, 10) == WAIT_TIMEOUT) {
      const Handle ready(CreateMutexA(nullptr, FALSE, "Global\\VlpProcess_ready"));
      error = GetLastError();
    }
    EXPECT_TRUE(CloseHandle(mutex));
    return DWORD{0};
  });
  const Handle owner(process);
  EXPECT_EQ(WaitForSingleObject(process, 30000), WAIT_OBJECT_0);
  DWORD code = 0xffff;
  EXPECT_TRUE(GetExitCodeProcess(process, &code));
  EXPECT_EQ(code, DWORD{WAIT_ABANDONED});
}

}  // namespace
