#pragma once

// The library under test, used as a monitor uses it: loaded by name, asked for its table,
// worked through the seven operations, unloaded.

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "include/vlpbidi.h"
#include "tests/support/far_side.h"
#include "tests/system/library.h"

namespace system_test {

using far_side::Bytes;
using far_side::bytes_of;

// What GetResult gave.
struct Result {
  std::int32_t code = 0;
  std::uint32_t request_id = 0;
  std::uint32_t size = 0;
  Bytes data;  // as many bytes as were there to be filled
};

struct Entry {
  ChannelKind kind = 0;
  std::uint32_t mode = 0;  // the whole upper half of the slot

  bool operator==(const Entry&) const = default;
};

// What GetConnectInf gave and wrote.
struct Connection {
  std::int32_t code = 0;
  std::vector<Entry> entries;         // as many as were written
  std::optional<std::string> name{};  // none: the buffer was left alone
};

class Provider {
 public:
  // Loads the library and gets the table; fails the test when that doesn't go.
  Provider();
  // Terminates and unloads what is still loaded.
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  // Gives up the reference and nothing else, as a monitor that forgot Terminate. True if
  // the library has left memory.
  bool Unload();
  bool IsInMemory() const;

  std::int32_t Info(const ProviderTable** table) const { return info_(table); }
  const ProviderTable& table() const { return *table_; }

  // The operations. `name` of Connect is the plain name; the prefix is put before it.
  Connection Connect(const std::string& name) const;
  Connection ConnectText(const char* prefixed_name) const;
  std::int32_t DeviceId(std::uint32_t request_id, const std::string& name) const;
  std::int32_t Status(std::uint32_t request_id, const std::string& name, ChannelKind kind) const;
  std::int32_t Command(std::uint32_t request_id, const std::string& name, ChannelKind kind,
                       const Bytes& command) const;
  std::int32_t Through(std::uint32_t request_id, const std::string& name, ChannelKind kind,
                       const Bytes& command) const;
  // Blocks until there is a result.
  Result Take(std::uint32_t capacity = 2048) const;
  std::int32_t Terminate() const { return table_->Terminate(); }

 private:
  HMODULE module_ = nullptr;
  VlpGetProviderInfoCall info_ = nullptr;
  const ProviderTable* table_ = nullptr;
};

// A thread of the test. Its end is waited for.
class Thread {
 public:
  explicit Thread(std::function<void()> work);
  ~Thread() { Join(); }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  void Join();
  bool HasEnded() const;

 private:
  static DWORD WINAPI Run(void* argument);

  std::function<void()> work_;
  HANDLE handle_ = nullptr;
};

// A manual-reset event of the test.
class Signal {
 public:
  Signal() : handle_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}
  ~Signal() { CloseHandle(handle_); }
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  HANDLE Get() const { return handle_; }
  void Set() const { SetEvent(handle_); }
  void Wait() const { WaitForSingleObject(handle_, INFINITE); }

 private:
  HANDLE handle_;
};

}  // namespace system_test
