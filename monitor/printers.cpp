#include "monitor/printers.h"

#include <windows.h>

#include <winspool.h>

#include <cstddef>
#include <memory>

namespace monitor {
namespace {

// Storage that suits the records, whatever the size in bytes.
class Records {
 public:
  explicit Records(DWORD bytes)
      : records_(std::make_unique<PRINTER_INFO_2A[]>(bytes / sizeof(PRINTER_INFO_2A) + 1)) {}

  BYTE* Bytes() { return reinterpret_cast<BYTE*>(records_.get()); }
  const PRINTER_INFO_2A& At(DWORD index) const { return records_[index]; }

 private:
  std::unique_ptr<PRINTER_INFO_2A[]> records_;
};

}  // namespace

std::optional<std::vector<SpoolerPrinter>> ListPrinters() {
  constexpr DWORD kWhich = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
  DWORD size = 0;
  // Printers may come while we ask, so the size may grow from one call to the next.
  for (;;) {
    Records records(size);
    DWORD needed = 0;
    DWORD count = 0;
    if (EnumPrintersA(kWhich, nullptr, 2, size == 0 ? nullptr : records.Bytes(), size, &needed,
                      &count) != FALSE) {
      std::vector<SpoolerPrinter> printers;
      for (DWORD index = 0; index < count; ++index) {
        const PRINTER_INFO_2A& record = records.At(index);
        if (record.pPrinterName == nullptr) continue;
        SpoolerPrinter& printer = printers.emplace_back();
        printer.name = record.pPrinterName;
        if (record.pPortName != nullptr) printer.port = record.pPortName;
      }
      return printers;
    }
    if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || needed <= size) return std::nullopt;
    size = needed;
  }
}

}  // namespace monitor
