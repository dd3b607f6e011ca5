// XDLT_OpenChannel and XDLT_CloseChannel.

#include <memory>
#include <new>

#include "d4/control.h"
#include "d4/link.h"
#include "d4/receive_buffer.h"
#include "d4/trace.h"
#include "support/waits.h"

namespace vlp {
namespace {

constexpr std::uint8_t kNoSocket = 255;
constexpr std::uint32_t kDefaultControlWrite = 4102;
constexpr std::uint16_t kControlRead = 512;
constexpr std::uint32_t kLeastWriteBuffer = 4102;
constexpr std::uint32_t kLargeBuffers[] = {0x20000, 0x10000, 0x8000};

// A record and its memory come from the system in one block.
template <typename Value>
struct GlobalAllocator {
  using value_type = Value;

  GlobalAllocator() = default;
  template <typename Other>
  // NOLINTNEXTLINE(google-explicit-constructor): what allocators are made of
  GlobalAllocator(const GlobalAllocator<Other>&) {}

  Value* allocate(std::size_t count) {
    void* const memory = GlobalAlloc(GMEM_FIXED, count * sizeof(Value));
    if (memory == nullptr) throw std::bad_alloc();
    return static_cast<Value*>(memory);
  }
  void deallocate(Value* memory, std::size_t) { GlobalFree(memory); }

