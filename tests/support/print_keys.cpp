#include "tests/support/print_keys.h"

#include "support/text.h"

namespace print_keys {

std::string PrinterKey(const std::string& printer) {
  std::string name = printer;
  for (std::size_t at = 0; (at = vlp::FindCharacter(name, '\\')) != std::string::npos;) {
    name[at] = ',';
  }
  return std::string(kPrinters) + "\\" + name;
}

std::string DriverKey(const std::string& driver) { return std::string(kDrivers) + "\\" + driver; }

}  // namespace print_keys
