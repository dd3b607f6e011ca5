#pragma once

// Devices on the layer's USB, reached by the device layer's own objects.
//
// What a host does wrong in the device's eyes, and handles that stay open, fail the test when
// it ends.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "device/c_io_access.h"
#include "device/c_winusb_io.h"
#include "platform/bidi_monitor.h"
#include "platform/faults.h"
#include "platform/kernel/object.h"
#include "platform/usb_devices.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"
#include "tests/support/virtual_time.h"

namespace pipes_test {

using test::elapsed_ms;
using test::run_virtual_serial;
using test::sleep_ms;
using test::spawn;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

inline constexpr DWORD kUntouched = 0xBEEF;
inline constexpr char kSerialClass[] = "{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
inline constexpr char kProductClass[] = "{d8965402-43cd-4410-8b2b-fcdaeb81b001}";
inline constexpr char kSerialNumber[] = "QN90000203";

inline std::string path_of(const std::string& name,
                           const std::string& interface_class = kSerialClass,
                           const std::string& kind = "vid_0ff7&pid_0900") {
  return R"(\\?\usb#)" + kind + "#" + name + "#" + interface_class;
}
inline const std::string kFirst = path_of("first");
inline const std::string kSecond = path_of("second");

inline platform::UsbDeviceDescription described(const std::string& path,
                                                const std::string& serial = kSerialNumber,
                                                simulator::D4Options d4 = {}) {
  return {.paths = {path}, .printer = {.serial_number = serial}, .d4 = std::move(d4)};
}

// A log in a file of its own, with lines of the mask only.
class LogFile {
 public:
  explicit LogFile(std::uint32_t mask)
      : path_(far_side::fresh_log_directory()), log_("device", path_.c_str(), mask, 0) {
    path_ += "device.dat";
  }

  operator vlp::DbgLog*() { return &log_; }

  // All lines so far, addresses left out.
  std::vector<std::string> shown() const {
    std::vector<std::string> texts = log_lines::shown(path_);
    for (std::string& text : texts) {
      text = std::regex_replace(text, std::regex("=0x[0-9A-F]+"), "=0x<address>");
    }
    return texts;
  }
  std::vector<log_lines::Line> lines() const { return log_lines::read(path_); }

 private:
  std::string path_;
  vlp::DbgLog log_;
};

class DeviceTest : public ::testing::Test {
 protected:
  DeviceTest() { far_side::reset(); }
  ~DeviceTest() override {
    platform::clear_faults();
    std::vector<std::string> all;
    platform::control_port_monitor(
        [&](simulator::PortMonitor& monitor) { all = monitor.breaches(); });
    EXPECT_EQ(std::vector<std::string>{}, all);
    EXPECT_EQ("", platform::handle_report());
  }

  static void with(const std::string& path,
                   platform::FunctionRef<void(simulator::UsbPrinter&, std::uint64_t)> work) {
    EXPECT_TRUE(platform::with_usb_device(path, work)) << path;
  }
};

}  // namespace pipes_test
