// Opening a device, finding its pipes, closing it.

#include "tests/device/pipes_port.h"

namespace pipes_test {
namespace {

using platform::UsbDescriptor;
using platform::UsbEndpoint;

constexpr std::uint8_t kInterrupt = 3;
constexpr std::uint8_t kIsochronous = 1;

class WinUsbOpen : public DeviceTest {
 protected:
  WinUsbOpen() { spy() = {}; }
  ~WinUsbOpen() override { spy() = {}; }

  static void plug(const UsbDescriptor& descriptor = {}) {
    platform::UsbDeviceDescription description = described(kFirst);
    description.descriptor = descriptor;
    platform::add_usb_device(description);
  }

  struct Pipes {
    int in = 0;
    int out = 0;
  };
  // The pipes that transfers take.
  static Pipes pipes_of(vlp::CWinUSB_IO& device) {
    std::uint8_t byte = 1;
    std::uint32_t count = 0;
    spy().read_answers = {{.bytes = {1}}};
    spy().write_answers = {{.count = 1}};
    EXPECT_TRUE(device.ReadPipe(&byte, 1, &count));
    EXPECT_TRUE(device.WritePipe(&byte, 1, &count));
    return {spy().reads.back().pipe, spy().writes.back().pipe};
  }

  bool open(const char* path = kFirst.c_str()) {
    SetLastError(kUntouched);
    const bool opened = device_.OpenWinUSBDevice(path);
    error_ = GetLastError();
    EXPECT_EQ(opened, device_.IsOpened());
    return opened;
  }

  // Nothing is left of an open that failed.
  static void expect_nothing_left() {
    EXPECT_EQ(nullptr, spy().file);
    EXPECT_EQ(nullptr, spy().interface);
    EXPECT_EQ("", platform::handle_report());
  }

