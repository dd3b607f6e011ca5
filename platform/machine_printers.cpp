// The parts of the machine that tests describe as printers: they end as the registry keys
// that the spooler and the redirector answer from.

#include "platform/machine.h"

#include "platform/machine_state.h"
#include "platform/spooler_keys.h"

namespace platform {
namespace {

std::u16string terminated(const std::string& text) { return widen_utf8(text) + u'\0'; }

KeyRef fresh_key(std::u16string_view path) {
  RegistryTree& tree = machine().registry;
  const KeyRef old = tree.find(tree.local_machine(), path);
  if (old != nullptr) {
    tree.remove(old);
  }
  bool made = false;
  return tree.create(tree.local_machine(), path, false, made);
}

void put_text(const KeyRef& key, std::u16string_view name, const std::string& text) {
  machine().registry.set(key, name, REG_SZ, registry_text(terminated(text)));
}

}  // namespace

void add_printer(const PrinterDescription& printer) {
  ensure_machine();
  StateGuard guard;
  const KeyRef key = fresh_key(printer_path(widen_utf8(printer.name)));
  if (key == nullptr) {
    return;
  }
  put_text(key, u"Name", printer.name);
  if (printer.port) {
    put_text(key, u"Port", *printer.port);
  }
  put_text(key, u"Printer Driver", printer.driver);
  const DWORD bits = printer.attributes;
  machine().registry.set(key, u"Attributes", REG_DWORD,
                         {static_cast<uint8_t>(bits), static_cast<uint8_t>(bits >> 8),
                          static_cast<uint8_t>(bits >> 16), static_cast<uint8_t>(bits >> 24)});
}

void remove_printer(const std::string& name) {
  ensure_machine();
  StateGuard guard;
  RegistryTree& tree = machine().registry;
  const KeyRef key = tree.find(tree.local_machine(), printer_path(widen_utf8(name)));
  if (key != nullptr) {
    tree.remove(key);
  }
}

void add_driver(const DriverDescription& driver) {
  ensure_machine();
  StateGuard guard;
  const KeyRef key = fresh_key(driver_path(widen_utf8(driver.name)));
  if (key == nullptr) {
    return;
  }
  put_text(key, u"Driver", driver.driver_path);
  put_text(key, u"Data File", driver.data_file);
  put_text(key, u"Configuration File", driver.config_file);
  machine().registry.set(key, u"Version", REG_DWORD, {3, 0, 0, 0});
  if (driver.dependent_files) {
    std::u16string list;
    for (const std::string& file : *driver.dependent_files) {
      list += terminated(file);
    }
    list += u'\0';
    machine().registry.set(key, u"Dependent Files", REG_MULTI_SZ, registry_text(list));
  }
}

void redirect(const std::string& local, const std::string& remote) {
  ensure_machine();
  StateGuard guard;
  RegistryTree& tree = machine().registry;
  const std::u16string path = redirection_path(widen_utf8(local));
  bool made = false;
  if (remote.empty()) {
    const KeyRef key = tree.find(tree.current_user(), path);
    if (key != nullptr) {
      tree.remove(key);
    }
    return;
  }
  const KeyRef key = tree.create(tree.current_user(), path, false, made);
  if (key != nullptr) {
    put_text(key, u"RemotePath", remote);
  }
}

}  // namespace platform
