#pragma once

// Turns a name into the one printer object that stands for it.

#include <cstdint>
#include <memory>
#include <vector>

#include "printer/c_printer_inf.h"
#include "support/critical_section.h"
#include "support/log_settings.h"

namespace vlp {

class PrinterRegistry {
 public:
  // The settings aren't owned and must outlive the registry.
  explicit PrinterRegistry(const LogSettings* settings) : settings_(settings) {}
  ~PrinterRegistry();
  PrinterRegistry(const PrinterRegistry&) = delete;
  PrinterRegistry& operator=(const PrinterRegistry&) = delete;

  // The printer of exactly this name, byte by byte, made at its first mention. A null
  // name and one without a terminator in its first 260 bytes have length 0. The object
  // stays valid for the life of the registry. Making one blocks for the start of its
  // worker, and every other lookup with it. Throws when memory runs out; the registry is
  // then as before.
  CPrinterInf* FindOrCreate(const char* name);

  // Ends every worker, in order of creation, waiting for spooler calls under way.
  void StopAllWorkers();

  std::uint32_t Count() const;

 private:
  CPrinterInf* Find(const char* name) const VLP_REQUIRES(lock_);

  mutable CriticalSection lock_;
  std::vector<std::unique_ptr<CPrinterInf>> printers_ VLP_GUARDED_BY(lock_);
  const LogSettings* settings_;
};

}  // namespace vlp
