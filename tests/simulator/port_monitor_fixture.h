#pragma once

// A port monitor with one printer, and batches for it.

#include "simulator/port_monitor.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace simulator_test {

using simulator::Answer;
using simulator::Arrival;
using simulator::Bytes;
using simulator::bytes_of;
using simulator::PortMonitor;
using simulator::SeenBatch;
using simulator::SeenRow;

inline constexpr uint32_t blob = 7;
inline const std::u16string name_schema = u"\\Printer.VELNO_SCHEMA:SetPrinterName";
inline const std::u16string id_schema = u"\\Printer.VELNO_SCHEMA:GetDeviceID";
inline const std::vector<std::string> no_breach;

inline Bytes units(const std::u16string& text) {
  Bytes bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<uint8_t>(unit >> 8));
  }
  return bytes;
}

inline SeenRow name_row(const std::u16string& name) {
  return {name_schema, blob, units(name + u'\0')};
}

inline SeenBatch batch_of(std::vector<SeenRow> rows) {
  return {u"Printer", u"Get", true, std::move(rows)};
}

// A monitor with one printer at USB001.
class PortMonitorTest : public testing::Test {
 protected:
  void SetUp() override { monitor_.plug({.port = "USB001", .device_id = bytes_of("MFG:X;")}); }

  Answer send(const SeenBatch& batch, const std::string& port = "USB001") {
    const Arrival arrival = monitor_.arrive(batch, port);
    while (const auto due = monitor_.proceed(arrival.ticket, now_)) {
      now_ = *due;
    }
    return monitor_.answer(arrival.ticket);
  }

  PortMonitor monitor_;
  uint64_t now_ = 1000;
};

}  // namespace simulator_test