  vlp::CWinUSB_IO device_{&vlp::kSerialNumberInterface};
  DWORD error_ = 0;
};

TEST_F(WinUsbOpen, OpensTheFileTheInterfaceAndWalksThePipesOnce) {
  plug();
  ASSERT_TRUE(open());
  EXPECT_THAT(
      spy().calls,
      ElementsAre("CreateFileA C0000000 3 null 3 40000080 null", "WinUsb_Initialize file",
                  "WinUsb_QueryInterfaceSettings interface 0", "WinUsb_QueryPipe interface 0 0",
                  "WinUsb_QueryPipe interface 0 1", "WinUsb_QueryPipe interface 0 2"));
  const Pipes pipes = pipes_of(device_);
  EXPECT_EQ(0x81, pipes.in);
  EXPECT_EQ(0x02, pipes.out);
}

TEST_F(WinUsbOpen, CloseFreesTheInterfaceBeforeTheFile) {
  plug();
  ASSERT_TRUE(open());
  spy().calls.clear();
  device_.CloseWinUSBDevice();
  EXPECT_FALSE(device_.IsOpened());
  EXPECT_THAT(spy().calls, ElementsAre("WinUsb_Free interface", "CloseHandle file"));
  expect_nothing_left();
}

TEST_F(WinUsbOpen, CloseOfWhatIsClosedDoesNothing) {
  plug();
  device_.CloseWinUSBDevice();
  EXPECT_TRUE(spy().calls.empty());
  ASSERT_TRUE(open());
  device_.CloseWinUSBDevice();
  spy().calls.clear();
  SetLastError(kUntouched);
  device_.CloseWinUSBDevice();
  EXPECT_EQ(kUntouched, GetLastError());
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(WinUsbOpen, EndOfTheObjectClosesAnOpenDevice) {
  plug();
  {
    vlp::CWinUSB_IO device(&vlp::kSerialNumberInterface);
    ASSERT_TRUE(device.OpenWinUSBDevice(kFirst.c_str()));
    spy().calls.clear();
  }
  EXPECT_THAT(spy().calls, ElementsAre("WinUsb_Free interface", "CloseHandle file"));
  expect_nothing_left();
  {
    const vlp::CWinUSB_IO device(&vlp::kSerialNumberInterface);
    spy().calls.clear();
  }
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(WinUsbOpen, SecondOpenIsRefusedWithNoErrorAndTheDeviceStaysOpen) {
  plug();
  ASSERT_TRUE(open());
  spy().calls.clear();
  SetLastError(kUntouched);
  EXPECT_FALSE(device_.OpenWinUSBDevice(kFirst.c_str()));
  EXPECT_EQ(0u, GetLastError());
  EXPECT_TRUE(device_.IsOpened());
  EXPECT_TRUE(spy().calls.empty());
  EXPECT_EQ(0x81, pipes_of(device_).in);
}

TEST_F(WinUsbOpen, WithoutPathOrClassTheErrorIsZeroAndNothingIsOpened) {
  plug();
  EXPECT_FALSE(open(nullptr));
  EXPECT_EQ(0u, error_);
  vlp::CWinUSB_IO without_class(nullptr);
  SetLastError(kUntouched);
  EXPECT_FALSE(without_class.OpenWinUSBDevice(kFirst.c_str()));
  EXPECT_EQ(0u, GetLastError());
  EXPECT_TRUE(spy().calls.empty());
}

TEST_F(WinUsbOpen, DeviceThatIsNotThereFailsWithTheSystemsError) {
  EXPECT_FALSE(open());
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, error_);
  EXPECT_THAT(spy().calls, ElementsAre("CreateFileA C0000000 3 null 3 40000080 null"));
  plug();
  EXPECT_TRUE(open());
}

TEST_F(WinUsbOpen, DeviceThatSomebodyElseHasFailsWithTheSystemsError) {
  plug();
  ASSERT_TRUE(open());
  vlp::CWinUSB_IO other(&vlp::kSerialNumberInterface);
  EXPECT_FALSE(other.OpenWinUSBDevice(kFirst.c_str()));
  EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
}

TEST_F(WinUsbOpen, InterfaceThatFailsClosesTheFileAndKeepsTheError) {
  plug();
  platform::fail_call("WinUsb_Initialize", 1, ERROR_BAD_DEVICE);
  EXPECT_FALSE(open());
  EXPECT_EQ(DWORD{ERROR_BAD_DEVICE}, error_);
  EXPECT_THAT(spy().calls, ElementsAre("CreateFileA C0000000 3 null 3 40000080 null",
                                       "WinUsb_Initialize file", "CloseHandle file"));
  expect_nothing_left();
  EXPECT_TRUE(open());
}

TEST_F(WinUsbOpen, WhatAFailedCallLeavesAsInterfaceIsNotFreed) {
  plug();
  spy().initialize_leaves_rubbish = true;
  {
    vlp::CWinUSB_IO device(&vlp::kSerialNumberInterface);
    EXPECT_FALSE(device.OpenWinUSBDevice(kFirst.c_str()));
    EXPECT_EQ(DWORD{ERROR_BAD_DEVICE}, GetLastError());
  }
  EXPECT_THAT(spy().calls, ElementsAre("CreateFileA C0000000 3 null 3 40000080 null",
                                       "WinUsb_Initialize file", "CloseHandle file"));
  expect_nothing_left();
}

TEST_F(WinUsbOpen, LaterBulkPipeOfEachDirectionIsTaken) {
  plug({.endpoints = {{.address = 0x81},
                      {.address = 0x01},
                      {.address = 0x82},
                      {.address = 0x02},
                      {.address = 0x85, .type = kInterrupt},
                      {.address = 0x03, .type = kIsochronous},
                      {.address = 0x86, .type = 0}}});
  ASSERT_TRUE(open());
  const Pipes pipes = pipes_of(device_);
  EXPECT_EQ(0x82, pipes.in);
  EXPECT_EQ(0x02, pipes.out);
  EXPECT_EQ(10u + 2u, spy().calls.size());
}

TEST_F(WinUsbOpen, OneDirectionAloneIsNoDeviceAndLeavesNothing) {
  const std::vector<std::vector<UsbEndpoint>> lists = {
      {},
      {{.address = 0x81}},
      {{.address = 0x02}},
      {{.address = 0x81}, {.address = 0x82}},
      {{.address = 0x81}, {.address = 0x02, .type = kInterrupt}},
      {{.address = 0x81, .type = kIsochronous}, {.address = 0x02}},
      {{.address = 0x81, .type = 0}, {.address = 0x02}}};
  for (const auto& endpoints : lists) {
    plug({.endpoints = endpoints});
    spy().calls.clear();
    EXPECT_FALSE(open());
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, error_);
    EXPECT_EQ("WinUsb_Free interface", *(spy().calls.end() - 2));
    EXPECT_EQ("CloseHandle file", spy().calls.back());
    expect_nothing_left();
  }
}

TEST_F(WinUsbOpen, PipeThatCannotBeAskedEndsTheWalk) {
  plug({.endpoints = {{.address = 0x81}, {.address = 0x02}, {.address = 0x83}}});
  platform::fail_call("WinUsb_QueryPipe", 3, ERROR_BAD_DEVICE);
  ASSERT_TRUE(open());
  EXPECT_EQ(0x81, pipes_of(device_).in);
  device_.CloseWinUSBDevice();
  platform::fail_call("WinUsb_QueryPipe", 2, ERROR_BAD_DEVICE);
  spy().calls.clear();
  EXPECT_FALSE(open());
  EXPECT_EQ(DWORD{ERROR_BAD_DEVICE}, error_);
  EXPECT_THAT(
      spy().calls,
      ElementsAre("CreateFileA C0000000 3 null 3 40000080 null", "WinUsb_Initialize file",
                  "WinUsb_QueryInterfaceSettings interface 0", "WinUsb_QueryPipe interface 0 0",
                  "WinUsb_QueryPipe interface 0 1", "WinUsb_Free interface", "CloseHandle file"));
  expect_nothing_left();
}

TEST_F(WinUsbOpen, DescriptorThatTellsTooManyEndsAtTheFirstThatIsNotThere) {
  plug({.endpoints = {{.address = 0x81}, {.address = 0x02}}, .told_endpoints = std::uint8_t{255}});
  ASSERT_TRUE(open());
  EXPECT_EQ("WinUsb_QueryPipe interface 0 2", spy().calls.back());
  device_.CloseWinUSBDevice();
  plug({.endpoints = {{.address = 0x81}}, .told_endpoints = std::uint8_t{255}});
  EXPECT_FALSE(open());
  EXPECT_EQ(DWORD{ERROR_NO_MORE_ITEMS}, error_);
  expect_nothing_left();
}

TEST_F(WinUsbOpen, DescriptorThatTellsTooFewIsBelieved) {
  plug({.endpoints = {{.address = 0x81}, {.address = 0x02}}, .told_endpoints = std::uint8_t{1}});
  EXPECT_FALSE(open());
  EXPECT_EQ(4u + 2u, spy().calls.size());
  expect_nothing_left();
}

TEST_F(WinUsbOpen, DescriptorThatCannotBeHadMeansNoPipes) {
  plug({.settings_error = DWORD{ERROR_IO_DEVICE}});
  EXPECT_FALSE(open());
  EXPECT_EQ(DWORD{ERROR_IO_DEVICE}, error_);
  EXPECT_THAT(spy().calls,
              ElementsAre("CreateFileA C0000000 3 null 3 40000080 null", "WinUsb_Initialize file",
                          "WinUsb_QueryInterfaceSettings interface 0", "WinUsb_Free interface",
                          "CloseHandle file"));
  expect_nothing_left();
}

TEST_F(WinUsbOpen, EachOpenFindsThePipesAnew) {
  plug();
  ASSERT_TRUE(open());
  device_.CloseWinUSBDevice();
  ASSERT_TRUE(
      platform::set_usb_descriptor(kFirst, {.endpoints = {{.address = 0x88}, {.address = 0x07}}}));
  ASSERT_TRUE(open());
  EXPECT_EQ(0x88, pipes_of(device_).in);
  EXPECT_EQ(0x07, pipes_of(device_).out);
  device_.CloseWinUSBDevice();
  ASSERT_TRUE(platform::set_usb_descriptor(kFirst, {.endpoints = {{.address = 0x88}}}));
  EXPECT_FALSE(open());
}

}  // namespace
}  // namespace pipes_test
