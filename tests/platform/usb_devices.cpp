// The devices as the machine describes them: their keys, their files, their paths.

#include <windows.h>

#include <setupapi.h>

#include <optional>

#include "tests/platform/usb_fixture.h"

namespace usb_test {
namespace {

constexpr GUID serial_guid = {
    0xB1CEB704, 0xC9BA, 0x4369, {0x82, 0xB7, 0xAF, 0x7E, 0xE7, 0x54, 0x09, 0x9F}};
constexpr GUID other_guid = {
    0xD8965402, 0x43CD, 0x4410, {0x8B, 0x2B, 0xFC, 0xDA, 0xEB, 0x81, 0xB0, 0x01}};

const std::string classes_key = R"(SYSTEM\CurrentControlSet\Control\DeviceClasses\)";
const std::string enum_key = R"(SYSTEM\CurrentControlSet\Enum\)";

std::vector<std::string> listed(const GUID& interface_class = serial_guid) {
  std::vector<std::string> paths;
  const HDEVINFO set = SetupDiGetClassDevsA(&interface_class, nullptr, nullptr, 18);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data;
  for (DWORD i = 0; SetupDiEnumDeviceInterfaces(set, nullptr, &interface_class, i, &data); ++i) {
    std::vector<char> bytes(1000);
    auto* const detail = reinterpret_cast<PSP_DEVICE_INTERFACE_DETAIL_DATA_A>(bytes.data());
    detail->cbSize = sizeof *detail;
    EXPECT_TRUE(SetupDiGetDeviceInterfaceDetailA(set, &data, detail, 1000, nullptr, nullptr));
    paths.emplace_back(bytes.data() + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath));
  }
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(set));
  return paths;
}

// A text or a number; nothing when there is none.
std::optional<std::string> value_of(const std::string& key, const std::string& name) {
  HKEY handle = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &handle) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  char bytes[300] = {};
  DWORD size = sizeof bytes - 1;
  DWORD type = 0;
  const LONG result =
      RegQueryValueExA(handle, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(bytes), &size);
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(handle));
  if (result != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return type == REG_DWORD ? std::to_string(static_cast<int>(bytes[0])) : std::string(bytes);
}

std::string interface_key(const std::string& path, const std::string& interface_class) {
  return classes_key + interface_class + "\\##?#" + path.substr(4);
}

class UsbDevices : public UsbTest {};

TEST_F(UsbDevices, PluggingInWritesTheKeysThatTheSystemKeeps) {
  UsbDeviceDescription description = device_at(first);
  description.container_id = "{11111111-2222-3333-4444-555555555555}";
  platform::add_usb_device(description);
  const std::string key = interface_key(first, serial_class);
  EXPECT_EQ(R"(USB\VID_0FF7&PID_0900\FIRST)", value_of(key, "DeviceInstance"));
  EXPECT_EQ(first, value_of(key + "\\#", "SymbolicLink"));
  EXPECT_EQ("1", value_of(key + "\\#\\Control", "Linked"));
  const std::string instance = enum_key + R"(USB\VID_0FF7&PID_0900\FIRST)";
  EXPECT_EQ("{11111111-2222-3333-4444-555555555555}", value_of(instance, "ContainerID"));
  EXPECT_EQ("{88bae032-5a81-49f0-bc3d-a4ff138216d6}", value_of(instance, "ClassGUID"));
  platform::unplug_usb_device(first);
  EXPECT_EQ("0", value_of(key + "\\#\\Control", "Linked"));
  EXPECT_EQ(R"(USB\VID_0FF7&PID_0900\FIRST)", value_of(key, "DeviceInstance"));
  platform::replug_usb_device(first);
  EXPECT_EQ("1", value_of(key + "\\#\\Control", "Linked"));
}

TEST_F(UsbDevices, DeviceWithoutContainerHasNoSuchValue) {
  platform::add_usb_device(device_at(first));
  EXPECT_EQ(std::nullopt, value_of(enum_key + R"(USB\VID_0FF7&PID_0900\FIRST)", "ContainerID"));
}

TEST_F(UsbDevices, DeviceOfTwoClassesIsListedInBothAndIsOne) {
  UsbDeviceDescription description = device_at(first);
  const std::string other = path_of("first", other_class);
  description.paths.push_back(other);
  platform::add_usb_device(description);
  EXPECT_EQ(std::vector<std::string>{first}, listed(serial_guid));
  EXPECT_EQ(std::vector<std::string>{other}, listed(other_guid));
  const Opened device(other);
  EXPECT_EQ(INVALID_HANDLE_VALUE, open_file(first));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
  platform::unplug_usb_device(other);
  EXPECT_TRUE(listed(serial_guid).empty());
  EXPECT_TRUE(listed(other_guid).empty());
}