  template <typename Other>
  bool operator==(const GlobalAllocator<Other>&) const {
    return true;
  }
};

struct PacketSizes {
  std::uint16_t write = 0;
  std::uint16_t read = 0;
};

bool IsLargeSocket(std::uint8_t socket) {
  return socket == kSocketPrint || socket == kSocketCommand || IsFlagSocket(socket);
}

bool IsSocket(std::uint8_t socket) { return socket != kControlSocket && socket != kNoSocket; }

PacketSizes OfferedSizes(const XdltLink& link, std::uint8_t socket) {
  if (socket != kSocketControl) return {kMaxPacketSize, kMaxPacketSize};
  std::uint32_t write = link.controlWriteSize;
  if (write == 0) write = kDefaultControlWrite;
  if (write < kHeaderSize) write = 0;
  return {static_cast<std::uint16_t>(write > kMaxPacketSize ? kMaxPacketSize : write),
          kControlRead};
}

// Eight packets less what the headers take, as far as that goes.
std::uint32_t ReceiveSize(std::uint16_t readSize) {
  const std::uint32_t size = std::uint32_t{readSize} * 8 - 48;
  return size >= 0x10000 ? 0xFFFF : size;
}

bool AllocateReceive(XdltChannel& channel, std::uint16_t readSize) {
  if (!IsLargeSocket(channel.socket)) {
    channel.rxSize = ReceiveSize(readSize);
    channel.rxBuffer = AllocateVirtual(channel.rxSize);
    return static_cast<bool>(channel.rxBuffer);
  }
  for (const std::uint32_t size : kLargeBuffers) {
    channel.rxSize = size;
    channel.rxBuffer = AllocateVirtual(size);
    if (channel.rxBuffer) return true;
  }
  return false;
}

// A single size of 0 leaves that direction without use.
bool CarryData(const PacketSizes& sizes) {
  if (sizes.write == 0 && sizes.read == 0) return false;
  return (sizes.write == 0 || sizes.write >= kHeaderSize) &&
         (sizes.read == 0 || sizes.read >= kHeaderSize);
}

// What else than the record can be had before the channel is shown to the read thread.
bool Complete(XdltChannel& channel, const PacketSizes& sizes) {
  channel.writePacketSize = sizes.write;
  channel.readPacketSize = sizes.read;
  channel.maxWritePacket = sizes.write;
  if (sizes.write != 0) {
    channel.writeBuffer =
        AllocateVirtual(sizes.write > kLeastWriteBuffer ? sizes.write : kLeastWriteBuffer);
    if (!channel.writeBuffer) return false;
  }
  channel.bufferEvent = CreateAutoResetEvent();
  return static_cast<bool>(channel.bufferEvent);
}

std::int32_t Append(XdltLink& link, const ChannelPointer& channel) {
  Signal(channel->bufferEvent.Get());
  const LockGuard list(link.channelsLock);
  link.channels.push_back(channel);
  return 0;
}

// If it fails behind the device's consent, the channel stays open there.
std::int32_t Establish(XdltLink& link, std::uint8_t socket) {
  if (FindChannel(link, socket) != nullptr) return XDLT_ERR_CHANNEL_OPEN;
  PacketSizes sizes = OfferedSizes(link, socket);
  const ChannelPointer channel = std::allocate_shared<XdltChannel>(GlobalAllocator<XdltChannel>());
  channel->socket = socket;
  if (!AllocateReceive(*channel, sizes.read)) return XDLT_ERR_RESOURCE;
  const std::int32_t credit = XdltSendOpenChannel(link, socket, &sizes.write, &sizes.read);
  if (credit < 0) return credit;
  if (!CarryData(sizes)) return XDLT_ERR_BAD_SIZE;
  if (!Complete(*channel, sizes)) return XDLT_ERR_RESOURCE;
  channel->sendCredit.store(credit);
  return Append(link, channel);
}

std::int32_t EstablishOrRunOut(XdltLink& link, std::uint8_t socket) {
  try {
    return Establish(link, socket);
  } catch (const std::bad_alloc&) {
    return XDLT_ERR_RESOURCE;
  }
}

// The channel is gone whatever comes of it.
std::int32_t Withdraw(XdltLink& link, std::uint8_t socket) {
  const ChannelPointer channel = FindChannel(link, socket);
  if (channel == nullptr || channel->state.load() == kChannelClosedByPeer) {
    return XDLT_ERR_NOCHANNEL;
  }
  channel->state.store(kChannelClosing);
  const std::int32_t result = XdltSendCloseChannel(link, socket);
  // Given back, for the read thread may wait for it with a packet that came too late.
  const BufferHold hold(*channel);
  RemoveChannel(link, channel);
  return hold ? result : XDLT_ERR_GATE_TIMEOUT;
}

}  // namespace

std::int32_t XDLT_OpenChannel(XdltLink* link, std::uint8_t socket) noexcept {
  const EngineUse use;
  const std::int32_t found = XdltCheckLink(use.Get(), link);
  if (found < 0) return found;
  TraceSocket("XDLT_OpenChannel(S)  ", socket);
  if (link->state.load() != kLinkOpen) return XDLT_ERR_NOT_READY;
  if (!IsSocket(socket)) return XDLT_ERR_PARAM;
  if (!link->gateEvent) return XDLT_ERR_NOLINK;
  LinkStay stay(*use.Get(), *link);
  if (stay.Result() != 0) return stay.Result();
  const std::int32_t result = EstablishOrRunOut(*link, socket);
  stay.LeaveTerminating(result);
  TraceSocket("XDLT_OpenChannel(E)  ", socket);
  return result;
}

std::int32_t XDLT_CloseChannel(XdltLink* link, std::uint8_t socket) noexcept {
  const EngineUse use;
  const std::int32_t found = XdltCheckLink(use.Get(), link);
  if (found < 0) return found;
  TraceSocket("XDLT_CloseChannel(S) ", socket);
  // The channels of a lost link go with it.
  if (link->state.load() == kLinkLost) return 0;
  if (!IsSocket(socket)) return XDLT_ERR_PARAM;
  if (!link->gateEvent) return XDLT_ERR_NOLINK;
  LinkStay stay(*use.Get(), *link);
  if (stay.Result() != 0) return stay.Result();
  const std::int32_t result = Withdraw(*link, socket);
  stay.LeaveTerminating(result);
  TraceSocket("XDLT_CloseChannel(E) ", socket);
  return result;
}

}  // namespace vlp
