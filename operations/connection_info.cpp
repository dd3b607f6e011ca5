// Over which channels can the printer be reached? The connect worker asks the printer
// for its device ID and lays it over the profile's channels.

#include <array>
#include <cstring>

#include "operations/channel_choice.h"
#include "operations/out_of_memory.h"
#include "operations/schema_batch.h"
#include "printer/c_printer_inf.h"
#include "support/tick_age.h"

namespace vlp {
namespace {

constexpr std::uint32_t kDeviceIdCapacity = 1024;

}  // namespace

std::int32_t CPrinterInf::GetConnectInf(std::uint64_t* entries) {
  DbgLogPut(log.get(), kLogPrinter, 0, "CPrinterInf::GetConnectInf Enter");
  const ReadingSnapshot held = deviceId.Get();
  if (held != nullptr && !held->bytes.empty() && DeviceIdIsYoung(*held)) {
    return LogReturn("CPrinterInf::GetConnectInf Exist DevID Return", CopyEntries(entries));
  }
  ReadingSnapshot read;
  std::int32_t rc = MemoryAsCode([&] { return ConnectWorker(&read); });
  if (rc == 0) rc = CopyEntries(entries);
  if (rc == VLPER_SEND) {
    rc = VLPER_NOTSUPPORT;
    DbgLogPut(log.get(), kLogPrinter, 0,
              "CPrinterInf::GetConnectInf Change VLPER_SEND to VLPER_NOTSUPPORT");
  }
  return LogReturn("CPrinterInf::GetConnectInf Return", rc);
}

std::int32_t CPrinterInf::CopyEntries(std::uint64_t* entries) const {
  const std::shared_ptr<const ConnectRecords> channels = connectInfo->Get();
  for (std::uint32_t index = 0; index < channels->count; ++index) {
    const ChannelRecord& record = channels->records[index];
    const std::uint64_t slot = record.kind | (std::uint64_t{record.mode} << 32);
    // The caller's array may stand at any address.
    std::memcpy(reinterpret_cast<std::uint8_t*>(entries) + index * sizeof(slot), &slot,
                sizeof(slot));
  }
  return channels->count != 0 ? static_cast<std::int32_t>(channels->count) : VLPER_NOENTRY;
}

bool CPrinterInf::DeviceIdIsYoung(const Reading& reading) const {
  const auto settings = profile.Get();
  return settings != nullptr && settings->universalDriver == 0 &&
         TickAge(reading.tick) < settings->devIDNoChkTime;
}

std::int32_t CPrinterInf::QueryDeviceId(std::vector<std::uint8_t>* bytes) {
  std::array<std::uint8_t, kDeviceIdCapacity> buffer;
  std::uint32_t length = kDeviceIdCapacity;
  BidiContainer batch =
      BatchOf({SetPrinterNameRow(printerNameW), GetDeviceIdRow(buffer.data(), &length)}, {});
  const std::int32_t rc = bidi->SendRecvBidiContainer(printerNameW.c_str(), &batch);
  if (rc != 0) return rc;
  if (length == 0) return VLPER_NOTCONNECT;
  bytes->assign(buffer.begin(), buffer.begin() + length);
  return 0;
}

// A failed query leaves channels and profile as they were, but no device ID, so the
// next call asks again. A good one shows channels and device ID together, so that the
// two of different answers never stay beside each other.
std::int32_t CPrinterInf::ConnectWorker(ReadingSnapshot* read) {
  deviceId.Set(nullptr);
  const auto reading = std::make_shared<Reading>();
  const std::int32_t rc = QueryDeviceId(&reading->bytes);
  if (rc != 0) return rc;
  reading->tick = GetTickCount();
  *read = reading;

  auto settings = profile.Get();
  if (settings == nullptr) {
    auto read_now = std::make_shared<const ModelProfile>(LoadModelProfile(Name().data()));
    if (read_now->loaded == 0) {
      deviceId.Set(reading);
      return 0;
    }
    settings = profile.SetIfEmpty(std::move(read_now));
  }
  const std::optional<std::string> port = GetPortName(Name().data());
  PrinterFacts facts;
  facts.device_id = reading->bytes;
  facts.port = port ? std::string_view(*port) : std::string_view();
  facts.shared = printerShared.load(std::memory_order_relaxed) != 0;
  auto channels = ChooseChannels(*settings, facts);
  const LockGuard publishing(publishLock);
  connectInfo->Publish(std::move(channels));
  deviceId.Set(reading);
  return 0;
}

}  // namespace vlp
