#pragma once

// A port over one open device, of which the test says what each transfer comes to.

#include "tests/device/pipes_fixture.h"
#include "tests/device/pipes_spy.h"

namespace pipes_test {

inline Bytes counted(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t at = 0; at < count; ++at) bytes[at] = static_cast<std::uint8_t>(at % 251 + 1);
  return bytes;
}

inline Bytes part(const Bytes& bytes, std::size_t begin, std::size_t count) {
  const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
  return {from, from + static_cast<std::ptrdiff_t>(count)};
}

struct Outcome {
  std::uint32_t result = 0;
  std::uint32_t count = 0;  // 77 if it wasn't stored
  DWORD error = 0;
  Bytes bytes = {};
};

class PortTest : public DeviceTest {
 protected:
  PortTest() {
    spy() = {};
    platform::add_usb_device(described(kFirst));
  }
  ~PortTest() override { spy() = {}; }

  // The device is open and the port has it; calls so far are forgotten.
  void connect(vlp::CIOAccess& port) {
    EXPECT_TRUE(port.SetWinUSBIO(&device_));
    EXPECT_TRUE(device_.OpenWinUSBDevice(kFirst.c_str()));
    spy().calls.clear();
  }

  static Outcome read(vlp::CIOAccess& port, std::uint32_t size) {
    Outcome outcome{.count = 77, .bytes = Bytes(size, 0xEE)};
    SetLastError(kUntouched);
    outcome.result =
        port.PortOps()->read(port.Handle(), outcome.bytes.data(), size, &outcome.count);
    outcome.error = GetLastError();
    if (outcome.count <= size) outcome.bytes.resize(outcome.count);
    return outcome;
  }

  // Reads that bring these bytes.
  static void expect_read(vlp::CIOAccess& port, std::uint32_t size, const Bytes& bytes) {
    const Outcome outcome = read(port, size);
    EXPECT_EQ(1u, outcome.result);
    EXPECT_EQ(bytes.size(), outcome.count);
    EXPECT_EQ(bytes, outcome.bytes);
  }

  static Outcome write(vlp::CIOAccess& port, const Bytes& bytes) {
    Outcome outcome{.count = 77};
    SetLastError(kUntouched);
    outcome.result = port.PortOps()->write(
        port.Handle(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), &outcome.count);
    outcome.error = GetLastError();
    return outcome;
  }

  vlp::CWinUSB_IO device_{&vlp::kSerialNumberInterface};
};

}  // namespace pipes_test
