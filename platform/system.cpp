// What the process and the system say of themselves: version, environment, security.

#include <processenv.h>
#include <securitybaseapi.h>
#include <sysinfoapi.h>
#include <winerror.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/kernel/call.h"

using platform::Call;
using platform::fail_with;
using platform::StateGuard;

BOOL WINAPI GetVersionExA(LPOSVERSIONINFOA information) {
  const Call call("GetVersionExA");
  if (call.fault()) return fail_with(*call.fault());
  const DWORD size = information->dwOSVersionInfoSize;
  if (size != sizeof(OSVERSIONINFOA) && size != sizeof(OSVERSIONINFOEXA)) {
    return fail_with(ERROR_INSUFFICIENT_BUFFER);
  }
  // What a current system tells a program without a manifest.
  OSVERSIONINFOEXA answer{};
  answer.dwOSVersionInfoSize = size;
  answer.dwMajorVersion = 6;
  answer.dwMinorVersion = 2;
  answer.dwBuildNumber = 9200;
  answer.dwPlatformId = VER_PLATFORM_WIN32_NT;
  answer.wProductType = VER_NT_WORKSTATION;
  std::memcpy(information, &answer, size);
  return TRUE;
}

DWORD WINAPI GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size) {
  const Call call("GetEnvironmentVariableA");
  if (call.fault()) return fail_with(*call.fault()), 0;
  const StateGuard guard;
  const char* value = std::getenv(name);
  if (value == nullptr) return fail_with(ERROR_ENVVAR_NOT_FOUND), 0;
  const auto length = static_cast<DWORD>(std::strlen(value));
  if (length >= size) return length + 1;
  std::memcpy(buffer, value, length + 1);
  return length;
}

BOOL WINAPI SetEnvironmentVariableA(LPCSTR name, LPCSTR value) {
  const Call call("SetEnvironmentVariableA");
  if (call.fault()) return fail_with(*call.fault());
  if (name == nullptr || *name == '\0' || std::strchr(name, '=') != nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  const StateGuard guard;
  if (value != nullptr) {
    setenv(name, value, 1);
  } else if (std::getenv(name) == nullptr) {
    return fail_with(ERROR_ENVVAR_NOT_FOUND);
  } else {
    unsetenv(name);
  }
  return TRUE;
}

BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  const Call call("InitializeSecurityDescriptor");
  if (call.fault()) return fail_with(*call.fault());
  constexpr DWORD kUnknownRevision = 1305;
  if (revision != SECURITY_DESCRIPTOR_REVISION) return fail_with(kUnknownRevision);
  auto* record = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  *record = {};
  record->Revision = SECURITY_DESCRIPTOR_REVISION;
  return TRUE;
}

BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL list,
                                      BOOL defaulted) {
  const Call call("SetSecurityDescriptorDacl");
  if (call.fault()) return fail_with(*call.fault());
  auto* record = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  constexpr WORD kBoth = SE_DACL_PRESENT | SE_DACL_DEFAULTED;
  record->Control = static_cast<WORD>(record->Control & ~kBoth);
  record->Dacl = nullptr;
  if (present == FALSE) return TRUE;
  record->Control |= SE_DACL_PRESENT;
  if (defaulted != FALSE) record->Control |= SE_DACL_DEFAULTED;
  record->Dacl = list;
  return TRUE;
}
