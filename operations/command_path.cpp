// The one path by which a command goes to the printer through the spooler, in its
// channel's envelope, or bare as a through command.

#include "language/channel_language.h"
#include "operations/out_of_memory.h"
#include "operations/schema_batch.h"
#include "printer/c_printer_inf.h"

namespace vlp {

// A through command ends in the line of SendCommand; readers of the log rely on it.
std::int32_t CPrinterInf::SendThroughCommand(ChannelKind kind, const std::uint8_t* command,
                                             std::uint32_t length) {
  DbgLogData(log.get(), kLogPrinter, kLogData, command, length,
             "CPrinterInf::SendThroughCommand Enter");
  const std::int32_t rc = MemoryAsCode([&] {
    return SendOnSchemaRoad(*connectInfo->Get(), kind, command, length, true, nullptr, nullptr);
  });
  return LogReturn("CPrinterInf::SendCommand Return", rc);
}

std::int32_t CPrinterInf::SendOnSchemaRoad(const ConnectRecords& channels, ChannelKind kind,
                                           const std::uint8_t* command, std::uint32_t commandLength,
                                           bool through, std::uint8_t* output,
                                           std::uint32_t* outputLength) {
  const ChannelRecord* const record = channels.Find(kind);
  if (record == nullptr || (record->mode & VLP_MODE_COMMAND) != VLP_MODE_COMMAND) {
    return VLPER_NOCHANNEL;
  }
  if (through && kind != ChnlKindBdc) return VLPER_NOCHANNEL;
  if (static_cast<std::int32_t>(commandLength) < 1) return VLPER_PARAM;
  if (WrappedLength(kind, commandLength, through) == 0) return VLPER_PARAM;
  if (command == nullptr) return VLPER_PARAM;

  const std::vector<std::uint8_t> terminate = BuildTerminateInf(channels, kind, through);
  const std::vector<std::uint8_t> wrapped = WrapCommand(kind, {command, commandLength}, through);
  const BidiRequestEntry send =
      through ? SendThroughRow(wrapped) : SendCommandRow(kind, wrapped, output, outputLength);
  BidiContainer batch = BatchOf({SetPrinterNameRow(printerNameW), send}, terminate);
  const std::int32_t rc = bidi->SendRecvBidiContainer(printerNameW.c_str(), &batch);
  return rc == VLPER_NOTCONNECT ? VLPER_SEND : rc;
}

}  // namespace vlp
