#pragma once

// The command layer over the engine: what the vendor-class device access sees of it. One
// object holds the link of one device, its two logical channels and the retry policy, and
// remembers when the link was lost.
//
// All operations answer with plain success: false or null is the only report, with the last
// error 0 for a bad argument and 122 for a buffer that is too small. Refusals and time-outs
// are tried again silently while the command's time lasts. Any thread may call; opening and
// closing one device at a time is the owner's business. Nothing throws.

#include <array>
#include <atomic>
#include <cstdint>

#include "d4/xdlt.h"
#include "support/critical_section.h"
#include "support/gen_vl_settings.h"
#include "support/handles.h"

namespace vlp {

// The logical channels, by the numbers that callers name them by.
inline constexpr std::uint32_t kD4CommandChannel = 0x10000005;
inline constexpr std::uint32_t kD4FaxChannel = 33;

struct D4ChannelEntry {
  std::uint32_t channelId = 0;
  std::uint32_t socket = 0;
  // The sizes are stored before isOpen is, so who finds the channel open finds them.
  std::atomic<std::uint32_t> isOpen{0};
  std::atomic<std::uint16_t> writePacketSize{0};  // header included
  std::atomic<std::uint16_t> readPacketSize{0};
};

class CD4CmdIO {
 public:
  // The log may be null; it, the port and its table must outlive the object. Without
  // settings the retries have values of their own.
  CD4CmdIO(DbgLog* log, XdltPortHandle portHandle, XdltPortOps* portOps,
           const GenVlSettings* settings) noexcept;
  // Closes a link that is still open. No call may be under way.
  ~CD4CmdIO();
  CD4CmdIO(const CD4CmdIO&) = delete;
  CD4CmdIO& operator=(const CD4CmdIO&) = delete;

  // False: the engine refused to start, and every open is in vain.
  bool IsInitialized() const noexcept { return m_initialized != 0; }
  // 1 from the first lost link until the next D4Open.
  std::uint32_t FatalError() const noexcept { return m_fatalError.load(std::memory_order_relaxed); }

  // Opens the link; blocks for as long as XDLT_Open does.
  bool D4Open() noexcept;
  // Closes all channels and the link. The link is forgotten whatever comes of it; true if
  // the engine closed it well.
  bool D4Close() noexcept;

  // The channel, opened if it wasn't; null if that failed or the link is lost. The entry
  // belongs to the object and stays valid.
  D4ChannelEntry* D4OpenChnl(std::uint32_t channelId) noexcept;
  // Opens the channel of the entry: 1 done, 0 failed, -1 no entry or link lost.
  std::int32_t OpenChnlProc(D4ChannelEntry* entry) noexcept;
  // True if the channel was closed well or wasn't open.
  bool D4CloseChnl(D4ChannelEntry* entry) noexcept;

  // The longest payloads, of a write in the low and of a read in the high 16 bits. Opens
  // the channel.
  bool D4GetPacketSize(std::uint32_t channelId, std::uint32_t* sizes) noexcept;

  // Sends a command and receives its answer; true when an answer came. Lasts at most the
  // command's limit, half the setting's time, then what the engine call under way takes and
  // one pause. Opening the channel comes before and isn't counted.
  bool D4CmdProc(std::uint32_t channelId, const std::uint8_t* command, std::uint32_t count,
                 std::uint8_t* answer, std::uint32_t capacity, std::uint32_t* answerCount) noexcept;

  // The halves of a command. `startTick` is the GetTickCount from which the limit counts. A
  // write that the engine took in part is made again from its first byte. A read delivers
  // what waits when something does; an answer that is too large stays in the channel.
  bool D4WriteCmd(D4ChannelEntry* entry, const std::uint8_t* bytes, std::uint32_t count,
                  std::uint32_t startTick) noexcept;
  bool D4ReadCmd(D4ChannelEntry* entry, std::uint8_t* buffer, std::uint32_t capacity,
                 std::uint32_t* count, std::uint32_t startTick) noexcept;

 private:
  XdltLink* Link() const noexcept { return m_link.load(std::memory_order_acquire); }
  bool IsOver(std::uint32_t startTick) const noexcept;
  bool NoteLostLink(std::int32_t result) noexcept;

  D4ChannelEntry* FindEntry(std::uint32_t channelId) noexcept;
  D4ChannelEntry* OpenedEntry(std::uint32_t channelId) noexcept;
  bool CloseEntry(D4ChannelEntry* entry) noexcept;
  bool TellPacketSize(std::uint32_t channelId, std::uint32_t* sizes) noexcept;
  bool Exchange(std::uint32_t channelId, const std::uint8_t* command, std::uint32_t count,
                std::uint8_t* answer, std::uint32_t capacity, std::uint32_t* answerCount) noexcept;
  bool WriteAll(D4ChannelEntry* entry, const std::uint8_t* bytes, std::uint32_t count,
                std::uint32_t startTick) noexcept;
  bool ReadAnswer(D4ChannelEntry* entry, std::uint8_t* buffer, std::uint32_t capacity,
                  std::uint32_t* count, std::uint32_t startTick) noexcept;
  std::uint32_t AwaitAnswer(const D4ChannelEntry& entry, std::uint32_t startTick) noexcept;
  void WaitForPoll(std::uint32_t& wait, std::uint32_t startTick) noexcept;
  bool Fetch(const D4ChannelEntry& entry, std::uint8_t* buffer, std::uint32_t size,
             std::uint32_t* count, std::uint32_t startTick) noexcept;

  void LogEnd(const char* text, bool done) noexcept;
  void LogEngineCall(const char* text, const char* key, std::int32_t result,
                     std::uint32_t startTick) noexcept;
  void LogEngineData(const char* text, const std::uint8_t* bytes, std::uint32_t count,
                     std::int32_t result, std::uint32_t startTick) noexcept;

  std::uint32_t m_initialized = 0;
  std::atomic<XdltLink*> m_link{nullptr};  // null while closed
  CriticalSection m_linkLock;              // the link's and a channel's end, the link's begin
  CriticalSection m_openLock;              // one opening of a channel at a time
  CriticalSection m_commandLock;           // keeps an answer with its command
  std::array<D4ChannelEntry, 2> m_channels{{{.channelId = kD4CommandChannel, .socket = 0x02},
                                            {.channelId = kD4FaxChannel, .socket = 0x21}}};
  std::uint32_t m_channelCount = 2;
  std::uint32_t m_commandLimit = 0;  // ms; this and the next four are final
  std::uint32_t m_retryMode = 1;
  std::uint32_t m_retryTiming = 1;             // ms
  std::uint32_t m_retryMax = 50;               // ms
  std::uint32_t m_packetRcvMaxTime = 20000;    // ms
  XdltPortHandle m_portHandle;                 // not owned
  XdltPortOps* m_portOps;                      // not owned
  std::atomic<std::uint32_t> m_fatalError{0};  // 1: the link is lost
  DbgLog* m_log;                               // not owned
  KernelHandle m_timerEvent;                   // auto-reset; none: polls are plain sleeps
};

}  // namespace vlp
