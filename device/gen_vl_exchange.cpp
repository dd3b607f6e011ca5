// One command and its reply, and the device's status.

#include <algorithm>

#include "device/gen_vl_access.h"
#include "language/byte_strings.h"
#include "support/tick_age.h"

namespace vlp {
namespace {

constexpr std::uint32_t kPacketHeader = 6;

std::uint16_t Payload(std::uint16_t packet) {
  return static_cast<std::uint16_t>(packet - kPacketHeader);
}

}  // namespace

bool GenVlAccess::IsOpen() const { return m_pD4CmdIO != nullptr && m_nOpenCount.load() != 0; }

void GenVlAccess::TakeFatalError() { m_dwFatalError.store(m_pD4CmdIO->FatalError()); }

GenVlChannelSlot* GenVlAccess::SlotOf(std::uint32_t channel) {
  if (channel == GENVL_CHANNEL_STATUS) return &m_StatusSlot;
  return channel == GENVL_CHANNEL_FAX ? &m_FaxSlot : nullptr;
}

bool GenVlAccess::GetSndRcvMaxSize(GenVlChannelSlot* slot) {
  if (!IsOpen() || slot == nullptr || m_dwFatalError.load() != 0) return false;
  if (slot->dwWriteMax != 0 && slot->dwReadMax != 0) return true;
  const D4ChannelEntry* const entry = m_pD4CmdIO->D4OpenChnl(slot->dwChannel);
  if (entry == nullptr) {
    TakeFatalError();
    DbgLogPut(m_pLog, kLogDevice, 0,
              "*** GenVlAccess::GetSndRcvMaxSize - D4GetPacketSize failed. ***");
    return false;
  }
  slot->dwWriteMax = Payload(entry->writePacketSize.load());
  slot->dwReadMax = Payload(entry->readPacketSize.load());
  DbgLogPrintf(m_pLog, kLogD4, "    wWritePacketSize=%d wReadPacketSize=%d", slot->dwWriteMax,
               slot->dwReadMax);
  return true;
}

bool GenVlAccess::ExecGenVlCmd(GenVlChannelSlot* slot, const std::uint8_t* data,
                               std::uint32_t length) {
  if (!IsOpen() || slot == nullptr || data == nullptr || length == 0) return false;
  if (!GetSndRcvMaxSize(slot)) return false;
  if (length > slot->dwWriteMax) {
    DbgLogPrintf(m_pLog, kLogDevice,
                 "*** GenVlAccess::ExecGenVlCmd - send_CmdLen(%d) > CmdMaxLen(%d) ***", length,
                 slot->dwWriteMax);
    return false;
  }
  // No room is no buffer: a size that wasn't known may be known by now.
  if (slot->dwReplyCapacity == 0) {
    slot->pReply = std::make_unique<std::uint8_t[]>(slot->dwReadMax);
    slot->dwReplyCapacity = slot->dwReadMax;
  }
  std::fill_n(slot->pReply.get(), slot->dwReplyCapacity, std::uint8_t{0});
  slot->dwReplyLen = 0;
  if (m_pD4CmdIO->D4CmdProc(slot->dwChannel, data, length, slot->pReply.get(),
                            slot->dwReplyCapacity, &slot->dwReplyLen)) {
    return true;
  }
  TakeFatalError();
  return false;
}

bool GenVlAccess::GetD4Status() {
  m_dwStatusLen = 0;
  m_dwStatusTick = 0;
  {
    const OpenDevice device(*this);
    if (device.Result() != 0) return false;
    if (!ExecGenVlCmd(&m_StatusSlot, kDeviceStatus.data(),
                      static_cast<std::uint32_t>(kDeviceStatus.size()))) {
      return false;
    }
  }
  if (m_StatusSlot.dwReplyLen > m_StatusData.size()) return false;
  std::copy_n(m_StatusSlot.pReply.get(), m_StatusSlot.dwReplyLen, m_StatusData.begin());
  m_dwStatusLen = m_StatusSlot.dwReplyLen;
  m_dwStatusTick = GetTickCount();
  return true;
}

bool GenVlAccess::HasYoungStatus() const {
  return m_dwStatusLen != 0 && TickAge(m_dwStatusTick) <= m_dwStatusLifeTime;
}

std::int32_t GenVlAccess::GenVlGetStatus(std::uint32_t channel, std::uint8_t* data,
                                         std::uint32_t capacity, std::uint32_t* length) {
  if (length != nullptr) *length = 0;
  if (m_bInitialized == 0) return GENVL_E_FAILED;
  if (channel != GENVL_CHANNEL_STATUS || length == nullptr) return GENVL_E_PARAM;
  if (!HasYoungStatus() && !GetD4Status()) return GENVL_E_DEVICE;
  *length = m_dwStatusLen;
  if (data == nullptr || m_dwStatusLen > capacity) return GENVL_E_BUFFER;
  std::copy_n(m_StatusData.begin(), m_dwStatusLen, data);
  return 0;
}

std::int32_t GenVlAccess::GenVlSendRecv(std::uint32_t channel, const std::uint8_t* data,
                                        std::uint32_t length) {
  if (m_bInitialized == 0) return GENVL_E_FAILED;
  GenVlChannelSlot* const slot = SlotOf(channel);
  if (slot == nullptr || data == nullptr || length == 0) return GENVL_E_PARAM;
  const OpenDevice device(*this);
  if (device.Result() != 0) return device.Result();
  return ExecGenVlCmd(slot, data, length) ? static_cast<std::int32_t>(length) : GENVL_E_DEVICE;
}

std::int32_t GenVlAccess::GenVlGetReply(std::uint32_t channel, std::uint8_t* data,
                                        std::uint32_t capacity, std::uint32_t* length) {
  if (length != nullptr) *length = 0;
  if (m_bInitialized == 0) return GENVL_E_FAILED;
  GenVlChannelSlot* const slot = SlotOf(channel);
  if (length == nullptr || slot == nullptr) return GENVL_E_PARAM;
  if (slot->pReply == nullptr || slot->dwReplyLen == 0) return GENVL_E_NO_REPLY;
  *length = slot->dwReplyLen;
  if (data == nullptr || slot->dwReplyLen > capacity) return GENVL_E_BUFFER;
  std::copy_n(slot->pReply.get(), slot->dwReplyLen, data);
  slot->dwReplyLen = 0;
  return static_cast<std::int32_t>(*length);
}

}  // namespace vlp
