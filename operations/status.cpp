// The status operation. Status requests themselves aren't built yet, so no channel
// answers one.

#include "printer/c_printer_inf.h"

namespace vlp {

std::int32_t CPrinterInf::GetStatus(ChannelKind, std::uint8_t*, std::uint32_t*) {
  DbgStampLimit(log.get());
  DbgLogPut(log.get(), kLogPrinter, 0, "CPrinterInf::GetStatus Enter");
  return LogReturn("CPrinterInf::GetStatus Return", VLPER_NOCHANNEL);
}

}  // namespace vlp
