#pragma once

// Where callers wait for the read thread and are released by it. A reply that arrives
// just as its waiter gives up is either taken or dropped, never left for the next one.

#include "d4/state.h"

namespace vlp {

// Forgets signals of an earlier transaction. Before the write that asks for a reply.
void ExpectReply(XdltLink& link);

// Wakes the read thread and waits for the reply that was asked for. 0 and the reply,
// or the result that ends the transaction. Nothing is awaited any more then.
std::int32_t AwaitReply(XdltLink& link, std::uint8_t reply, ControlPacket* got);

// Lets the read thread read until this socket has news, it finds nothing to read, or
// the limit passes.
void AwaitData(XdltLink& link, std::uint8_t socket);

// For the read thread: hands a packet to the waiter of its command; false if there is none.
bool DeliverReply(XdltLink& link, const ControlPacket& packet);

// For the read thread: releases who waits for this socket, if anybody does.
void ReleaseDataWaiter(XdltLink& link, std::uint8_t socket);

// For the read thread: nobody waits for this socket any more, without being told.
void DropDataWait(XdltLink& link, std::uint8_t socket);

// For the read thread: reading has ended with this result; all waiters learn of it.
void ReleaseAllWaiters(XdltLink& link, std::int32_t result);

}  // namespace vlp
