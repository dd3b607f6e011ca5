#pragma once

// What a channel's language asks for: how a command is sent so that the end of its reply
// can be told, and what status items and that end look like. Pure functions; the channels
// of the printer come as one snapshot.

#include <cstdint>
#include <vector>

#include "include/vlpbidi.h"
#include "support/bytes.h"
#include "support/connect_info.h"

namespace vlp {

// The command between the bytes that its channel needs round it; alone on a channel
// without a language, and as a through command.
std::vector<std::uint8_t> WrapCommand(ChannelKind kind, Bytes command, bool through);

// Bytes of a command so wrapped; 0 if that is more than 32 bits can tell.
std::uint32_t WrappedLength(ChannelKind kind, std::uint32_t length, bool through);

// How an item in received data begins and ends.
struct ItemForm {
  Bytes head;                   // empty: there are no such items
  std::uint8_t terminator = 0;  // its last byte
  bool counted = false;         // or: a 16-bit little-endian length behind the head
};

// The form of status items, which the printer may send at any time.
ItemForm StatusForm(const ConnectRecords& channels, ChannelKind kind);

// The form of the answer to the request that the envelope puts behind a command.
ItemForm ProbeForm(ChannelKind kind);

// Whether the printer answers status requests on this channel in binary form; its
// profile's status command tells.
bool IsSt2Capable(const ConnectRecords& channels, ChannelKind kind);

// The channel that status asked for on `kind` comes by.
ChannelKind ResolveStatusKind(const ConnectRecords& channels, ChannelKind kind);

// The record that tells the far side how a reply on this channel ends. Empty for a
// channel without a language and for through commands: then none is sent.
std::vector<std::uint8_t> BuildTerminateInf(const ConnectRecords& channels, ChannelKind kind,
                                            bool through);

}  // namespace vlp
