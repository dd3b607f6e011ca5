#pragma once

// One printer, known by the name that the monitor uses for it.
//
// It holds what outlives a request: both forms of the name, the channels, the model
// profile, the log, the cached answers and the road to the spooler. The registry
// creates one at the first mention of a name and keeps it until the library is
// unloaded. All operations run on the caller's thread and may be called from any;
// those that ask the printer block for as long as the spooler does, or for a vendor-class
// printer's device as long as that takes (docs/vendor-road.md).

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bidi/c_bidi_if.h"
#include "diag/dbg_log.h"
#include "include/vlpbidi.h"
#include "language/c_separete_data.h"
#include "profile/model_profile.h"
#include "support/connect_info.h"
#include "support/critical_section.h"
#include "support/gen_vl_settings.h"
#include "support/log_settings.h"
#include "support/published.h"
#include "support/reply_cache.h"

namespace vlp {

class GenVlAccess;

using WideText = std::basic_string<WCHAR>;

// A device ID or a status item as the printer gave it: no terminator, NULs possible.
struct Reading {
  std::vector<std::uint8_t> bytes;
  std::uint32_t tick = 0;  // GetTickCount at the reading
};

class CPrinterInf {
 public:
  // `name` may be null. The settings aren't kept. Waits until the spooler's worker
  // thread has started, and asks the spooler for the printer's real name if
  // this one is an alias.
  CPrinterInf(const char* name, const LogSettings& settings);
  ~CPrinterInf();
  CPrinterInf(const CPrinterInf&) = delete;
  CPrinterInf& operator=(const CPrinterInf&) = delete;

  // The caller's name; empty for a null one. Never changes.
  std::string_view Name() const;

  // 0 if the printer hangs on a local port of a kind that can be served, else
  // VLPER_NOTSUPPORT or VLPER_NOTCONNECT. Asks spooler, registry and redirector anew on
  // each call, never the printer.
  std::int32_t CheckSupportPort();

  // The printer's present port, or none if the spooler doesn't know it or names no port.
  // Refreshes what is known of sharing.
  std::optional<std::string> GetPortName(const char* name);

  // Writes one slot per channel, kind low and mode high, at most kMaxConnectEntries of
  // 8 bytes at any alignment. Returns their number or a negative code.
  std::int32_t GetConnectInf(std::uint64_t* entries);

  // The length protocol: `*length` is the room at `buffer` and comes back as the size
  // of the answer, also with VLPER_BUFFERSIZE. A failed query leaves it alone.
  std::int32_t GetDeviceID(std::uint8_t* buffer, std::uint32_t* length);
  std::int32_t GetStatus(ChannelKind kind, std::uint8_t* buffer, std::uint32_t* length);
  std::int32_t SendCommand(ChannelKind kind, const std::uint8_t* command,
                           std::uint32_t commandLength, std::uint8_t* buffer,
                           std::uint32_t* length);

  // Sends the bytes as they stand and takes no reply, under no lock. 0 or a code.
  std::int32_t SendThroughCommand(ChannelKind kind, const std::uint8_t* command,
                                  std::uint32_t length);

  // Waits for a spooler call under way and ends the worker; spooler calls give
  // VLPER_TERMINATE from then on.
  void StopBidiWorker();

  // Held by the provider across the two calls of the length protocol. Neither is ever
  // taken under the other.
  CriticalSection sendLock;
  CriticalSection statusLock;

 private:
  using ReadingSnapshot = Published<Reading>::Snapshot;

  void SetRealPrinterName(const char* name, std::uint32_t size);
  std::int32_t PortResult(const char* text, std::int32_t rc, std::uint32_t flags);

  bool DeviceIdIsYoung(const Reading& reading) const;
  std::int32_t ConnectWorker(ReadingSnapshot* read);
  std::int32_t QueryDeviceId(std::vector<std::uint8_t>* bytes);
  bool StatusIsYoung(const Reading& reading) const;
  std::int32_t StatusWorker(ChannelKind kind, ReadingSnapshot* read);
  std::int32_t QueryStatus(ChannelKind kind, std::uint8_t* buffer, std::uint32_t* length);
  std::uint32_t ReceiveCapacity() const;
  std::int32_t RunCommand(ChannelKind kind, const std::uint8_t* command,
                          std::uint32_t commandLength);
  std::int32_t SendOnSchemaRoad(const ConnectRecords& channels, ChannelKind kind,
                                const std::uint8_t* command, std::uint32_t commandLength,
                                bool through, std::uint8_t* output, std::uint32_t* outputLength);
  std::int32_t SendOnVendorRoad(const GenVlSettings& settings, const std::uint8_t* command,
                                std::uint32_t commandLength, std::uint8_t* output,
                                std::uint32_t* outputLength);
  std::int32_t HaveDevice(const GenVlSettings& settings);
  std::int32_t CopyEntries(std::uint64_t* entries) const;
  std::int32_t LogReturn(const char* text, std::int32_t rc);

  // Final after construction.
  std::optional<std::string> m_lpPrinterName;
  WideText printerNameW;  // what the spooler's schemas get
  std::unique_ptr<DbgLog> log;
  std::uint32_t hasRealName = 0;
  std::string realPrinterNameA;

  // Locked by themselves.
  std::unique_ptr<CBidiIF> bidi;
  std::unique_ptr<ConnectInfo> connectInfo;
  std::unique_ptr<CSepareteData> separeteData;
  Published<ModelProfile> profile;  // empty until the first good query, then final
  Published<Reading> deviceId;      // empty while none is held

  Published<Reading> status;    // the same; of whichever channel was asked last
  CriticalSection publishLock;  // held only while channels and device ID are exchanged

  // Under sendLock, which the provider holds.
  ReplyCache reply;
  std::unique_ptr<GenVlAccess> genVlAccess;  // null until a command needs the device
  bool genVlRenew = false;                   // the device failed: search anew before its next use

  std::atomic<std::uint32_t> printerShared{0};  // bit 0x10 of the spooler's attributes
};

}  // namespace vlp
