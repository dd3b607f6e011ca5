// Who may use the mutex of a log: only the system itself can tell.

#include <gtest/gtest.h>

#include <windows.h>

#include <aclapi.h>

#include <string>

#include "tests/diag/log_fixture.h"

namespace {

using diag_test::LogTest;
using vlp::DbgLog;

// The access list of a kernel object: whether its descriptor can be read, and whether it
// holds a list at all.
struct Access {
  DWORD error = ERROR_SUCCESS;
  bool stated = false;     // the descriptor says something of access
  bool unlimited = false;  // it names no list, so everybody may do everything
};

Access access_of(HANDLE object) {
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  Access access;
  access.error = GetSecurityInfo(object, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                 nullptr, &list, nullptr, &descriptor);
  if (access.error != ERROR_SUCCESS) return access;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  PACL stated = nullptr;
  if (GetSecurityDescriptorDacl(descriptor, &present, &stated, &defaulted) != FALSE) {
    access.stated = present != FALSE;
    access.unlimited = access.stated && stated == nullptr;
  }
  LocalFree(descriptor);
  return access;
}

DWORD flags_of(HANDLE object) {
  DWORD flags = 0;
  EXPECT_NE(FALSE, GetHandleInformation(object, &flags));
  return flags;
}

class LogMutexAccess : public LogTest {
 protected:
  // A printer name of this process alone, since mutexes are the whole machine's.
  static std::string own_name() { return "access " + std::to_string(GetCurrentProcessId()); }
};

TEST_F(LogMutexAccess, ChildProcessesInheritTheHandle) {
  const DbgLog log = open_log(1, 1000, own_name().c_str());
  ASSERT_TRUE(static_cast<bool>(log.mutex));
  EXPECT_EQ(static_cast<DWORD>(HANDLE_FLAG_INHERIT), flags_of(log.mutex.Get()));
  // As handles are that nobody asked it of.
  const vlp::KernelHandle plain(CreateMutexA(nullptr, FALSE, nullptr));
  EXPECT_EQ(0U, flags_of(plain.Get()));
}

TEST_F(LogMutexAccess, AnyUserMayOpenTheMutex) {
  const DbgLog log = open_log(1, 1000, own_name().c_str());
  ASSERT_TRUE(static_cast<bool>(log.mutex));
  const Access access = access_of(log.mutex.Get());
  EXPECT_EQ(static_cast<DWORD>(ERROR_SUCCESS), access.error);
  EXPECT_TRUE(access.stated);
  EXPECT_TRUE(access.unlimited);
}

}  // namespace
