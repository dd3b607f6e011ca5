// Commands and through commands. The command path itself isn't built yet, so no channel
// takes one.

#include "printer/c_printer_inf.h"

namespace vlp {

std::int32_t CPrinterInf::SendCommand(ChannelKind, const std::uint8_t* command,
                                      std::uint32_t commandLength, std::uint8_t*, std::uint32_t*) {
  DbgStampLimit(log.get());
  DbgLogData(log.get(), kLogPrinter, kLogData, command, commandLength,
             "CPrinterInf::SendCommand Enter");
  return LogReturn("CPrinterInf::SendCommand Return", VLPER_NOCHANNEL);
}

// A through command ends in the line of SendCommand; readers of the log rely on it.
std::int32_t CPrinterInf::SendThroughCommand(ChannelKind, const std::uint8_t* command,
                                             std::uint32_t length) {
  DbgLogData(log.get(), kLogPrinter, kLogData, command, length,
             "CPrinterInf::SendThroughCommand Enter");
  return LogReturn("CPrinterInf::SendCommand Return", VLPER_NOCHANNEL);
}

}  // namespace vlp
