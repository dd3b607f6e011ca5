// Every call on the USB fails when it is told to, in its own way, and is counted.

#include <windows.h>

#include <setupapi.h>

#include <functional>

#include "tests/platform/usb_fixture.h"

namespace usb_test {
namespace {

constexpr DWORD planted = 1450;
constexpr GUID serial_guid = {
    0xB1CEB704, 0xC9BA, 0x4369, {0x82, 0xB7, 0xAF, 0x7E, 0xE7, 0x54, 0x09, 0x9F}};

class UsbFaults : public UsbTest {
 protected:
  UsbFaults() { platform::add_usb_device(device_at(first)); }

  static void expect_failure(const char* call, const std::function<bool()>& fails) {
    platform::fail_call(call, 1, planted);
    SetLastError(untouched);
    EXPECT_TRUE(fails()) << call;
    EXPECT_EQ(planted, GetLastError()) << call;
    platform::clear_faults();
  }
};

TEST_F(UsbFaults, ListingCallsFailWithTheErrorAndDestroyAllTheSame) {
  expect_failure("SetupDiGetClassDevsA", [] {
    return SetupDiGetClassDevsA(&serial_guid, nullptr, nullptr, 18) == INVALID_HANDLE_VALUE;
  });
  const HDEVINFO set = SetupDiGetClassDevsA(&serial_guid, nullptr, nullptr, 18);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data;
  expect_failure("SetupDiEnumDeviceInterfaces", [&] {
    return !SetupDiEnumDeviceInterfaces(set, nullptr, &serial_guid, 0, &data);
  });
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(set, nullptr, &serial_guid, 0, &data));
  DWORD needed = 9;
  expect_failure("SetupDiGetDeviceInterfaceDetailA", [&] {
    return !SetupDiGetDeviceInterfaceDetailA(set, &data, nullptr, 0, &needed, nullptr);
  });
  EXPECT_EQ(9U, needed);
  expect_failure("SetupDiDestroyDeviceInfoList",
                 [&] { return !SetupDiDestroyDeviceInfoList(set); });
  EXPECT_EQ("", platform::handle_report());
}

TEST_F(UsbFaults, DevicesFileAndInterfaceFailToOpen) {
  expect_failure("CreateFileA", [] {
    return CreateFileA(first.c_str(), 0xC0000000, 3, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED,
                       nullptr) == INVALID_HANDLE_VALUE;
  });
  const HANDLE file = open_file(first);
  WINUSB_INTERFACE_HANDLE made = nullptr;
  expect_failure("WinUsb_Initialize", [&] { return !WinUsb_Initialize(file, &made); });
  EXPECT_EQ(nullptr, made);
  expect_failure("CloseHandle", [&] { return !CloseHandle(file); });
  const Opened device;  // so it was closed
}

TEST_F(UsbFaults, InterfaceCallsFailAndTheDeviceHearsNothingOfIt) {
  Opened device;
  USB_INTERFACE_DESCRIPTOR told = {};
  WINUSB_PIPE_INFORMATION pipe = {};
  Bytes bytes = host::entry;
  ULONG count = 77;
  expect_failure("WinUsb_QueryInterfaceSettings",
                 [&] { return !WinUsb_QueryInterfaceSettings(device.get(), 0, &told); });
  EXPECT_EQ(0, told.bNumEndpoints);
  expect_failure("WinUsb_QueryPipe", [&] { return !WinUsb_QueryPipe(device.get(), 0, 0, &pipe); });
  EXPECT_EQ(0, pipe.PipeId);
  expect_failure("WinUsb_WritePipe", [&] {
    return !WinUsb_WritePipe(device.get(), out_pipe, bytes.data(), 4, &count, nullptr);
  });
  EXPECT_EQ(0U, count);
  count = 77;
  expect_failure("WinUsb_ReadPipe", [&] {
    return !WinUsb_ReadPipe(device.get(), in_pipe, bytes.data(), 4, &count, nullptr);
  });
  EXPECT_EQ(0U, count);
  with_device(first, [](simulator::UsbPrinter& printer, uint64_t) {
    EXPECT_EQ(0U, printer.device().out_transfers());
    EXPECT_EQ(0U, printer.device().in_transfers());
  });
}

TEST_F(UsbFaults, FreeThatFailsStillFrees) {
  const HANDLE file = open_file(first);
  WINUSB_INTERFACE_HANDLE made = nullptr;
  ASSERT_TRUE(WinUsb_Initialize(file, &made));
  expect_failure("WinUsb_Free", [&] { return !WinUsb_Free(made); });
  EXPECT_FALSE(WinUsb_Free(made));
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(UsbFaults, CallsAreCountedAndWhatTheyCallInsideIsNot) {
  test::run_virtual_parallel([] {
    platform::watch_calls();
    platform::add_usb_device(device_at(second, {.empty_after_ms = 10}));
    {
      const Opened device(second);
      EXPECT_TRUE(device.read().success);
      EXPECT_TRUE(device.write(host::entry).success);
    }
    for (const char* const call : {"CreateFileA", "WinUsb_Initialize", "WinUsb_ReadPipe",
                                   "WinUsb_WritePipe", "WinUsb_Free", "CloseHandle"}) {
      EXPECT_EQ(1U, platform::calls_of(call)) << call;
    }
    EXPECT_EQ(0U, platform::calls_of("WaitForSingleObject"));
    EXPECT_EQ(0U, platform::calls_of("Sleep"));
  });
}

}  // namespace
}  // namespace usb_test
