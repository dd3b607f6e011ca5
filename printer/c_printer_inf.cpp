#include "printer/c_printer_inf.h"

#include "d4/xdlt.h"
#include "device/gen_vl_access.h"
#include "support/text.h"
#include "support/wide_text.h"

namespace vlp {
namespace {

std::optional<std::string> OwnName(const char* name) {
  if (name == nullptr) return std::nullopt;
  return std::string(LimitedText(name));
}

const char* PathOrNull(const LogSettings& settings) {
  return settings.logPath ? settings.logPath->c_str() : nullptr;
}

}  // namespace

CPrinterInf::CPrinterInf(const char* name, const LogSettings& settings)
    : m_lpPrinterName(OwnName(name)), printerNameW(ToWide(Name())) {
  // Two files share the size setting, so each gets half of it.
  log = std::make_unique<DbgLog>(m_lpPrinterName ? m_lpPrinterName->c_str() : nullptr,
                                 PathOrNull(settings), settings.logFlag, settings.maxLogSize >> 1);
  bidi = std::make_unique<CBidiIF>(log.get());
  connectInfo = std::make_unique<ConnectInfo>();
  separeteData = std::make_unique<CSepareteData>(connectInfo.get(), log.get());
  if (m_lpPrinterName) {
    SetRealPrinterName(m_lpPrinterName->c_str(), static_cast<std::uint32_t>(Name().size()) + 1);
  }
  DbgLogPut(log.get(), kLogObjects, 0, "new CPrinterInf", Name().data(), 0);
}

CPrinterInf::~CPrinterInf() {
  DbgLogPut(log.get(), kLogObjects, 0, "delete CPrinterInf", Name().data(), 0);
  // Whatever may still log goes before the log.
  genVlAccess.reset();
  XdltForgetLog(log.get());
  separeteData.reset();
  connectInfo.reset();
  bidi.reset();
  reply.Clear();
  status.Set(nullptr);
  deviceId.Set(nullptr);
  profile.Set(nullptr);
  log.reset();
}

std::string_view CPrinterInf::Name() const {
  return m_lpPrinterName ? std::string_view(*m_lpPrinterName) : std::string_view("");
}

void CPrinterInf::StopBidiWorker() { bidi->StopBidiWorker(); }

std::int32_t CPrinterInf::LogReturn(const char* text, std::int32_t rc) {
  DbgLogPut(log.get(), kLogPrinter, rc < 0 ? kLogError : 0, text, "rc", rc);
  return rc;
}

}  // namespace vlp
