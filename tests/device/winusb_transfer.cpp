// Transfers on the pipes of a device.

#include <functional>

#include "tests/device/pipes_port.h"

namespace pipes_test {
namespace {

class WinUsbTransfer : public DeviceTest {
 protected:
  WinUsbTransfer() {
    spy() = {};
    platform::add_usb_device(described(kFirst));
  }
  ~WinUsbTransfer() override { spy() = {}; }

  void expect_refused(const std::function<bool(std::uint32_t*)>& call, bool with_count = true) {
    count_ = 77;
    SetLastError(kUntouched);
    EXPECT_FALSE(call(with_count ? &count_ : nullptr));
    EXPECT_EQ(0u, GetLastError());
    EXPECT_EQ(77u, count_);
    EXPECT_TRUE(spy().reads.empty());
    EXPECT_TRUE(spy().writes.empty());
  }

  vlp::CWinUSB_IO device_{&vlp::kSerialNumberInterface};
  std::uint8_t bytes_[4] = {1, 2, 3, 4};
  std::uint32_t count_ = 0;
};

TEST_F(WinUsbTransfer, WrongArgumentsAreRefusedWithNoError) {
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  expect_refused([&](std::uint32_t* count) { return device_.ReadPipe(nullptr, 4, count); });
  expect_refused([&](std::uint32_t* count) { return device_.ReadPipe(bytes_, 0, count); });
  expect_refused([&](std::uint32_t* count) { return device_.ReadPipe(bytes_, 4, count); }, false);
  expect_refused([&](std::uint32_t* count) { return device_.WritePipe(nullptr, 4, count); });
  expect_refused([&](std::uint32_t* count) { return device_.WritePipe(bytes_, 0, count); });
  expect_refused([&](std::uint32_t* count) { return device_.WritePipe(bytes_, 4, count); }, false);
}

TEST_F(WinUsbTransfer, ClosedDeviceIsRefusedWithNoError) {
  expect_refused([&](std::uint32_t* count) { return device_.ReadPipe(bytes_, 4, count); });
  expect_refused([&](std::uint32_t* count) { return device_.WritePipe(bytes_, 4, count); });
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  device_.CloseWinUSBDevice();
  expect_refused([&](std::uint32_t* count) { return device_.ReadPipe(bytes_, 4, count); });
  expect_refused([&](std::uint32_t* count) { return device_.WritePipe(bytes_, 4, count); });
}

TEST_F(WinUsbTransfer, IsOneSynchronousCallWithTheCountFromZero) {
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  spy().calls.clear();
  spy().read_answers = {{.bytes = {9, 8, 7}}};
  spy().write_answers = {{.count = 2}};
  count_ = 77;
  EXPECT_TRUE(device_.ReadPipe(bytes_, 4, &count_));
  EXPECT_EQ(3u, count_);
  EXPECT_EQ(9, bytes_[0]);
  EXPECT_EQ(4, bytes_[3]);
  count_ = 77;
  EXPECT_TRUE(device_.WritePipe(bytes_, 4, &count_));
  EXPECT_EQ(2u, count_);
  EXPECT_EQ(4u, spy().reads[0].size);
  EXPECT_EQ(0u, spy().reads[0].count_before);
  EXPECT_FALSE(spy().reads[0].overlapped);
  EXPECT_EQ((Bytes{9, 8, 7, 4}), spy().writes[0].bytes);
  EXPECT_EQ(0u, spy().writes[0].count_before);
  EXPECT_FALSE(spy().writes[0].overlapped);
  EXPECT_THAT(spy().calls, ElementsAre("WinUsb_ReadPipe interface", "WinUsb_WritePipe interface"));
}

TEST_F(WinUsbTransfer, FailureHasTheSystemsErrorAndACountOfZero) {
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  platform::fail_call("WinUsb_ReadPipe", 1, ERROR_IO_DEVICE);
  platform::fail_call("WinUsb_WritePipe", 1, ERROR_BAD_DEVICE);
  count_ = 77;
  EXPECT_FALSE(device_.ReadPipe(bytes_, 4, &count_));
  EXPECT_EQ(DWORD{ERROR_IO_DEVICE}, GetLastError());
  EXPECT_EQ(0u, count_);
  count_ = 77;
  EXPECT_FALSE(device_.WritePipe(bytes_, 4, &count_));
  EXPECT_EQ(DWORD{ERROR_BAD_DEVICE}, GetLastError());
  EXPECT_EQ(0u, count_);
}

TEST_F(WinUsbTransfer, RemovedDeviceFailsAndStaysOpenUntilItIsClosed) {
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  platform::unplug_usb_device(kFirst);
  EXPECT_FALSE(device_.ReadPipe(bytes_, 4, &count_));
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, GetLastError());
  EXPECT_FALSE(device_.WritePipe(bytes_, 4, &count_));
  EXPECT_EQ(DWORD{ERROR_GEN_FAILURE}, GetLastError());
  EXPECT_TRUE(device_.IsOpened());
  device_.CloseWinUSBDevice();
  EXPECT_FALSE(device_.IsOpened());
  platform::replug_usb_device(kFirst);
  EXPECT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
}

TEST_F(WinUsbTransfer, LifeOfADeviceCallsNothingThatChangesItsPipes) {
  platform::watch_calls();
  ASSERT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
  EXPECT_TRUE(device_.ReadPipe(bytes_, 4, &count_));
  device_.CloseWinUSBDevice();
  std::vector<std::string> names;
  for (const std::string& entry : platform::call_trace()) {
    const std::string name = entry.substr(entry.find_last_of(' ') + 1);
    if (name.starts_with("WinUsb_")) names.push_back(name);
  }
  EXPECT_THAT(
      names, ElementsAre("WinUsb_Initialize", "WinUsb_QueryInterfaceSettings", "WinUsb_QueryPipe",
                         "WinUsb_QueryPipe", "WinUsb_QueryPipe", "WinUsb_ReadPipe", "WinUsb_Free"));
}

TEST_F(WinUsbTransfer, ClassesOfInterfacesAreThoseOfThePrinters) {
  const GUID& serial = vlp::kSerialNumberInterface;
  EXPECT_EQ(0xB1CEB704u, serial.Data1);
  EXPECT_EQ(0xC9BA, serial.Data2);
  EXPECT_EQ(0x4369, serial.Data3);
  EXPECT_THAT(serial.Data4, ElementsAre(0x82, 0xB7, 0xAF, 0x7E, 0xE7, 0x54, 0x09, 0x9F));
  const GUID& product = vlp::kProductInterface;
  EXPECT_EQ(0xD8965402u, product.Data1);
  EXPECT_EQ(0x43CD, product.Data2);
  EXPECT_EQ(0x4410, product.Data3);
  EXPECT_THAT(product.Data4, ElementsAre(0x8B, 0x2B, 0xFC, 0xDA, 0xEB, 0x81, 0xB0, 0x01));
}

}  // namespace
}  // namespace pipes_test
