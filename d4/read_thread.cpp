#include "d4/read_thread.h"

#include <algorithm>

#include "d4/receive_buffer.h"
#include "d4/trace.h"
#include "d4/waiters.h"
#include "support/waits.h"

namespace vlp {
namespace {

constexpr DWORD kIdleWaitMs = 86'400'000;
constexpr DWORD kDeadLookMs = 100;
constexpr std::uint32_t kPatientReads = 10;
constexpr std::uint32_t kPauseMs = 100;
constexpr std::uint32_t kLongestPauses = 3;

// What a pass does after a packet or an empty read.
enum class Next { readOn, judge };

class LinkReader {
 public:
  explicit LinkReader(XdltLink& link) : link_(link), packets_(link) {}

  void Run() {
    while (!Stopped()) {
      if (IsLinkLost(link_.readStatus.load())) {
        Sleep(kDeadLookMs);
        continue;
      }
      if (WaitForSingleObject(link_.wakeEvent.Get(), kIdleWaitMs) == WAIT_FAILED) Sleep(1);
      if (link_.awaitedReply.load() != 0) Sleep(0);
      AnswerWaitingData();
      RunPass();
    }
  }

 private:
  bool Stopped() const { return link_.threadCommand.load() == kThreadStop; }

  // A waiter whose data is there already needs no reading.
  void AnswerWaitingData() {
    const std::uint8_t socket = link_.waitSocket.load();
    if (socket == 0) return;
    const ChannelPointer channel = FindChannel(link_, socket);
    if (channel == nullptr) {
      DropDataWait(link_, socket);
    } else if (WaitingBytes(*channel) != 0) {
      ReleaseDataWaiter(link_, socket);
    }
  }

  void RunPass() {
    emptyReads_ = 0;
    bool more = true;
    while (more && !Stopped()) {
      if (ReadOne() == Next::judge) more = !Stopped() && Judge();
    }
    if (Stopped()) return;
    Sleep(0);
    if (link_.awaitedReply.load() != 0 || link_.waitSocket.load() != 0) {
      Signal(link_.wakeEvent.Get());
    }
  }

  // Reads and handles at most one packet; status_ tells what came of it.
  Next ReadOne() {
    ResetEvent(link_.wakeEvent.Get());
    ReceivedPacket packet;
    {
      const LockGuard port(link_.portLock);
      status_ = packets_.Take(BytesToFetch(link_.awaitedReply.load()), &packet);
    }
    if (status_ > 0) {
      emptyReads_ = 0;
      return packet.header.primary == kControlSocket ? AfterControl(packet) : AfterData(packet);
    }
    if (!IsLinkLost(status_)) CountEmptyRead();
    return Next::judge;
  }

  void CountEmptyRead() {
    ++emptyReads_;
    if (link_.waitSocket.load() != 0) dataPending_ = true;
  }

  Next AfterControl(const ReceivedPacket& packet) {
    status_ = HandleControl(link_, packet.control);
    if (status_ < 0) return Next::judge;
    const bool reply = (packet.control.Command() & kReplyBit) != 0;
    // A flood of commands must leave callers a chance at the port.
    if (!reply) Sleep(0);
    const bool awaited = !reply && link_.awaitedReply.load() != 0;
    return awaited || link_.waitSocket.load() != 0 ? Next::readOn : Next::judge;
  }

  Next AfterData(const ReceivedPacket& packet) {
    const std::uint8_t socket = packet.header.primary;
    status_ = HandleData(link_, packet);
    if (status_ < 0) return Next::judge;
    const std::uint8_t waiting = link_.waitSocket.load();
    if (status_ == 0) {
      if (waiting == socket) dataPending_ = true;
      return Next::judge;
    }
    if (waiting != 0) {
      dataPending_ = true;
      if (FindChannel(link_, waiting) == nullptr) {
        DropDataWait(link_, waiting);
      } else if (waiting != socket) {
        return Next::readOn;
      } else {
        dataPending_ = false;
        ReleaseDataWaiter(link_, socket);
      }
    }
    return link_.awaitedReply.load() != 0 ? Next::readOn : Next::judge;
  }

  // Whether the pass goes on.
  bool Judge() {
    if (IsLinkLost(status_)) {
      ReleaseAllWaiters(link_, status_);
      return false;
    }
    link_.readStatus.store(0);
    const std::uint8_t waiting = link_.waitSocket.load();
    if (waiting != 0) {
      if (FindChannel(link_, waiting) == nullptr) {
        DropDataWait(link_, waiting);
      } else if (!dataPending_) {
        return true;
      } else {
        dataPending_ = false;
        ReleaseDataWaiter(link_, waiting);
      }
    }
    if (link_.awaitedReply.load() == 0) return false;
    Pause();
    return true;
  }

  void Pause() const {
    if (emptyReads_ < kPatientReads) return;
    Sleep(std::min(emptyReads_ / kPatientReads, kLongestPauses) * kPauseMs);
  }

  XdltLink& link_;
  PacketReader packets_;
  std::int32_t status_ = 0;
  std::uint32_t emptyReads_ = 0;  // in a row
  bool dataPending_ = false;      // whoever waits for data is to be released
};

}  // namespace

DWORD ReadThread(XdltLink& link) noexcept {
  link.readStatus.store(0);
  try {
    LinkReader(link).Run();
  } catch (...) {
    ReleaseAllWaiters(link, XDLT_ERR_NO_MEMORY);
  }
  XdltTrace(0, " >>>>>>   Read Thread End (ReadThread)");
  return 0;
}

}  // namespace vlp
