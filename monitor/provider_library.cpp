#include "monitor/provider_library.h"

#include <cstring>
#include <utility>

#include "monitor/lock.h"
#include "monitor/system.h"

namespace monitor {
namespace {

constexpr std::uint32_t kOperationsUsed = 7;
constexpr std::uint32_t kNameSizeMax = 0x10000;
constexpr std::uint32_t kEntriesMax = 0x10000;
constexpr DWORD kLateReplyMs = 2000;
constexpr const char* kPrefix = "UFName:";

VlpGetProviderInfoCall FindExport(HMODULE module) {
  const FARPROC address = GetProcAddress(module, "VLPGetProviderInfo");
  VlpGetProviderInfoCall call = nullptr;
  static_assert(sizeof(call) == sizeof(address));
  std::memcpy(&call, &address, sizeof(call));
  return call;
}

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

std::optional<std::vector<std::uint8_t>> ProviderLibrary::TakeIfThere(std::uint32_t request_id) {
  const Lock lock(lock_);
  const auto found = results_.find(request_id);
  if (found == results_.end()) return std::nullopt;
  std::vector<std::uint8_t> data = std::move(found->second);
  results_.erase(found);
  return data;
}

DataAnswer ProviderLibrary::WaitFor(std::uint32_t request_id) {
  for (;;) {
    if (auto data = TakeIfThere(request_id)) return {0, std::move(*data)};
    {
      const Lock lock(lock_);
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

DataAnswer ProviderLibrary::GetStatus(const std::string& name, ChannelKind kind) {
  const std::uint32_t request_id = ++last_request_;
  const std::int32_t result = table_->GetStatus(request_id, name.c_str(), kind);
  return result < 0 ? DataAnswer{result, {}} : WaitFor(request_id);
}

SendAnswer ProviderLibrary::SendCommand(const std::string& name, ChannelKind kind,
                                        std::span<const std::uint8_t> command) {
  const std::uint32_t request_id = ++last_request_;
  SendAnswer answer;
  answer.result = table_->SendCommand(request_id, name.c_str(), kind, command.data(),
                                      static_cast<std::uint32_t>(command.size()));
  if (answer.result >= 0) answer.reply = ReplyTo(request_id, name);
  return answer;
}

// An empty reply is never queued, and no result says so. But a reply is in the queue before
// SendCommand returns, results are taken in the order of their arrival, and a device ID is
// always a result: so when one that was asked for afterwards has come, a reply that hasn't
// come was empty.
std::optional<std::vector<std::uint8_t>> ProviderLibrary::ReplyTo(std::uint32_t request_id,
                                                                  const std::string& name) {
  if (auto early = TakeIfThere(request_id)) return early;
  if (GetDeviceID(name).result >= 0) {
    return TakeIfThere(request_id).value_or(std::vector<std::uint8_t>());
  }
  // The printer has gone since. A reply that lies in the queue needs no printer any more, only
  // the taking thread's turn; that none comes proves nothing.
  const DWORD started = GetTickCount();
  for (;;) {
    if (auto late = TakeIfThere(request_id)) return late;
    const DWORD passed = GetTickCount() - started;
    if (passed >= kLateReplyMs) return std::nullopt;
    const HANDLE either[] = {arrived_, taker_};
    const DWORD woken = WaitForMultipleObjects(2, either, FALSE, kLateReplyMs - passed);
    if (woken != WAIT_OBJECT_0) return TakeIfThere(request_id);
  }
}

std::int32_t ProviderLibrary::SendThroughCommand(const std::string& name, ChannelKind kind,
                                                 std::span<const std::uint8_t> command) {
  return table_->SendThroughCommand(++last_request_, name.c_str(), kind, command.data(),
                                    static_cast<std::uint32_t>(command.size()));
}

}  // namespace monitor
