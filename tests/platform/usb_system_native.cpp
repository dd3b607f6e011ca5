#include "platform/machine.h"
#include "platform/usb_devices.h"
#include "tests/platform/usb_system.h"

namespace usb_system {

void plug(const std::string& name) { platform::add_usb_device({.paths = {path_of(name)}}); }
void unplug(const std::string& name) { platform::unplug_usb_device(path_of(name)); }
void clear() { platform::reset_machine(); }

}  // namespace usb_system
