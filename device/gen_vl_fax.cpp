// The fax channel: open over many transfers, with the end-of-message flag behind the data.

#include <algorithm>

#include "device/gen_vl_access.h"

namespace vlp {
namespace {

constexpr std::uint32_t kControlMask = 0xFF;
constexpr std::uint32_t kControlBit = 0x1;

}  // namespace

std::int32_t GenVlAccess::FaxFailure() {
  TakeFatalError();
  return m_dwFatalError.load() != 0 ? GENVL_E_FATAL : GENVL_E_DEVICE;
}

std::int32_t GenVlAccess::GenVlGetPacketSize(std::uint32_t channel, std::uint32_t* writeSize,
                                             std::uint32_t* readSize) {
  if (m_bInitialized == 0) return GENVL_E_FAILED;
  if (channel != GENVL_CHANNEL_FAX || writeSize == nullptr || readSize == nullptr) {
    return GENVL_E_PARAM;
  }
  if (m_FaxSlot.dwWriteMax == 0 || m_FaxSlot.dwReadMax == 0) {
    // A device that can't be opened now has sizes of 0, and that is no failure.
    const OpenDevice device(*this);
    if (device.Result() == 0 && !GetSndRcvMaxSize(&m_FaxSlot)) return GENVL_E_DEVICE;
  }
  *writeSize = m_FaxSlot.dwWriteMax;
  *readSize = m_FaxSlot.dwReadMax;
  return 0;
}

std::int32_t GenVlAccess::GenVlFaxChnlOpen(std::uint32_t channel) {
  if (m_bInitialized == 0 || m_pD4CmdIO == nullptr) return GENVL_E_FAILED;
  if (m_dwFatalError.load() != 0) return GENVL_E_FATAL;
  if (channel != GENVL_CHANNEL_FAX) return GENVL_E_PARAM;
  // Opened already: counting the device's open twice would leave it open behind one close.
  if (m_pFaxChannel != nullptr) return 0;
  OpenDevice device(*this);
  if (device.Result() != 0) return device.Result();
  m_pFaxChannel = m_pD4CmdIO->D4OpenChnl(GENVL_CHANNEL_FAX);
  if (m_pFaxChannel != nullptr && GetSndRcvMaxSize(&m_FaxSlot)) {
    DbgLogPrintf(m_pLog, kLogVendor, "GenVlAccess::GenVlFaxChnlOpen  - End.  nRC=%d dwChannel=0x%X",
                 0, channel);
    device.Keep();
    return 0;
  }
  if (m_pFaxChannel != nullptr) {
    m_pD4CmdIO->D4CloseChnl(m_pFaxChannel);
    m_pFaxChannel = nullptr;
  }
  return FaxFailure();
}

std::int32_t GenVlAccess::GenVlFaxChnlClose(std::uint32_t channel) {
  if (m_bInitialized == 0 || m_pD4CmdIO == nullptr) return GENVL_E_FAILED;
  if (channel != GENVL_CHANNEL_FAX || m_pFaxChannel == nullptr) return GENVL_E_PARAM;
  const bool closed = m_pD4CmdIO->D4CloseChnl(m_pFaxChannel);
  m_pFaxChannel = nullptr;
  CloseGenVlDevice();
  return closed ? 0 : GENVL_E_DEVICE;
}

std::int32_t GenVlAccess::GenVlFaxWrite(std::uint32_t channel, const std::uint8_t* data,
                                        std::uint32_t length, std::uint32_t control) {
  DbgLogPrintf(m_pLog, kLogVendor, "GenVlAccess::GenVlFaxWrite - Enter  CtrlField=0x%X",
               control & kControlMask);
  if (m_bInitialized == 0 || m_pD4CmdIO == nullptr) return GENVL_E_FAILED;
  if (m_dwFatalError.load() != 0) return GENVL_E_FATAL;
  if (channel != GENVL_CHANNEL_FAX || data == nullptr || length == 0) return GENVL_E_PARAM;
  if (m_pFaxChannel == nullptr) {
    DbgLogPrintf(m_pLog, kLogDevice,
                 "*** GenVlAccess::GenVlFaxWrite - Channel(0x%X) is not opend ***",
                 GENVL_CHANNEL_FAX);
    return GENVL_E_PARAM;
  }
  if (length > m_FaxSlot.dwWriteMax) {
    DbgLogPrintf(m_pLog, kLogDevice,
                 "*** GenVlAccess::GenVlFaxWrite - send_CmdLen(%d) > CmdMaxLen(%d) ***", length,
                 m_FaxSlot.dwWriteMax);
    return GENVL_E_PARAM;
  }
  const auto flagged = std::make_unique_for_overwrite<std::uint8_t[]>(std::size_t{length} + 1);
  std::copy_n(data, length, flagged.get());
  flagged[length] = static_cast<std::uint8_t>(control & kControlBit);
  if (!m_pD4CmdIO->D4WriteCmd(m_pFaxChannel, flagged.get(), length + 1, GetTickCount())) {
    return FaxFailure();
  }
  return static_cast<std::int32_t>(length);
}

std::int32_t GenVlAccess::GenVlFaxRead(std::uint32_t channel, std::uint8_t* data,
                                       std::uint32_t capacity, std::uint32_t* length,
                                       std::uint8_t* control) {
  if (length != nullptr) *length = 0;
  if (m_bInitialized == 0 || m_pD4CmdIO == nullptr) return GENVL_E_FAILED;
  if (m_dwFatalError.load() != 0) return GENVL_E_FATAL;
  if (channel != GENVL_CHANNEL_FAX || length == nullptr || control == nullptr ||
      m_pFaxChannel == nullptr) {
    return GENVL_E_PARAM;
  }
  GenVlChannelSlot& slot = m_FaxSlot;
  if (slot.dwReplyCapacity == 0) {
    slot.pReply = std::make_unique<std::uint8_t[]>(std::size_t{slot.dwReadMax} + 1);
    slot.dwReplyCapacity = slot.dwReadMax + 1;
    slot.dwReplyLen = 0;
  }
  if (slot.dwReplyLen == 0) {
    std::fill_n(slot.pReply.get(), slot.dwReplyCapacity, std::uint8_t{0});
    if (!m_pD4CmdIO->D4ReadCmd(m_pFaxChannel, slot.pReply.get(), slot.dwReplyCapacity,
                               &slot.dwReplyLen, GetTickCount())) {
      return FaxFailure();
    }
  }
  if (slot.dwReplyLen == 0) return GENVL_E_NO_REPLY;
  const std::uint32_t count = slot.dwReplyLen - 1;
  *length = count;
  if (data == nullptr || count > capacity) return GENVL_E_BUFFER;
  std::copy_n(slot.pReply.get(), count, data);
  *control = slot.pReply[count];
  slot.dwReplyLen = 0;
  return static_cast<std::int32_t>(count);
}

}  // namespace vlp
