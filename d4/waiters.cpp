#include "d4/waiters.h"

#include "support/waits.h"

namespace vlp {

void ExpectReply(XdltLink& link) {
  const LockGuard waiters(link.waitersLock);
  ResetEvent(link.replyEvent.Get());
}

std::int32_t AwaitReply(XdltLink& link, std::uint8_t reply, ControlPacket* got) {
  Signal(link.wakeEvent.Get());
  const bool released = IsSignalled(link.replyEvent.Get(), kReplyLimitMs);
  const LockGuard waiters(link.waitersLock);
  const bool answered = link.awaitedReply.exchange(0) != reply;
  if (answered && !released) ResetEvent(link.replyEvent.Get());
  const std::int32_t ended = link.readStatus.load();
  if (IsLinkLost(ended)) return ended;
  if (!answered) return XDLT_ERR_REPLY_TIMEOUT;
  *got = link.reply;
  return 0;
}

void AwaitData(XdltLink& link, std::uint8_t socket) {
  {
    const LockGuard waiters(link.waitersLock);
    ResetEvent(link.dataEvent.Get());
    link.waitSocket.store(socket);
  }
  Signal(link.wakeEvent.Get());
  static_cast<void>(IsSignalled(link.dataEvent.Get(), kDataLimitMs));
  const LockGuard waiters(link.waitersLock);
  link.waitSocket.store(0);
}

bool DeliverReply(XdltLink& link, const ControlPacket& packet) {
  const LockGuard waiters(link.waitersLock);
  if (link.awaitedReply.load() != packet.Command()) return false;
  link.reply = packet;
  link.awaitedReply.store(0);
  Signal(link.replyEvent.Get());
  return true;
}

void ReleaseDataWaiter(XdltLink& link, std::uint8_t socket) {
  const LockGuard waiters(link.waitersLock);
  if (link.waitSocket.load() != socket) return;
  link.waitSocket.store(0);
  Signal(link.dataEvent.Get());
}

void DropDataWait(XdltLink& link, std::uint8_t socket) {
  const LockGuard waiters(link.waitersLock);
  if (link.waitSocket.load() == socket) link.waitSocket.store(0);
}

void ReleaseAllWaiters(XdltLink& link, std::int32_t result) {
  const LockGuard waiters(link.waitersLock);
  link.readStatus.store(result);
  if (link.awaitedReply.exchange(0) != 0) Signal(link.replyEvent.Get());
  if (link.waitSocket.exchange(0) != 0) Signal(link.dataEvent.Get());
}

}  // namespace vlp
