// A library with the export whose answers the printer's name chooses: what the true one
// gives in moments that can't be had from printers at will.
//
//   Answers   SendCommand has a reply, which GetResult holds back until a device ID follows
//   Silent    SendCommand has an empty reply
//   Leaves    SendCommand has a reply, and from then on the printer is gone
//   Vanishes  SendCommand has an empty reply, and from then on the printer is gone
//   Changes   GetStatus: the same twice, a failure, something new
//   Binary    GetStatus: bytes that are no text, counted up
//   Hangs     GetStatus: the second never comes back
//   Keyed     GetConnectInf: no channel for status
#include <windows.h>

#include <cstring>
#include <deque>
#include <string>
#include <string_view>

#include "include/vlpbidi.h"

namespace {

struct Record {
  std::uint32_t request_id;
  std::string data;
};

// What has to be given back when the library is unloaded.
struct Owned {
  CRITICAL_SECTION lock;
  HANDLE news;  // manual-reset: set while something can be taken or all is over

  Owned() : news(CreateEventA(nullptr, TRUE, FALSE, nullptr)) { InitializeCriticalSection(&lock); }
  ~Owned() {
    CloseHandle(news);
    DeleteCriticalSection(&lock);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
};

Owned g_owned;
std::deque<Record> g_records;
bool g_held = false;
bool g_over = false;
bool g_connected = false;
bool g_gone = false;
unsigned g_readings = 0;

void Queue(std::uint32_t request_id, std::string_view data) {
  EnterCriticalSection(&g_owned.lock);
  g_records.push_back({request_id, std::string(data)});
  if (!g_held) SetEvent(g_owned.news);
  LeaveCriticalSection(&g_owned.lock);
}

std::int32_t GetConnectInf(const char* prefixed, char* name, std::uint64_t* entries) {
  const std::string_view text(prefixed + std::strlen("UFName:"));
  text.copy(name, text.size());
  name[text.size()] = '\0';
  const std::uint64_t mode = text == "Keyed" ? 3 : 7;
  entries[0] = ChnlKindQpl | mode << 32;
  entries[1] = ChnlKindBdc | mode << 32;
  g_connected = true;
  return 2;
}

std::int32_t GetDeviceID(std::uint32_t request_id, const char*) {
  if (g_gone) return VLPER_NOTCONNECT;
  g_held = false;
  Queue(request_id, "MDL:Odd;");
  return 0;
}

std::int32_t SendCommand(std::uint32_t request_id, const char* name, ChannelKind kind,
                         const std::uint8_t*, std::uint32_t length) {
  if (!g_connected || kind != ChnlKindQpl) return VLPER_NOCHANNEL;
  const std::string_view text(name);
  g_held = text == "Answers";
  if (text == "Answers" || text == "Leaves") Queue(request_id, "reply\n");
  g_gone = text == "Leaves" || text == "Vanishes";
  return static_cast<std::int32_t>(length);
}

std::int32_t GetStatus(std::uint32_t request_id, const char* name, ChannelKind kind) {
  if (!g_connected || kind != ChnlKindBdc) return VLPER_NOCHANNEL;
  const std::string_view text(name);
  const unsigned reading = ++g_readings;
  if (text == "Keyed") return VLPER_NOCHANNEL;
  if (text == "Hangs" && reading == 2) Sleep(INFINITE);
  if (text == "Changes" && reading == 3) return VLPER_SEND;
  if (text == "Binary") {
    std::string item("@BDC ST2\r\n\x02\0\x01", 13);
    item.push_back(static_cast<char>(reading));
    Queue(request_id, item);
  } else {
    Queue(request_id, reading < 4 ? "@BDC ST\r\nST:04;\f" : "@BDC ST\r\nST:02;\f");
  }
  return 0;
}

std::int32_t GetResult(std::uint32_t* request_id, std::uint8_t* buffer, std::uint32_t* size) {
  WaitForSingleObject(g_owned.news, INFINITE);
  EnterCriticalSection(&g_owned.lock);
  std::int32_t result = VLPER_TERMINATE;
  if (!g_over) {
    const Record record = g_records.front();
    g_records.pop_front();
    if (g_records.empty()) ResetEvent(g_owned.news);
    *request_id = record.request_id;
    *size = static_cast<std::uint32_t>(record.data.copy(reinterpret_cast<char*>(buffer), *size));
    result = static_cast<std::int32_t>(*size);
  }
  LeaveCriticalSection(&g_owned.lock);
  return result;
}

std::int32_t Terminate() {
  EnterCriticalSection(&g_owned.lock);
  g_over = true;
  SetEvent(g_owned.news);
  LeaveCriticalSection(&g_owned.lock);
  return 0;
}

std::int32_t SendThroughCommand(std::uint32_t, const char*, ChannelKind, const std::uint8_t*,
                                std::uint32_t length) {
  return g_connected ? static_cast<std::int32_t>(length) : VLPER_NOCHANNEL;
}

ProviderTable MakeTable() {
  return {260,          11,         7,          &GetConnectInf, &GetDeviceID,
          &SendCommand, &GetStatus, &GetResult, &Terminate,     &SendThroughCommand};
}

}  // namespace

#if defined(__GNUC__)
__attribute__((visibility("default")))
#endif
std::int32_t
VLPGetProviderInfo(const ProviderTable** table) {
  static const ProviderTable made = MakeTable();
  *table = &made;
  return 0;
}
