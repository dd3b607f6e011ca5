#pragma once

// The vendor-class printer that a test and its child process both have: each a spooler and a
// device of its own, all with the same names, so that the mutex is one.

#include <cstdint>
#include <string>

#include "tests/support/far_side_usb.h"
#include "tests/system/fixture.h"

namespace system_test {

inline constexpr const char* kVendorPrinter = "Shared vendor printer";
inline constexpr std::uint64_t kVendorReplyMs = 50;

// Gives the device's path.
inline std::string MakeVendorWorld(const std::string& profile_lines) {
  const far_side::Bytes id = far_side::bytes_of("MFG:V;CMD:GENVL,BDC,D4;MDL:T;");
  far_side::add_model(
      "Vendor",
      ProfileLines({{ChnlKindBdc, 7, TextStatusRequest()}, {ChnlKindD4, 7}}, profile_lines));
  far_side::add_printer({.name = kVendorPrinter, .port = "USB001", .driver = "Vendor"});
  far_side::PrinterOptions printer{.port = "USB001", .device_id = id};
  printer.serial_number = "QN42000017";
  printer.first_byte_ms = 30;
  printer.silence_ms = 15;
  far_side::plug(printer);
  far_side::PrinterOptions behind;
  behind.serial_number = printer.serial_number;
  far_side::D4Options d4;
  d4.empty_after_ms = 5;
  d4.data_latency_ms = kVendorReplyMs;
  return far_side::plug_usb({.place = "b1", .printer = behind, .d4 = d4});
}

}  // namespace system_test
