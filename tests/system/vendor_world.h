#pragma once

// The vendor-class printer that a test and its child process both have. Each has a spooler of its
// own; the device is one where the system lets them share it, otherwise there are two with the
// same path, so that the mutex is one.

#include <cstdint>
#include <string>

#include "tests/support/far_side_usb.h"
#include "tests/system/child.h"
#include "tests/system/fixture.h"

namespace system_test {

inline constexpr const char* kVendorPrinter = "Shared vendor printer";
inline constexpr const char* kVendorSerialNumber = "QN42000017";
inline constexpr std::uint64_t kVendorReplyMs = 50;

// A command, of five bytes, and its reply.
inline far_side::Bytes VendorCommand() {
  return far_side::bytes_of(std::string("ec\x01\x00", 4) + "x");
}
inline far_side::Bytes VendorReply() { return far_side::bytes_of("x"); }

inline void PlugVendorPort() {
  far_side::PrinterOptions printer{
      .port = "USB001", .device_id = far_side::bytes_of("MFG:V;CMD:GENVL,BDC,D4;MDL:T;")};
  printer.serial_number = kVendorSerialNumber;
  printer.first_byte_ms = 30;
  printer.silence_ms = 15;
  far_side::plug(printer);
}

// Gives the device's path.
inline std::string MakeVendorWorld(const std::string& profile_lines,
                                   std::uint64_t reply_ms = kVendorReplyMs) {
  far_side::add_model(
      "Vendor",
      ProfileLines({{ChnlKindBdc, 7, TextStatusRequest()}, {ChnlKindD4, 7}}, profile_lines));
  far_side::add_printer({.name = kVendorPrinter, .port = "USB001", .driver = "Vendor"});
  PlugVendorPort();
  far_side::PrinterOptions behind;
  behind.serial_number = kVendorSerialNumber;
  far_side::D4Options d4;
  d4.empty_after_ms = 5;
  d4.data_latency_ms = reply_ms;
  return far_side::plug_usb({.place = "b1", .printer = behind, .d4 = d4});
}

// In the child process.
inline void JoinVendorWorld() {
  if (WorldIsShared()) {
    PlugVendorPort();
  } else {
    MakeVendorWorld({});
  }
}

}  // namespace system_test
