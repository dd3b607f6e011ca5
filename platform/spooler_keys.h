#pragma once

// Where the registry keeps printers, drivers and redirections.

#include <string>
#include <string_view>

namespace platform {

inline constexpr std::u16string_view printers_path =
    u"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers";
inline constexpr std::u16string_view drivers_path =
    u"SYSTEM\\CurrentControlSet\\Control\\Print\\Environments\\Windows x64\\Drivers\\Version-3";
inline constexpr std::u16string_view driver_folder =
    u"C:\\windows\\system32\\spool\\drivers\\x64\\3\\";

// A key's name can't hold a backslash: the spooler writes a comma for it.
inline std::u16string key_name_of(std::u16string_view printer) {
  std::u16string name(printer);
  for (char16_t& unit : name) {
    unit = unit == u'\\' ? u',' : unit;
  }
  return name;
}

inline std::u16string below(std::u16string_view folder, std::u16string_view name) {
  return std::u16string(folder) + u'\\' + key_name_of(name);
}

inline std::u16string printer_path(std::u16string_view name) { return below(printers_path, name); }
inline std::u16string driver_path(std::u16string_view name) { return below(drivers_path, name); }

// Below HKEY_CURRENT_USER; a device name counts with and without its colon.
inline std::u16string redirection_path(std::u16string_view device) {
  return below(u"Network", device.substr(0, device.find(u':')));
}

}  // namespace platform
