// A command and its reply. The reply is kept for the second call of the length protocol,
// which names the same command and must not send it again.

#include <memory>

#include "language/c_separete_data.h"
#include "operations/answer.h"
#include "operations/out_of_memory.h"
#include "printer/c_printer_inf.h"

namespace vlp {
namespace {

constexpr const char* kReturn = "CPrinterInf::SendCommand Return";

constexpr std::uint32_t kVendorReplyLimit = 65535;

}  // namespace

std::int32_t CPrinterInf::SendCommand(ChannelKind kind, const std::uint8_t* command,
                                      std::uint32_t commandLength, std::uint8_t* buffer,
                                      std::uint32_t* length) {
  DbgStampLimit(log.get());
  DbgLogData(log.get(), kLogPrinter, kLogData, command, commandLength,
             "CPrinterInf::SendCommand Enter");
  if (command != nullptr && reply.HoldsReplyTo({command, commandLength})) {
    const std::int32_t held =
        AnswerFrom(log.get(), "CPrinterInf::SendCommand Exist RecvData Return", reply.replyData,
                   buffer, length);
    if (held == 0) reply.Clear();
    return held;
  }
  reply.Clear();
  const std::int32_t rc = MemoryAsCode([&] { return RunCommand(kind, command, commandLength); });
  if (rc != 0) return LogReturn(kReturn, rc);
  const std::int32_t answered = AnswerFrom(log.get(), kReturn, reply.replyData, buffer, length);
  if (answered == 0) reply.DropReply();
  return answered;
}

// A vendor-class printer's D4 channel is its own device, all else goes through the spooler.
// Leaves a reply in the cache if the command has one of its own.
std::int32_t CPrinterInf::RunCommand(ChannelKind kind, const std::uint8_t* command,
                                     std::uint32_t commandLength) {
  const std::shared_ptr<const ConnectRecords> channels = connectInfo->Get();
  const bool direct = kind == ChnlKindD4 && channels->vendorClass != 0;
  std::uint32_t received = direct ? kVendorReplyLimit : ReceiveCapacity();
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(received);
  std::int32_t rc = direct ? SendOnVendorRoad(channels->genVlSettings, command, commandLength,
                                              buffer.get(), &received)
                           : SendOnSchemaRoad(*channels, kind, command, commandLength, false,
                                              buffer.get(), &received);
  if (rc != 0) return rc;

  ReplyCache next;
  next.replyData.resize(received);
  std::uint32_t left = received;
  rc = separeteData->SepareteRecvData(kind, buffer.get(), received, next.replyData.data(), &left);
  if (rc != 0 || left == 0) return rc;
  next.replyData.resize(left);
  next.replyCommand.assign(command, command + commandLength);
  reply = std::move(next);
  return 0;
}

}  // namespace vlp
