// A command to a vendor-class printer's own device, past the spooler.

#include <memory>
#include <optional>
#include <utility>

#include "device/gen_vl_access.h"
#include "language/status_item.h"
#include "printer/c_printer_inf.h"

namespace vlp {
namespace {

static_assert(GENVL_CHANNEL_STATUS == ChnlKindD4);

std::int32_t CodeOfSend(std::int32_t result) {
  return result == GENVL_E_MUTEX_TIMEOUT ? VLPER_BUSY : VLPER_SEND;
}

bool IsWorthRenewing(std::int32_t result) {
  return result == GENVL_E_DEVICE || result == GENVL_E_FATAL;
}

}  // namespace

// The command goes bare: the device's channel keeps it and its reply together.
std::int32_t CPrinterInf::SendOnVendorRoad(const GenVlSettings& settings,
                                           const std::uint8_t* command, std::uint32_t commandLength,
                                           std::uint8_t* output, std::uint32_t* outputLength) {
  if (command == nullptr || commandLength == 0) return VLPER_PARAM;
  if (settings.packetRcvMaxTime == 0) return VLPER_NOTCONNECT;
  const std::int32_t rc = HaveDevice(settings);
  if (rc != 0) return rc;

  const std::int32_t sent = genVlAccess->GenVlSendRecv(ChnlKindD4, command, commandLength);
  if (sent < 1) {
    DbgLogPrintf(log.get(), kLogVendor, "*** GenVlAccess::GenVlSendRecv - End.  nRC=%d ***", sent);
    genVlRenew = IsWorthRenewing(sent);
    return CodeOfSend(sent);
  }
  std::uint32_t received = 0;
  const std::int32_t replied =
      genVlAccess->GenVlGetReply(ChnlKindD4, output, *outputLength, &received);
  if (replied < 1) return replied == GENVL_E_BUFFER ? VLPER_BUFFERSIZE : VLPER_PARAM;
  *outputLength = received;
  return 0;
}

// A device that failed is searched for anew: it may be plugged in elsewhere by now.
std::int32_t CPrinterInf::HaveDevice(const GenVlSettings& settings) {
  if (genVlAccess != nullptr && genVlRenew) {
    genVlAccess.reset();
    genVlRenew = false;
    std::uint32_t none = 0;
    GetStatus(ChnlKindBdc, nullptr, &none);
  }
  genVlRenew = false;
  ReadingSnapshot held = status.Get();
  if (held == nullptr) {
    const std::int32_t rc = StatusWorker(ChnlKindBdc, &held);
    if (rc != 0) return rc;
  }
  if (genVlAccess != nullptr) return 0;
  const std::optional<SerialNumber> serial = GetSerialFromStatus(held->bytes);
  if (!serial) return VLPER_NOTCONNECT;
  auto access = std::make_unique<GenVlAccess>(serial->data(), 0, 0, nullptr, &settings, log.get());
  if (!access->IsInitialized()) return VLPER_NOTCONNECT;
  genVlAccess = std::move(access);
  return 0;
}

}  // namespace vlp
