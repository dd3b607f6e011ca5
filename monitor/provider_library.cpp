#include "monitor/provider_library.h"

#include <cstring>

#include "monitor/system.h"

namespace monitor {
namespace {

constexpr std::uint32_t kOperationsUsed = 7;
constexpr std::uint32_t kNameSizeMax = 0x10000;
constexpr std::uint32_t kEntriesMax = 0x10000;
constexpr const char* kPrefix = "UFName:";

VlpGetProviderInfoCall FindExport(HMODULE module) {
  const FARPROC address = GetProcAddress(module, "VLPGetProviderInfo");
  VlpGetProviderInfoCall call = nullptr;
  static_assert(sizeof(call) == sizeof(address));
  std::memcpy(&call, &address, sizeof(call));
  return call;
}

class Lock {
 public:
  explicit Lock(CRITICAL_SECTION& section) : section_(section) { EnterCriticalSection(&section_); }
  ~Lock() { LeaveCriticalSection(&section_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  CRITICAL_SECTION& section_;
};

}  // namespace

ProviderLibrary::ProviderLibrary() { InitializeCriticalSection(&lock_); }

std::unique_ptr<ProviderLibrary> ProviderLibrary::Load(const std::string& file,
                                                       std::string* error) {
  std::unique_ptr<ProviderLibrary> library(new ProviderLibrary);
  *error = library->Open(file);
  if (!error->empty()) library.reset();
  return library;
}

std::string ProviderLibrary::Open(const std::string& file) {
  module_ = LoadProvider(file);
  if (module_ == nullptr) {
    return "can't load the library " + file + " (error " + std::to_string(GetLastError()) + ")";
  }
  const VlpGetProviderInfoCall get_info = FindExport(module_);
  if (get_info == nullptr) return file + " has no VLPGetProviderInfo, so it isn't the library";
  const ProviderTable* table = nullptr;
  const std::int32_t result = get_info(&table);
  if (result != 0 || table == nullptr) {
    return "VLPGetProviderInfo of " + file + " gives " + std::to_string(result);
  }
  if (table->operationCount < kOperationsUsed || table->maxNameSize == 0 ||
      table->maxNameSize > kNameSizeMax || table->maxConnectEntries > kEntriesMax) {
    return file + " hands out a table that this program can't use";
  }
  arrived_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  if (arrived_ == nullptr) return "can't make an event";
  table_ = table;
  taker_ = CreateThread(nullptr, 0, &TakerEntry, this, 0, nullptr);
  return taker_ == nullptr ? "can't start a thread" : "";
}

ProviderLibrary::~ProviderLibrary() {
  if (table_ != nullptr) table_->Terminate();
  if (taker_ != nullptr) {
    WaitForSingleObject(taker_, INFINITE);
    CloseHandle(taker_);
  }
  if (module_ != nullptr) FreeLibrary(module_);
  if (arrived_ != nullptr) CloseHandle(arrived_);
  DeleteCriticalSection(&lock_);
}

DWORD WINAPI ProviderLibrary::TakerEntry(void* self) {
  static_cast<ProviderLibrary*>(self)->TakeResults();
  return 0;
}

void ProviderLibrary::TakeResults() {
  std::vector<std::uint8_t> buffer(2048);
  for (;;) {
    std::uint32_t request_id = 0;
    auto size = static_cast<std::uint32_t>(buffer.size());
    const std::int32_t result = table_->GetResult(&request_id, buffer.data(), &size);
    if (result == VLPER_BUFFERSIZE && size > buffer.size()) {
      buffer.resize(size);
      continue;
    }
    const Lock lock(lock_);
    if (result < 0) {
      taker_result_ = result;
      return;
    }
    results_[request_id].assign(buffer.begin(), buffer.begin() + result);
    SetEvent(arrived_);
  }
}

DataAnswer ProviderLibrary::WaitFor(std::uint32_t request_id) {
  for (;;) {
    {
      const Lock lock(lock_);
      const auto found = results_.find(request_id);
      if (found != results_.end()) {
        DataAnswer answer{0, std::move(found->second)};
        results_.erase(found);
        return answer;
      }
      if (taker_result_ < 0) return {taker_result_, {}};
    }
    const HANDLE either[] = {arrived_, taker_};
    WaitForMultipleObjects(2, either, FALSE, INFINITE);
  }
}

ConnectAnswer ProviderLibrary::GetConnectInf(const std::string& name) {
  std::vector<char> name_out(table_->maxNameSize);
  std::vector<std::uint64_t> entries(table_->maxConnectEntries);
  ConnectAnswer answer;
  answer.result = table_->GetConnectInf((kPrefix + name).c_str(), name_out.data(), entries.data());
  for (std::int32_t index = 0; index < answer.result; ++index) {
    const std::uint64_t entry = entries.at(static_cast<std::size_t>(index));
    answer.channels.push_back(
        {static_cast<ChannelKind>(entry), static_cast<std::uint32_t>(entry >> 32)});
  }
  return answer;
}

DataAnswer ProviderLibrary::GetDeviceID(const std::string& name) {
  const std::uint32_t request_id = ++last_request_;
  const std::int32_t result = table_->GetDeviceID(request_id, name.c_str());
  return result < 0 ? DataAnswer{result, {}} : WaitFor(request_id);
}

}  // namespace monitor
