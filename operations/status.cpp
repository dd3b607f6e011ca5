// What state is the printer in? Asked by the status command of the channel's profile;
// the item that comes back is kept for a while, whichever channel it came by.

#include <memory>

#include "language/channel_language.h"
#include "language/status_item.h"
#include "operations/answer.h"
#include "operations/out_of_memory.h"
#include "operations/schema_batch.h"
#include "printer/c_printer_inf.h"
#include "support/tick_age.h"

namespace vlp {

std::int32_t CPrinterInf::GetStatus(ChannelKind kind, std::uint8_t* buffer, std::uint32_t* length) {
  DbgStampLimit(log.get());
  DbgLogPut(log.get(), kLogPrinter, 0, "CPrinterInf::GetStatus Enter");
  const char* text = "CPrinterInf::GetStatus Exist Status Return";
  ReadingSnapshot reading = status.Get();
  if (reading == nullptr || !StatusIsYoung(*reading)) {
    text = "CPrinterInf::GetStatus Return";
    const ChannelKind asked = kind == ChnlKindEnd4 ? ChnlKindBdc : kind;
    const std::int32_t rc = MemoryAsCode([&] { return StatusWorker(asked, &reading); });
    if (rc != 0) return LogReturn(text, rc);
  }
  return AnswerFrom(log.get(), text, reading->bytes, buffer, length);
}

bool CPrinterInf::StatusIsYoung(const Reading& reading) const {
  const auto settings = profile.Get();
  return settings != nullptr && TickAge(reading.tick) < settings->statusNoChkTime;
}

// Nothing old is left where the reading fails.
std::int32_t CPrinterInf::StatusWorker(ChannelKind kind, ReadingSnapshot* read) {
  status.Set(nullptr);
  std::uint32_t length = ReceiveCapacity();
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(length);
  std::int32_t rc = QueryStatus(kind, buffer.get(), &length);
  if (rc == VLPER_NOTCONNECT || (rc == 0 && length == 0)) rc = VLPER_SEND;
  if (rc != 0) return rc;
  if (kind == 0) return VLPER_PARAM;

  // The channels may have changed under the query.
  const std::shared_ptr<const ConnectRecords> channels = connectInfo->Get();
  const ChannelKind resolved = ResolveStatusKind(*channels, kind);
  if (channels->Find(resolved) == nullptr) return VLPER_SEND;
  const std::optional<Bytes> item =
      FindStatusItem(StatusForm(*channels, resolved), {buffer.get(), length});
  if (!item) return VLPER_SEND;
  const auto reading = std::make_shared<Reading>();
  reading->bytes.assign(item->begin(), item->end());
  reading->tick = GetTickCount();
  status.Set(reading);
  *read = reading;
  return 0;
}

std::int32_t CPrinterInf::QueryStatus(ChannelKind kind, std::uint8_t* buffer,
                                      std::uint32_t* length) {
  const std::shared_ptr<const ConnectRecords> channels = connectInfo->Get();
  const ChannelKind resolved = ResolveStatusKind(*channels, kind);
  const ChannelRecord* const record = channels->Find(resolved);
  if (record == nullptr || (record->mode & VLP_MODE_STATUS) == 0) return VLPER_NOCHANNEL;
  const std::vector<std::uint8_t> terminate = BuildTerminateInf(*channels, resolved, false);
  BidiContainer batch =
      BatchOf({SetPrinterNameRow(printerNameW), GetStatusRow(record->statusCmd, buffer, length)},
              terminate);
  return bidi->SendRecvBidiContainer(printerNameW.c_str(), &batch);
}

std::uint32_t CPrinterInf::ReceiveCapacity() const {
  const auto settings = profile.Get();
  return settings != nullptr ? settings->rcvDatBuffSize : 0;
}

}  // namespace vlp
