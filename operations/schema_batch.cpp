#include "operations/schema_batch.h"

namespace vlp {
namespace {

// Without input the request carries none, so the pointer doesn't matter then.
BidiRequestEntry RowOf(const WCHAR* schema, Bytes input) {
  BidiRequestEntry row;
  row.schema = schema;
  row.input = input.data();
  row.inputSize = static_cast<std::uint32_t>(input.size());
  return row;
}

BidiRequestEntry WithAnswer(BidiRequestEntry row, std::uint8_t* output, std::uint32_t* length) {
  row.output = output;
  row.length = length;
  return row;
}

}  // namespace

BidiRequestEntry SetPrinterNameRow(const std::basic_string<WCHAR>& name) {
  return RowOf(
      TEXT("\\Printer.VELNO_SCHEMA:SetPrinterName"),
      {reinterpret_cast<const std::uint8_t*>(name.c_str()), (name.size() + 1) * sizeof(WCHAR)});
}

BidiRequestEntry GetDeviceIdRow(std::uint8_t* output, std::uint32_t* length) {
  return WithAnswer(RowOf(TEXT("\\Printer.VELNO_SCHEMA:GetDeviceID"), {}), output, length);
}

BidiRequestEntry GetStatusRow(Bytes command, std::uint8_t* output, std::uint32_t* length) {
  return WithAnswer(RowOf(TEXT("\\Printer.VELNO_SCHEMA:GetStatus"), command), output, length);
}

BidiRequestEntry SendCommandRow(ChannelKind kind, Bytes command, std::uint8_t* output,
                                std::uint32_t* length) {
  const WCHAR* const schema = kind == ChnlKindEnd4 ? TEXT("\\Printer.VELNO_SCHEMA:SendFaxCommand")
                                                   : TEXT("\\Printer.VELNO_SCHEMA:SendCommand");
  return WithAnswer(RowOf(schema, command), output, length);
}

BidiRequestEntry SendThroughRow(Bytes command) {
  return RowOf(TEXT("\\Printer.VELNO_SCHEMA:SendThroughREMOTE"), command);
}

BidiContainer BatchOf(const std::array<BidiRequestEntry, 2>& rows, Bytes terminate) {
  BidiContainer batch(terminate.empty() ? 2 : 3);
  for (const BidiRequestEntry& row : rows) batch.Add(row);
  if (!terminate.empty()) {
    batch.Add(RowOf(TEXT("\\Printer.VELNO_SCHEMA:SetTerminateInf"), terminate));
  }
  return batch;
}

}  // namespace vlp
