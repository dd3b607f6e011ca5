// Memory from the system, and the lengths of strings.

#include <memoryapi.h>
#include <winbase.h>
#include <winerror.h>

#include <cstdlib>
#include <cstring>
#include <map>

#include "platform/kernel/call.h"

namespace platform {
namespace {

constexpr SIZE_T kPage = 4096;

// Sizes of what VirtualAlloc gave; with the state lock.
std::map<void*, SIZE_T>& regions() {
  static auto* const all = new std::map<void*, SIZE_T>;
  return *all;
}

void* allocate(SIZE_T size, bool zeroed) {
  // Blocks of size 0 have an address of their own too.
  const SIZE_T wanted = size == 0 ? 1 : size;
  void* memory = zeroed ? std::calloc(1, wanted) : std::malloc(wanted);
  if (memory == nullptr) fail_with(ERROR_NOT_ENOUGH_MEMORY);
  return memory;
}

void* allocate_for(const Call& call, UINT flags, SIZE_T size) {
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  return allocate(size, (flags & LMEM_ZEROINIT) != 0);
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::Fails;

HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size) {
  const Call call("LocalAlloc");
  return platform::allocate_for(call, flags, size);
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
  const Call call("LocalFree", Fails::never);
  std::free(memory);
  return nullptr;
}

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T size) {
  const Call call("GlobalAlloc");
  return platform::allocate_for(call, flags, size);
}

HGLOBAL WINAPI GlobalFree(HGLOBAL memory) {
  const Call call("GlobalFree", Fails::never);
  std::free(memory);
  return nullptr;
}

LPVOID WINAPI VirtualAlloc(LPVOID address, SIZE_T size, DWORD type, DWORD) {
  const Call call("VirtualAlloc");
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  // Regions at a given address or reserved for later are not supplied.
  if (address != nullptr || size == 0 || (type & MEM_COMMIT) == 0) {
    return fail_with(ERROR_INVALID_PARAMETER), nullptr;
  }
  // Exactly the size that was asked for, so that a sanitizer sees an access beyond it.
  void* memory = nullptr;
  if (posix_memalign(&memory, platform::kPage, size) != 0) {
    return fail_with(ERROR_NOT_ENOUGH_MEMORY), nullptr;
  }
  std::memset(memory, 0, size);
  const platform::StateGuard guard;
  platform::regions()[memory] = size;
  return memory;
}

BOOL WINAPI VirtualFree(LPVOID address, SIZE_T size, DWORD type) {
  const Call call("VirtualFree");
  if (type != MEM_RELEASE || size != 0) return fail_with(ERROR_INVALID_PARAMETER);
  {
    const platform::StateGuard guard;
    if (platform::regions().erase(address) == 0) return fail_with(ERROR_INVALID_ADDRESS);
  }
  std::free(address);
  if (call.fault()) return fail_with(*call.fault());
  return TRUE;
}

int WINAPI lstrlenA(LPCSTR text) {
  const Call call("lstrlenA", Fails::never);
  return text == nullptr ? 0 : static_cast<int>(std::strlen(text));
}

int WINAPI lstrlenW(LPCWSTR text) {
  const Call call("lstrlenW", Fails::never);
  int length = 0;
  while (text != nullptr && text[length] != 0) ++length;
  return length;
}
