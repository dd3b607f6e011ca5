#pragma once

// A vendor-class printer: its status comes by the spooler, its D4 channel is its own device.

#include <functional>
#include <string>
#include <vector>

#include "platform/usb_devices.h"
#include "simulator/status_report.h"
#include "tests/operations/exchange_fixture.h"
#include "tests/support/virtual_time.h"

namespace operations_test {

inline constexpr const char* kSerial = "QN90000203";
inline constexpr const char* kOtherSerial = "QN90000204";
inline const std::string kDevicePath =
    "\\\\?\\usb#vid_0ff7&pid_0900#one#{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
inline const std::string kSecondPath =
    "\\\\?\\usb#vid_0ff7&pid_0900#two#{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
inline constexpr const char* kMutexName =
    "Global\\VELNO_Printer_VendorClassVL_VID_0FF7&PID_0900#ONE#"
    "{B1CEB704-C9BA-4369-82B7-AF7EE754099F}";

// The device's own status request, by which it is found.
inline const std::string kAsked = "st\1\0\1"s;

inline constexpr std::uint32_t kVendorLines = 0x100;

class VendorTest : public ExchangeTest {
 protected:
  // What the body opens must be closed at its end, so the printer ends in it.
  void Timed(const std::function<void()>& body) {
    test::run_virtual_serial(1, [&] {
      body();
      printer_.reset();
    });
  }

  // `listed` is what the device ID says behind GENVL.
  void OpenVendor(const std::string& settings = "", std::uint32_t mask = kPrinterLines,
                  const Lanes& lanes = {{ChnlKindBdc}, {ChnlKindD4}}) {
    Open(lanes, settings, "GENVL,BDC,D4");
    Answer("GetStatus", StatusOf(kSerial));
    if (mask == kPrinterLines) return;
    Make("Printer", mask);
    Connect();
  }

  static std::string StatusOf(const std::string& serial) {
    return TextOf(simulator::status_item({.serial_number = serial}, simulator::StatusForm::text));
  }

  // A device that answers "cmd" with "reply", and to "hush" nothing.
  static platform::UsbDeviceDescription DeviceOf(const std::string& serial = kSerial,
                                                 const std::string& path = kDevicePath) {
    platform::UsbDeviceDescription device;
    device.paths = {path};
    device.printer.serial_number = serial;
    device.printer.scripts = {{far_side::bytes_of("cmd"), far_side::bytes_of("reply")},
                              {far_side::bytes_of("hush"), {}}};
    device.d4.empty_after_ms = 20;
    return device;
  }
  static void Plug(const std::string& serial = kSerial, const std::string& path = kDevicePath) {
    platform::add_usb_device(DeviceOf(serial, path));
  }

  // What came to the command socket of the device, message by message.
  static std::vector<std::string> Said(const std::string& path = kDevicePath) {
    std::vector<std::string> said;
    EXPECT_TRUE(platform::with_usb_device(path, [&](simulator::UsbPrinter& device, std::uint64_t) {
      for (const auto& message : device.device().messages()) {
        if (message.socket == simulator::UsbPrinter::command_socket) {
          said.push_back(TextOf(message.bytes));
        }
      }
    }));
    return said;
  }

  void ExpectReply(const std::string& command = "cmd", const std::string& reply = "reply") {
    EXPECT_EQ(0, Send(ChnlKindD4, command));
    EXPECT_EQ(reply, got_);
  }
  void ExpectFailure(std::int32_t code, const std::string& command = "cmd") {
    EXPECT_EQ(code, Send(ChnlKindD4, command, 77));
    EXPECT_EQ(77u, length_) << "a failure leaves the length alone";
  }

  // Without what the engine traces, which goes into every log.
  std::vector<std::string> OwnLines() const {
    std::vector<std::string> lines = Log();
    std::erase_if(lines, [](const std::string& line) { return line.rfind("  [D4] ", 0) == 0; });
    return lines;
  }

  void ExpectStatusBatch(std::size_t number) const {
    ExpectBatch(number, {kNamed, {"GetStatus", "status?"}, {"SetTerminateInf", BdcEnd()}});
  }

  static constexpr std::uint32_t kStatusIsGoodFor = 5000;  // unless the profile says otherwise
};

}  // namespace operations_test
