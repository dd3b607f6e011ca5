#pragma once

// Device interfaces that are there for the listing calls: natively by devices on the layer's
// USB, under Wine by the registry keys from which it lists them.

#include <windows.h>

#include <string>

namespace usb_system {

inline constexpr GUID test_class = {
    0x0B1A5E55, 0x4A11, 0x4C0D, {0x9E, 0x01, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}};
inline constexpr const char* test_class_key = "{0b1a5e55-4a11-4c0d-9e01-112233445566}";

// "\\?\usb#vid_0ff7&pid_0001#NAME#{...}"; names in lower case.
inline std::string path_of(const std::string& name) {
  return R"(\\?\usb#vid_0ff7&pid_0001#)" + name + "#" + test_class_key;
}

inline std::string interface_key(const std::string& name) {
  return std::string(R"(SYSTEM\CurrentControlSet\Control\DeviceClasses\)") + test_class_key +
         R"(\##?#usb#vid_0ff7&pid_0001#)" + name + "#" + test_class_key;
}

void plug(const std::string& name);
void unplug(const std::string& name);
// Takes away every device of the class.
void clear();

}  // namespace usb_system