TEST_F(UsbDevices, InterfaceInTheRegistryWithoutADeviceIsNotPresent) {
  const std::string key = interface_key(first, serial_class);
  own_machine::set_text(key, "DeviceInstance", R"(USB\VID_0FF7&PID_0900\FIRST)");
  own_machine::set_number(key + R"(\#\Control)", "Linked", 1);
  EXPECT_TRUE(listed().empty());
  platform::add_usb_device(device_at(first));
  EXPECT_EQ(std::vector<std::string>{first}, listed());
}

TEST_F(UsbDevices, ListedTextIsTheLinkAndWithoutItTheKeysName) {
  platform::add_usb_device(device_at(R"(\\?\USB#Vid_0FF7&Pid_0900#First#)" + serial_class));
  EXPECT_EQ(std::vector<std::string>{R"(\\?\USB#Vid_0FF7&Pid_0900#First#)" + serial_class},
            listed());
  const std::string link = interface_key(first, serial_class) + "\\#";
  HKEY handle = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_LOCAL_MACHINE, link.c_str(), 0, KEY_WRITE, &handle));
  EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueA(handle, "SymbolicLink"));
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(handle));
  EXPECT_EQ(std::vector<std::string>{R"(\\?\USB#Vid_0FF7&Pid_0900#First#)" + serial_class},
            listed());
}

TEST_F(UsbDevices, PathOfAnyLengthIsListedWholeAndOpens) {
  for (const size_t length : {259U, 260U, 400U}) {
    const std::string path =
        path_of(std::string(length - path_of("").size(), static_cast<char>('a' + length % 7)));
    ASSERT_EQ(length, path.size());
    platform::add_usb_device(device_at(path));
    EXPECT_EQ(std::vector<std::string>{path}, listed());
    const Opened device(path);
    platform::unplug_usb_device(path);
  }
}

TEST_F(UsbDevices, PathOpensWithoutCaseAndInBothForms) {
  platform::add_usb_device(device_at(first));
  std::string raised = first;
  CharUpperA(raised.data());
  for (const std::string& path : {first, raised, R"(\\.\)" + first.substr(4)}) {
    const HANDLE file = open_file(path);
    EXPECT_NE(INVALID_HANDLE_VALUE, file) << path;
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
    EXPECT_TRUE(CloseHandle(file));
  }
}

TEST_F(UsbDevices, PathsOfNoDeviceDoNotOpen) {
  platform::add_usb_device(device_at(first));
  for (const std::string& path :
       {second, first + "x", first.substr(0, first.size() - 1), R"(\\?\usb#)" + serial_class,
        std::string(R"(\\?\usb)"), std::string(R"(\\?\C:\x)")}) {
    EXPECT_EQ(INVALID_HANDLE_VALUE, open_file(path)) << path;
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError()) << path;
  }
  platform::unplug_usb_device(first);
  EXPECT_EQ(INVALID_HANDLE_VALUE, open_file(first));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
}

TEST_F(UsbDevices, NobodyElseOpensADeviceThatIsOpen) {
  platform::add_usb_device(device_at(first));
  platform::add_usb_device(device_at(second));
  {
    const Opened device;
    EXPECT_EQ(INVALID_HANDLE_VALUE, open_file(first));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    const Opened other(second);
  }
  const Opened again;
}

TEST_F(UsbDevices, InterfaceNeedsAFileThatIsOverlappedAndMayReadAndWrite) {
  platform::add_usb_device(device_at(first));
  struct Case {
    DWORD access;
    DWORD flags;
    DWORD error;
  };
  constexpr DWORD both = GENERIC_READ | GENERIC_WRITE;
  for (const Case& wrong : {Case{both, FILE_ATTRIBUTE_NORMAL, ERROR_INVALID_HANDLE},
                            Case{GENERIC_READ, FILE_FLAG_OVERLAPPED, ERROR_ACCESS_DENIED},
                            Case{GENERIC_WRITE, FILE_FLAG_OVERLAPPED, ERROR_ACCESS_DENIED}}) {
    const test::Handle file(open_file(first, wrong.access, wrong.flags));
    WINUSB_INTERFACE_HANDLE made = nullptr;
    SetLastError(untouched);
    EXPECT_FALSE(WinUsb_Initialize(file, &made));
    EXPECT_EQ(wrong.error, GetLastError());
    EXPECT_EQ(nullptr, made);
  }
}

TEST_F(UsbDevices, WhatIsNoDevicesFileHasNoInterface) {
  own_machine::write_file("C:\\x", "x");
  const test::Handle file(open_file("C:\\x"));
  for (const HANDLE wrong : {HANDLE{file}, HANDLE{nullptr}, HANDLE{INVALID_HANDLE_VALUE}}) {
    WINUSB_INTERFACE_HANDLE made = nullptr;
    SetLastError(untouched);
    EXPECT_FALSE(WinUsb_Initialize(wrong, &made));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
  }
}

