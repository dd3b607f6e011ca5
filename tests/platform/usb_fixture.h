#pragma once

// Devices on the layer's USB, and a host that talks to one through the calls with bytes that
// are written out by hand.

#include <windows.h>

#include <winusb.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/bidi_monitor.h"
#include "platform/faults.h"
#include "platform/kernel/object.h"
#include "platform/machine.h"
#include "platform/usb_devices.h"
#include "tests/platform/call_helpers.h"
#include "tests/platform/own_machine.h"
#include "tests/simulator/d4_fixture.h"
#include "tests/support/virtual_time.h"

namespace usb_test {

using own_machine::untouched;
using platform::UsbDeviceDescription;
using simulator::Bytes;
using simulator::D4Act;
using simulator::D4Options;
using simulator_test::bytes_of;
using simulator_test::joined;
namespace host = simulator_test::host;
namespace wire = simulator_test::wire;

inline constexpr UCHAR out_pipe = 0x02;
inline constexpr UCHAR in_pipe = 0x81;
inline constexpr UCHAR command_socket = 0x02;

inline const std::string serial_class = "{b1ceb704-c9ba-4369-82b7-af7ee754099f}";
inline const std::string other_class = "{d8965402-43cd-4410-8b2b-fcdaeb81b001}";

inline std::string path_of(const std::string& name,
                           const std::string& interface_class = serial_class) {
  return R"(\\?\usb#vid_0ff7&pid_0900#)" + name + "#" + interface_class;
}

inline const std::string first = path_of("first");
inline const std::string second = path_of("second");

inline const Bytes status_request = host::data(command_socket, std::string("st\x01\x00\x01", 5));
// With the serial number "SN1".
inline const Bytes status_answer =
    host::data(command_socket, "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:534E3100000000000000;SE:01;\x0C");

inline UsbDeviceDescription device_at(const std::string& path, D4Options d4 = {}) {
  return {.paths = {path}, .printer = {.serial_number = "SN1"}, .d4 = std::move(d4)};
}

inline HANDLE open_file(const std::string& path, DWORD access = GENERIC_READ | GENERIC_WRITE,
                        DWORD flags = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OVERLAPPED) {
  SetLastError(untouched);
  return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                     OPEN_EXISTING, flags, nullptr);
}

// What a transfer came to.
struct Outcome {
  bool success = false;
  ULONG count = 0;
  DWORD error = 0;
  Bytes bytes = {};
};

inline Outcome read_from(WINUSB_INTERFACE_HANDLE interface_handle, ULONG capacity = 2048,
                         UCHAR pipe = in_pipe) {
  Outcome outcome;
  outcome.bytes.assign(capacity, 0xEE);
  outcome.count = 77;
  SetLastError(untouched);
  outcome.success = WinUsb_ReadPipe(interface_handle, pipe, outcome.bytes.data(), capacity,
                                    &outcome.count, nullptr) != FALSE;
  outcome.error = GetLastError();
  EXPECT_LE(outcome.count, capacity);
  outcome.bytes.resize(outcome.count);
  return outcome;
}

inline Outcome write_to(WINUSB_INTERFACE_HANDLE interface_handle, Bytes bytes,
                        UCHAR pipe = out_pipe) {
  Outcome outcome;
  outcome.count = 77;
  SetLastError(untouched);
  outcome.success =
      WinUsb_WritePipe(interface_handle, pipe, bytes.data(), static_cast<ULONG>(bytes.size()),
                       &outcome.count, nullptr) != FALSE;
  outcome.error = GetLastError();
  return outcome;
}

// A device's file and interface, open as long as it lives.
class Opened {
 public:
  explicit Opened(const std::string& path = first) : file_(open_file(path)) {
    EXPECT_NE(INVALID_HANDLE_VALUE, file_) << GetLastError();
    EXPECT_TRUE(WinUsb_Initialize(file_, &interface_)) << GetLastError();
  }
  ~Opened() { close(); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

  void close() {
    if (interface_ != nullptr) {
      EXPECT_TRUE(WinUsb_Free(interface_));
      EXPECT_TRUE(CloseHandle(file_));
      interface_ = nullptr;
    }
  }

  HANDLE file() const { return file_; }
  WINUSB_INTERFACE_HANDLE get() const { return interface_; }

  Outcome read(ULONG capacity = 2048) const { return read_from(interface_, capacity); }
  Outcome write(const Bytes& bytes) const { return write_to(interface_, bytes); }

  // A write and a read that have to work.
  Bytes say(const Bytes& bytes) const {
    const Outcome written = write(bytes);
    EXPECT_TRUE(written.success) << written.error;
    EXPECT_EQ(bytes.size(), written.count);
    const Outcome got = read();
    EXPECT_TRUE(got.success) << got.error;
    return got.bytes;
  }

  // Up to an open command channel on which the device may say one packet.
  void enter() const {
    EXPECT_EQ(wire::entry_reply, say(host::entry));
    EXPECT_EQ(wire::init_reply, say(host::init));
    EXPECT_EQ(wire::open_reply(command_socket), say(host::open(command_socket)));
    EXPECT_EQ(wire::credit_reply(0, command_socket), say(host::credit(command_socket)));
  }

 private:
  HANDLE file_;
  WINUSB_INTERFACE_HANDLE interface_ = nullptr;
};

inline std::vector<std::string> all_breaches() {
  std::vector<std::string> all;
  platform::control_port_monitor(
      [&](simulator::PortMonitor& monitor) { all = monitor.breaches(); });
  return all;
}

inline void forget_breaches() {
  platform::control_port_monitor([](simulator::PortMonitor& monitor) { monitor.reset(); });
}

inline void with_device(const std::string& path,
                        platform::FunctionRef<void(simulator::UsbPrinter&, uint64_t)> work) {
  EXPECT_TRUE(platform::with_usb_device(path, work)) << path;
}

class UsbTest : public own_machine::MachineTest {
 protected:
  UsbTest() { forget_breaches(); }
  ~UsbTest() override {
    platform::clear_faults();
    EXPECT_EQ(std::vector<std::string>{}, all_breaches());
    EXPECT_EQ("", platform::handle_report());
  }

  // The one breach that there is; forgets it.
  static std::string only_breach() {
    const std::vector<std::string> all = all_breaches();
    forget_breaches();
    EXPECT_EQ(1U, all.size());
    return all.size() == 1 ? all[0] : std::string();
  }
};

}  // namespace usb_test
