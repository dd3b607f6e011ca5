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

bool mutex_is_free(const std::string& name) {
  bool free = false;
  spawn("looks at the mutex", [&] {
    const vlp::KernelHandle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
    free = WaitForSingleObject(mutex.Get(), 0) == WAIT_OBJECT_0;
    if (free) ReleaseMutex(mutex.Get());
  }).join();
  return free;
}

Holder::Holder(const std::string& name)
    : may_end_(CreateEventA(nullptr, TRUE, FALSE, nullptr)),
      has_it_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
  thread_ = std::make_unique<test::TestThread>(spawn("holder", [this, name] {
    const vlp::KernelHandle mutex(CreateMutexA(nullptr, FALSE, name.c_str()));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(mutex.Get(), INFINITE));
    SetEvent(has_it_.Get());
    WaitForSingleObject(may_end_.Get(), INFINITE);
    EXPECT_TRUE(ReleaseMutex(mutex.Get()));
  }));
  WaitForSingleObject(has_it_.Get(), INFINITE);
}

void Holder::let_go() {
  if (thread_ == nullptr) return;
  SetEvent(may_end_.Get());
  thread_->join();
  thread_.reset();
}

}  // namespace search_test