TEST_F(UsbDevices, DeviceThatIsPluggedInElsewhereHasAnotherPathAndAnotherPlace) {
  platform::add_usb_device(device_at(first));
  platform::add_usb_device(device_at(second));
  EXPECT_EQ((std::vector<std::string>{first, second}), listed());
  const std::string third = path_of("third");
  EXPECT_TRUE(platform::replug_usb_device(first, {third}));
  EXPECT_EQ((std::vector<std::string>{second, third}), listed());
  EXPECT_EQ("0", value_of(interface_key(first, serial_class) + R"(\#\Control)", "Linked"));
  EXPECT_EQ(INVALID_HANDLE_VALUE, open_file(first));
  const Opened device(third);
  device.enter();
  EXPECT_EQ(status_answer, device.say(status_request));
}

TEST_F(UsbDevices, NamesOfNoDeviceAreToldSo) {
  EXPECT_FALSE(platform::unplug_usb_device(first));
  EXPECT_FALSE(platform::replug_usb_device(first));
  EXPECT_FALSE(platform::set_usb_descriptor(first, {}));
  EXPECT_FALSE(platform::with_usb_device(
      first, [](simulator::UsbPrinter&, uint64_t) { ADD_FAILURE() << "there is no such device"; }));
}

TEST_F(UsbDevices, HardwareFileNamesItsDevice) {
  ASSERT_EQ(std::nullopt,
            platform::add_hardware("x.ini", "[Printer]\nPort=USB002\nUsbPath=" + first +
                                                "\nSerialNumber=SN1\n"
                                                "Languages=D4\n"));
  EXPECT_EQ(std::vector<std::string>{first}, listed());
  const Opened device;
  device.enter();
  EXPECT_EQ(status_answer, device.say(status_request));
}

TEST_F(UsbDevices, NewRecordOfAPortReplacesItsDevice) {
  const std::string head = "[Printer]\nPort=USB002\nUsbPath=";
  ASSERT_EQ(std::nullopt, platform::add_hardware("x.ini", head + first + "\n"));
  ASSERT_EQ(std::nullopt, platform::add_hardware("y.ini", head + second + "\n"));
  EXPECT_EQ(std::vector<std::string>{second}, listed());
  ASSERT_EQ(std::nullopt, platform::add_hardware("z.ini", "[Printer]\nPort=usb002\n"));
  EXPECT_TRUE(listed().empty());
}

TEST_F(UsbDevices, PrinterThatIsSwitchedOffIsNotOnTheBus) {
  ASSERT_EQ(std::nullopt, platform::add_hardware("x.ini", "[Printer]\nPort=USB002\nUsbPath=" +
                                                              first + "\nOffline=device\n"));
  EXPECT_TRUE(listed().empty());
}

TEST_F(UsbDevices, HardwareFileWithAPathThatIsNoneIsRefused) {
  const auto wrong = platform::add_hardware("x.ini", "[Printer]\nPort=USB002\nUsbPath=COM1\n");
  ASSERT_TRUE(wrong.has_value());
  EXPECT_NE(std::string::npos, wrong->find("x.ini: UsbPath")) << *wrong;
}

TEST_F(UsbDevices, BreachOfADeviceThatWasReplacedIsNotLost) {
  platform::add_usb_device(device_at(first));
  {
    const Opened device;
    EXPECT_TRUE(device.write(host::init).success);
    platform::add_usb_device(device_at(first));
    EXPECT_FALSE(device.write(host::init).success);
  }
  EXPECT_EQ(0U, only_breach().find(first));
}

TEST_F(UsbDevices, ListTakesNothingButPresentInterfacesOfOneClass) {
  for (const DWORD flags : {DWORD{0}, DWORD{2}, DWORD{16}, DWORD{22}}) {
    SetLastError(untouched);
    EXPECT_EQ(INVALID_HANDLE_VALUE, SetupDiGetClassDevsA(&serial_guid, nullptr, nullptr, flags));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, GetLastError());
  }
  EXPECT_EQ(INVALID_HANDLE_VALUE, SetupDiGetClassDevsA(&serial_guid, "USB", nullptr, 18));
  EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, GetLastError());
}

TEST_F(UsbDevices, EntryOfALongerListIsNoneOfAShorterOne) {
  platform::add_usb_device(device_at(first));
  platform::add_usb_device(device_at(second));
  const HDEVINFO longer = SetupDiGetClassDevsA(&serial_guid, nullptr, nullptr, 18);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data;
  EXPECT_TRUE(SetupDiEnumDeviceInterfaces(longer, nullptr, &serial_guid, 1, &data));
  platform::unplug_usb_device(second);
  const HDEVINFO shorter = SetupDiGetClassDevsA(&serial_guid, nullptr, nullptr, 18);
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailA(shorter, &data, nullptr, 0, nullptr, nullptr));
  EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(longer));
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(shorter));
  EXPECT_FALSE(SetupDiDestroyDeviceInfoList(shorter));
  EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

}  // namespace
}  // namespace usb_test
