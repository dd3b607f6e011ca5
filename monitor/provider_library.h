#pragma once

// The library, loaded: its table, and the thread that takes its results.

#include <windows.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "include/vlpbidi.h"

namespace monitor {

struct Channel {
  ChannelKind kind = 0;
  std::uint32_t mode = 0;
};

struct ConnectAnswer {
  std::int32_t result = 0;
  std::vector<Channel> channels;
};

struct DataAnswer {
  std::int32_t result = 0;
  std::vector<std::uint8_t> data;
};

struct SendAnswer {
  std::int32_t result = 0;
  std::optional<std::vector<std::uint8_t>> reply;  // nothing: whether one came can't be told
};

// Names of printers are in the machine's ANSI code page. The calls block as long as the
// library does. Use it from one thread.
class ProviderLibrary {
 public:
  // Loads the file (UTF-8) and starts the taking thread. Null and a text when it can't be
  // used.
  static std::unique_ptr<ProviderLibrary> Load(const std::string& file, std::string* error);

  // Terminates the library, waits for the thread, unloads.
  ~ProviderLibrary();
  ProviderLibrary(const ProviderLibrary&) = delete;
  ProviderLibrary& operator=(const ProviderLibrary&) = delete;

  ConnectAnswer GetConnectInf(const std::string& name);
  DataAnswer GetDeviceID(const std::string& name);
  DataAnswer GetStatus(const std::string& name, ChannelKind kind);
  SendAnswer SendCommand(const std::string& name, ChannelKind kind,
                         std::span<const std::uint8_t> command);
  std::int32_t SendThroughCommand(const std::string& name, ChannelKind kind,
                                  std::span<const std::uint8_t> command);

 private:
  ProviderLibrary();
  std::string Open(const std::string& file);
  static DWORD WINAPI TakerEntry(void* self);
  void TakeResults();
  DataAnswer WaitFor(std::uint32_t request_id);
  std::optional<std::vector<std::uint8_t>> TakeIfThere(std::uint32_t request_id);
  std::optional<std::vector<std::uint8_t>> ReplyTo(std::uint32_t request_id,
                                                   const std::string& name);

  HMODULE module_ = nullptr;
  const ProviderTable* table_ = nullptr;
  HANDLE taker_ = nullptr;
  HANDLE arrived_ = nullptr;  // auto-reset
  std::uint32_t last_request_ = 0;

  CRITICAL_SECTION lock_;
  std::map<std::uint32_t, std::vector<std::uint8_t>> results_;  // under lock_
  std::int32_t taker_result_ = 0;                               // under lock_
};

}  // namespace monitor
