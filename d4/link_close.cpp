// XDLT_Close.

#include <array>

#include "d4/control.h"
#include "d4/link.h"
#include "d4/trace.h"

namespace vlp {
namespace {

struct Sockets {
  std::array<std::uint8_t, 0x100> numbers{};
  std::size_t count = 0;
};

// Without memory of its own: a close must not fail for want of some.
Sockets OpenSockets(XdltLink& link) {
  const LockGuard list(link.channelsLock);
  Sockets sockets;
  for (const ChannelPointer& channel : link.channels) {
    if (sockets.count < sockets.numbers.size()) sockets.numbers[sockets.count++] = channel->socket;
  }
  return sockets;
}

// The gate that each of these waits for is held by this very call, so each costs the
// gate's whole limit: the layer above closes its channels first. 0, or the result that
// shows the link as lost.
std::int32_t CloseLeftChannels(XdltLink& link) {
  const Sockets sockets = OpenSockets(link);
  for (std::size_t i = 0; i < sockets.count; ++i) {
    const std::int32_t result = XDLT_CloseChannel(&link, sockets.numbers[i]);
    if (IsLinkLost(result)) return result;
  }
  return 0;
}

}  // namespace

std::int32_t XDLT_Close(XdltLink* link) noexcept {
  const EngineUse use;
  const std::int32_t found = XdltCheckLink(use.Get(), link);
  if (found < 0) return found;
  XdltTrace(1, "XDLT_Close(S)");
  if (!link->gateEvent) return XDLT_ERR_NOLINK;
  LinkStay stay(*use.Get(), *link);
  if (stay.Result() != 0) return stay.Result();
  const std::int32_t closed = CloseLeftChannels(*link);
  if (link->state.load() != kLinkLost && !IsLinkLost(closed)) XdltSendExit(*link);
  stay.LetOthersOut();
  link->state.store(kLinkClosed);
  XdltTrace(1, "XDLT_Close(M)");
  stay.LeaveTerminating(0);
  XdltTrace(1, "XDLT_Close(E)");
  return 0;
}

}  // namespace vlp
