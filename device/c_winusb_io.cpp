#include "device/c_winusb_io.h"

namespace vlp {
namespace {

constexpr std::int32_t kNoPipe = -1;
constexpr UCHAR kInDirection = 0x80;

bool RefuseArgument() {
  SetLastError(0);
  return false;
}

}  // namespace

bool CWinUSB_IO::OpenWinUSBDevice(const char* path) {
  if (path == nullptr || m_pGuid == nullptr || IsOpened()) return RefuseArgument();
  const HANDLE file =
      CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OVERLAPPED, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  m_hFile.Reset(file);
  if (WinUsb_Initialize(m_hFile.Get(), m_hWinUsb.Receive()) == FALSE) {
    m_hWinUsb.Forget();
    m_hFile.Reset();
    return false;
  }
  FindPipes();
  if (m_nBulkInPipe != kNoPipe && m_nBulkOutPipe != kNoPipe) {
    m_bOpened.store(1);
    return true;
  }
  m_hWinUsb.Reset();
  m_hFile.Reset();
  return false;
}

// A device whose descriptor can't be had has no endpoints.
void CWinUSB_IO::FindPipes() {
  USB_INTERFACE_DESCRIPTOR descriptor{};
  WinUsb_QueryInterfaceSettings(m_hWinUsb.Get(), 0, &descriptor);
  m_nBulkInPipe = m_nBulkOutPipe = m_nInterruptPipe = kNoPipe;
  for (UCHAR i = 0; i < descriptor.bNumEndpoints; ++i) {
    WINUSB_PIPE_INFORMATION info{};
    if (WinUsb_QueryPipe(m_hWinUsb.Get(), 0, i, &info) == FALSE) break;
    if (info.PipeType == UsbdPipeTypeBulk) {
      ((info.PipeId & kInDirection) != 0 ? m_nBulkInPipe : m_nBulkOutPipe) = info.PipeId;
    } else if (info.PipeType == UsbdPipeTypeInterrupt) {
      m_nInterruptPipe = info.PipeId;
    }
  }
}

void CWinUSB_IO::CloseWinUSBDevice() {
  if (m_bOpened.exchange(0) == 0) return;
  m_hWinUsb.Reset();
  m_hFile.Reset();
}

bool CWinUSB_IO::RefuseTransfer(const void* data, std::uint32_t size,
                                const std::uint32_t* count) const {
  if (data != nullptr && size != 0 && count != nullptr && IsOpened()) return false;
  SetLastError(0);
  return true;
}

bool CWinUSB_IO::WritePipe(const std::uint8_t* data, std::uint32_t size, std::uint32_t* written) {
  if (RefuseTransfer(data, size, written)) return false;
  ULONG count = 0;
  // The call only reads, whatever its type says.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
  auto* const bytes = const_cast<PUCHAR>(data);
  const BOOL done = WinUsb_WritePipe(m_hWinUsb.Get(), static_cast<UCHAR>(m_nBulkOutPipe), bytes,
                                     size, &count, nullptr);
  *written = count;
  return done != FALSE;
}

bool CWinUSB_IO::ReadPipe(std::uint8_t* data, std::uint32_t size, std::uint32_t* got) {
  if (RefuseTransfer(data, size, got)) return false;
  ULONG count = 0;
  const BOOL done = WinUsb_ReadPipe(m_hWinUsb.Get(), static_cast<UCHAR>(m_nBulkInPipe), data, size,
                                    &count, nullptr);
  *got = count;
  return done != FALSE;
}

}  // namespace vlp
