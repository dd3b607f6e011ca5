#include "operations/schema_batch.h"

namespace vlp {

BidiRequestEntry SetPrinterNameRow(const std::basic_string<WCHAR>& name) {
  BidiRequestEntry row;
  row.schema = TEXT("\\Printer.VELNO_SCHEMA:SetPrinterName");
  row.input = reinterpret_cast<const std::uint8_t*>(name.c_str());
  row.inputSize = static_cast<std::uint32_t>((name.size() + 1) * sizeof(WCHAR));
  return row;
}

BidiRequestEntry GetDeviceIdRow(std::uint8_t* output, std::uint32_t* length) {
  BidiRequestEntry row;
  row.schema = TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID");
  row.output = output;
  row.length = length;
  return row;
}

}  // namespace vlp
