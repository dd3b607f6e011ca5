#include "tests/device/pipes_search.h"

#include <algorithm>

using search_test::search_spy;

extern "C" {
HANDLE WINAPI __real_CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL owner, LPCSTR name);
HANDLE WINAPI __wrap_CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL owner, LPCSTR name);
// The name is the compiler's.
bool __real__ZNK3vlp10CWinUSB_IO13GetDevicePathEjPc(const vlp::CWinUSB_IO* device,
                                                    std::uint32_t index, char* path);
bool __wrap__ZNK3vlp10CWinUSB_IO13GetDevicePathEjPc(const vlp::CWinUSB_IO* device,
                                                    std::uint32_t index, char* path);

HANDLE WINAPI __wrap_CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL owner, LPCSTR name) {
  if (attributes != nullptr && name != nullptr && attributes->lpSecurityDescriptor != nullptr) {
    const platform::Exempt exempt;
    search_spy().mutexes.push_back(
        {name, owner, attributes->bInheritHandle, attributes->nLength,
         *static_cast<const SECURITY_DESCRIPTOR*>(attributes->lpSecurityDescriptor)});
  }
  return __real_CreateMutexA(attributes, owner, name);
}

bool __wrap__ZNK3vlp10CWinUSB_IO13GetDevicePathEjPc(const vlp::CWinUSB_IO* device,
                                                    std::uint32_t index, char* path) {
  const std::vector<std::string>& paths = search_spy().paths;
  if (paths.empty()) return __real__ZNK3vlp10CWinUSB_IO13GetDevicePathEjPc(device, index, path);
  if (index >= paths.size()) {
    SetLastError(ERROR_NO_MORE_ITEMS);
    return false;
  }
  EXPECT_TRUE(std::all_of(path, path + vlp::kTextLimit, [](char byte) { return byte == '\0'; }));
  std::copy_n(paths[index].begin(), std::min(paths[index].size(), vlp::kTextLimit), path);
  return true;
}
}

namespace search_test {

SearchSpy& search_spy() {
  static SearchSpy the_spy;
  return the_spy;
}

}  // namespace search_test
