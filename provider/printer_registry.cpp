#include "provider/printer_registry.h"

#include "support/text.h"

namespace vlp {

PrinterRegistry::~PrinterRegistry() {
  const LockGuard guard(lock_);
  for (auto& printer : printers_) printer.reset();
  printers_.clear();
}

CPrinterInf* PrinterRegistry::Find(const char* name) const {
  const std::string_view wanted = LimitedText(name);
  for (const auto& printer : printers_) {
    if (printer->Name() == wanted) return printer.get();
  }
  return nullptr;
}

CPrinterInf* PrinterRegistry::FindOrCreate(const char* name) {
  const LockGuard guard(lock_);
  if (CPrinterInf* const found = Find(name); found != nullptr) return found;
  printers_.push_back(std::make_unique<CPrinterInf>(name, *settings_));
  return printers_.back().get();
}

void PrinterRegistry::StopAllWorkers() {
  const LockGuard guard(lock_);
  for (const auto& printer : printers_) printer->StopBidiWorker();
}

std::uint32_t PrinterRegistry::Count() const {
  const LockGuard guard(lock_);
  return static_cast<std::uint32_t>(printers_.size());
}

}  // namespace vlp
