// Whether the printer's present port can be served.

#include "printer/c_printer_inf.h"
#include "printer/port_kind.h"
#include "support/spooler.h"
#include "support/text.h"

namespace vlp {
namespace {

// Published by the platform under another name; the log calls it shared.
constexpr DWORD kSharedAttribute = 0x10;

}  // namespace

std::int32_t CPrinterInf::PortResult(const char* text, std::int32_t rc, std::uint32_t flags) {
  DbgLogPut(log.get(), kLogPrinter, flags, text, "rc", rc);
  return rc;
}

std::int32_t CPrinterInf::CheckSupportPort() {
  if (!m_lpPrinterName) {
    return PortResult("CPrinterInf::CheckSupportPort Return (m_lpPrinterName is NULL)",
                      VLPER_NOTSUPPORT, kLogError);
  }
  const std::optional<std::string> port = GetPortName(m_lpPrinterName->c_str());
  if (!port) {
    return PortResult("CPrinterInf::CheckSupportPort Return (Failed to GetPortName)",
                      VLPER_NOTSUPPORT, kLogError);
  }
  if (!HasLocalPrefix(*port)) {
    return PortResult("CPrinterInf::CheckSupportPort Return (Not Local port)", VLPER_NOTSUPPORT, 0);
  }
  if (IsTcpIpPort(*port)) {
    return PortResult("CPrinterInf::CheckSupportPort Return (TCP/IP port)", VLPER_NOTSUPPORT, 0);
  }
  if (IsNetworkLpt(*port)) {
    return PortResult("CPrinterInf::CheckSupportPort Return (NetLPT port)", VLPER_NOTSUPPORT, 0);
  }
  // No listed prefix lets these two names through; what they mean stands here in case
  // one ever does.
  if (*port == "NULL") {
    return PortResult("CPrinterInf::CheckSupportPort Return (NULL Port)", VLPER_NOTCONNECT,
                      kLogError);
  }
  if (*port == "FILE:") {
    return PortResult("CPrinterInf::CheckSupportPort Return (File Port)", VLPER_NOTCONNECT,
                      kLogError);
  }
  DbgLogPut(log.get(), kLogPrinter, 0, "CPrinterInf::CheckSupportPort Return", port->c_str(), 0);
  return 0;
}

std::optional<std::string> CPrinterInf::GetPortName(const char* name) {
  if (name == nullptr) return std::nullopt;
  const PrinterHandle printer =
      OpenPrinterByName(hasRealName != 0 ? realPrinterNameA.c_str() : name);
  if (!printer) return std::nullopt;
  const auto information =
      ReadSpoolerRecord<PRINTER_INFO_2A>([&printer](BYTE* buffer, DWORD size, DWORD* needed) {
        return GetPrinterA(printer.Get(), 2, buffer, size, needed);
      });
  if (information == nullptr) return std::nullopt;

  std::optional<std::string> port;
  if (information[0].pPortName != nullptr) port = LimitedText(information[0].pPortName);
  const DWORD attributes = information[0].Attributes;
  const std::uint32_t shared = (attributes & kSharedAttribute) != 0 ? 1 : 0;
  printerShared.store(shared, std::memory_order_relaxed);
  DbgLogPrintf(log.get(), kLogObjects,
               "CPrinterInf::GetPortName [PRINTER_INFO_2].Attributes=0x%X Share=%d", attributes,
               shared);
  return port;
}

}  // namespace vlp
