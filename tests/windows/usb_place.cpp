#include "tests/windows/usb_place.h"

#include <winternl.h>

#include <cstring>

namespace doubles {
namespace {

const std::string classes_key = "SYSTEM\\CurrentControlSet\\Control\\DeviceClasses\\";
const std::string enum_key = "SYSTEM\\CurrentControlSet\\Enum\\";
constexpr const char* winusb_setup_class = "{88bae032-5a81-49f0-bc3d-a4ff138216d6}";
constexpr const char* own_kind = "USB\\VID_0FF7&PID_0900";
constexpr const char* own_classes[] = {"{b1ceb704-c9ba-4369-82b7-af7ee754099f}",
                                       "{d8965402-43cd-4410-8b2b-fcdaeb81b001}"};
constexpr size_t head_length = 4;  // of "\\?\"

// Sizes that nobody else gives a pipe; the rest tells the number.
constexpr DWORD first_size = 0x5A000;
constexpr DWORD size_step = 16;
constexpr DWORD most_devices = 256;

bool set_value(const std::string& path, const char* name, DWORD type, const void* data,
               size_t size) {
  HKEY key = nullptr;
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LONG result =
      RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
  RegCloseKey(key);
  return result == ERROR_SUCCESS;
}

bool set_text(const std::string& path, const char* name, const std::string& text) {
  return set_value(path, name, REG_SZ, text.c_str(), text.size() + 1);
}

// "##?#usb#vid_0ff7&pid_0900#b1#{...}" below its class.
std::string interface_key(const std::string& path) {
  const std::string rest = path.substr(head_length);
  return classes_key + rest.substr(rest.rfind('#') + 1) + "\\##?#" + rest;
}

bool set_linked(const std::string& path, DWORD linked) {
  return set_value(interface_key(path) + "\\#\\Control", "Linked", REG_DWORD, &linked,
                   sizeof linked);
}

bool write_keys(const std::string& path) {
  const std::string rest = path.substr(head_length);
  std::string instance = rest.substr(0, rest.rfind('#'));
  for (char& c : instance) {
    c = c == '#' ? '\\' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 0x20) : c;
  }
  return set_text(enum_key + instance, "ClassGUID", winusb_setup_class) &&
         set_text(interface_key(path), "DeviceInstance", instance) &&
         set_text(interface_key(path) + "\\#", "SymbolicLink", path) && set_linked(path, 1);
}

using CreateLink = NTSTATUS NTAPI(PHANDLE, ACCESS_MASK, POBJECT_ATTRIBUTES, PUNICODE_STRING);

UNICODE_STRING counted(std::u16string& text) {
  UNICODE_STRING result;
  result.Length = static_cast<USHORT>(text.size() * 2);
  result.MaximumLength = static_cast<USHORT>(text.size() * 2 + 2);
  result.Buffer = reinterpret_cast<PWSTR>(text.data());
  return result;
}

// Lasts as long as its handle. Null if there is one of that name already.
HANDLE make_link(const std::string& name, const std::string& target) {
  constexpr ACCESS_MASK all_access = 0xF0001;
  const FARPROC address =
      GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtCreateSymbolicLinkObject");
  CreateLink* create = nullptr;
  std::memcpy(&create, &address, sizeof create);
  std::u16string wide_name(name.begin(), name.end());
  std::u16string wide_target(target.begin(), target.end());
  UNICODE_STRING name_text = counted(wide_name);
  UNICODE_STRING target_text = counted(wide_target);
  OBJECT_ATTRIBUTES attributes;
  InitializeObjectAttributes(&attributes, &name_text, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
  HANDLE link = nullptr;
  return create != nullptr && create(&link, all_access, &attributes, &target_text) == 0 ? link
                                                                                        : nullptr;
}

void close(HANDLE& handle) {
  if (handle != nullptr) {
    CloseHandle(handle);
  }
  handle = nullptr;
}

}  // namespace

std::string UsbPlace::pipe_name() const {
  return "vlp_usb_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(number_);
}

bool UsbPlace::appear() {
  link_ = make_link("\\??\\" + path_.substr(head_length), "\\Device\\NamedPipe\\" + pipe_name());
  return link_ != nullptr && await_next_open() && write_keys(path_);
}

void UsbPlace::vanish() {
  if (link_ != nullptr) {
    set_linked(path_, 0);
  }
  close(link_);
  close(waiting_);
  close(taken_);
}

bool UsbPlace::await_next_open() {
  close(taken_);
  taken_ = waiting_;
  const DWORD size = first_size + number_ * size_step;
  const HANDLE pipe =
      CreateNamedPipeA(("\\\\.\\pipe\\" + pipe_name()).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                       PIPE_UNLIMITED_INSTANCES, size, size, 0, nullptr);
  waiting_ = pipe == INVALID_HANDLE_VALUE ? nullptr : pipe;
  return waiting_ != nullptr;
}

std::optional<uint32_t> usb_number_of(HANDLE file) {
  DWORD flags = 0;
  DWORD out_size = 0;
  DWORD in_size = 0;
  DWORD instances = 0;
  if (GetNamedPipeInfo(file, &flags, &out_size, &in_size, &instances) == FALSE ||
      in_size <= first_size || in_size > first_size + most_devices * size_step) {
    return std::nullopt;
  }
  return (in_size - first_size) / size_step;
}

void forget_usb_places() {
  RegDeleteTreeA(HKEY_LOCAL_MACHINE, (enum_key + own_kind).c_str());
  for (const char* own_class : own_classes) {
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, (classes_key + own_class).c_str());
  }
}

}  // namespace doubles
