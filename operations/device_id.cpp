// The device ID, as the printer gave it, from the cache while that is young.

#include "operations/answer.h"
#include "operations/out_of_memory.h"
#include "printer/c_printer_inf.h"

namespace vlp {

std::int32_t CPrinterInf::GetDeviceID(std::uint8_t* buffer, std::uint32_t* length) {
  DbgLogPut(log.get(), kLogPrinter, 0, "CPrinterInf::GetDeviceID Enter");
  const char* text = "CPrinterInf::GetDeviceID Exist DevID Return";
  ReadingSnapshot reading = deviceId.Get();
  if (reading == nullptr || !DeviceIdIsYoung(*reading)) {
    text = "CPrinterInf::GetDeviceID Return";
    const std::int32_t rc = MemoryAsCode([&] { return ConnectWorker(&reading); });
    if (rc != 0) return LogReturn(text, rc);
  }
  return AnswerFrom(log.get(), text, reading->bytes, buffer, length);
}

}  // namespace vlp
