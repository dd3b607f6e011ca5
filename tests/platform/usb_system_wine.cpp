#include "tests/platform/own_machine.h"
#include "tests/platform/usb_system.h"

namespace usb_system {

using own_machine::set_number;
using own_machine::set_text;

void plug(const std::string& name) {
  const std::string instance = R"(USB\VID_0FF7&PID_0001\)" + name;
  set_text(R"(SYSTEM\CurrentControlSet\Enum\)" + instance, "ClassGUID",
           "{88bae032-5a81-49f0-bc3d-a4ff138216d6}");
  set_text(interface_key(name), "DeviceInstance", instance);
  set_text(interface_key(name) + R"(\#)", "SymbolicLink", path_of(name));
  set_number(interface_key(name) + R"(\#\Control)", "Linked", 1);
}

void unplug(const std::string& name) {
  set_number(interface_key(name) + R"(\#\Control)", "Linked", 0);
}

void clear() {
  RegDeleteTreeA(
      HKEY_LOCAL_MACHINE,
      (std::string(R"(SYSTEM\CurrentControlSet\Control\DeviceClasses\)") + test_class_key).c_str());
}

}  // namespace usb_system
