#include "tests/system/provider.h"

#include <gtest/gtest.h>

#include <cstring>

namespace system_test {
namespace {

constexpr std::uint64_t kUntouchedSlot = 0xEEEEEEEEEEEEEEEE;
constexpr char kUntouchedByte = '\x7E';
constexpr std::uint8_t kUntouchedData = 0xDD;
// More than the library may write, so that writing too much shows.
constexpr std::size_t kSlots = 16;
constexpr std::size_t kNameRoom = 320;

}  // namespace

Provider::Provider() : module_(LoadLibraryA(LibraryFile())) {
  if (module_ == nullptr) {
    ADD_FAILURE() << LibraryFile() << " can't be loaded: error " << GetLastError();
    std::abort();
  }
  const FARPROC address = GetProcAddress(module_, "VLPGetProviderInfo");
  static_assert(sizeof(info_) == sizeof(address));
  std::memcpy(&info_, &address, sizeof(info_));
  if (info_ == nullptr || info_(&table_) != 0 || table_ == nullptr) {
    ADD_FAILURE() << LibraryFile() << " gives no table";
    std::abort();
  }
}

Provider::~Provider() {
  if (module_ == nullptr) return;
  EXPECT_EQ(Terminate(), 0);
  EXPECT_TRUE(Unload()) << "the library stays in memory behind Terminate";
}

bool Provider::Unload() {
  EXPECT_NE(FreeLibrary(module_), FALSE);
  module_ = nullptr;
  return !IsInMemory();
}

bool Provider::IsInMemory() const {
  HMODULE module = nullptr;
  LPCSTR address = nullptr;
  std::memcpy(&address, &info_, sizeof(address));
  return GetModuleHandleExA(
             GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
             address, &module) != FALSE;
}

Connection Provider::Connect(const std::string& name) const {
  return ConnectText(("UFName:" + name).c_str());
}

Connection Provider::ConnectText(const char* prefixed_name) const {
  std::array<std::uint64_t, kSlots> slots;
  slots.fill(kUntouchedSlot);
  std::array<char, kNameRoom> name;
  name.fill(kUntouchedByte);
  Connection connection;
  connection.code = table_->GetConnectInf(prefixed_name, name.data(), slots.data());
  for (const std::uint64_t slot : slots) {
    if (slot == kUntouchedSlot) break;
    connection.entries.push_back(
        {static_cast<ChannelKind>(slot & 0xFFFFFFFF), static_cast<std::uint32_t>(slot >> 32)});
  }
  if (name[0] != kUntouchedByte) {
    const std::string text(name.data(), name.size());
    const std::size_t end = text.find('\0');
    // Behind the terminator nothing is the library's.
    EXPECT_EQ(text.find_first_not_of(kUntouchedByte, end + 1), std::string::npos);
    connection.name = text.substr(0, end);
  }
  return connection;
}

std::int32_t Provider::DeviceId(std::uint32_t request_id, const std::string& name) const {
  return table_->GetDeviceID(request_id, name.c_str());
}

std::int32_t Provider::Status(std::uint32_t request_id, const std::string& name,
                              ChannelKind kind) const {
  return table_->GetStatus(request_id, name.c_str(), kind);
}

std::int32_t Provider::Command(std::uint32_t request_id, const std::string& name, ChannelKind kind,
                               const Bytes& command) const {
  return table_->SendCommand(request_id, name.c_str(), kind, command.data(),
                             static_cast<std::uint32_t>(command.size()));
}

std::int32_t Provider::Through(std::uint32_t request_id, const std::string& name, ChannelKind kind,
                               const Bytes& command) const {
  return table_->SendThroughCommand(request_id, name.c_str(), kind, command.data(),
                                    static_cast<std::uint32_t>(command.size()));
}

Result Provider::Take(std::uint32_t capacity) const {
  Result result;
  result.size = capacity;
  Bytes buffer(capacity, kUntouchedData);
  result.code = table_->GetResult(&result.request_id, buffer.data(), &result.size);
  if (result.code >= 0) {
    EXPECT_EQ(result.size, static_cast<std::uint32_t>(result.code));
    result.data.assign(buffer.begin(), buffer.begin() + result.code);
  } else {
    EXPECT_EQ(buffer, Bytes(capacity, kUntouchedData)) << "a failure wrote into the buffer";
  }
  return result;
}

Thread::Thread(std::function<void()> work) : work_(std::move(work)) {
  handle_ = CreateThread(nullptr, 0, &Thread::Run, this, 0, nullptr);
}

DWORD WINAPI Thread::Run(void* argument) {
  static_cast<Thread*>(argument)->work_();
  return 0;
}

void Thread::Join() {
  if (handle_ == nullptr) return;
  WaitForSingleObject(handle_, INFINITE);
  CloseHandle(handle_);
  handle_ = nullptr;
}

bool Thread::HasEnded() const {
  return handle_ == nullptr || WaitForSingleObject(handle_, 0) == WAIT_OBJECT_0;
}

}  // namespace system_test
