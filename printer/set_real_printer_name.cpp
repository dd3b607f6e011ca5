// The printer's real name, found once when the object is made.

#include "printer/c_printer_inf.h"
#include "printer/real_name.h"
#include "support/text.h"
#include "support/wide_text.h"

namespace vlp {

// The caller's name stays the registry's key and the log's name; the real one is what
// talks to the spooler. Without one the caller's name does, and no later call tries again.
void CPrinterInf::SetRealPrinterName(const char* name, std::uint32_t size) {
  if (name == nullptr || size == 0) return;
  DbgLogPrintf(log.get(), kLogPrinter, "CPrinterInf::SetRealPrinterName: PrinterName(%s)", name);
  char real[kTextLimit] = {};
  std::uint32_t length = sizeof(real);
  if (GetRealNameChecked(name, size, real, &length) == 0) return;

  printerNameW = ToWide({real, length});
  hasRealName = 1;
  DbgLogPrintfW(log.get(), kLogPrinter,
                TEXT("CPrinterInf::SetRealPrinterName: RealPrinterNameW(%s)"),
                printerNameW.c_str());
  realPrinterNameA.assign(real, length);
  DbgLogPrintf(log.get(), kLogPrinter, "CPrinterInf::SetRealPrinterName: RealPrinterNameA(%s)",
               realPrinterNameA.c_str());
}

}  // namespace vlp
