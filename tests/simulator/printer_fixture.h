#pragma once

// A printer and what it says, for tests of the languages.

#include "simulator/printer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator_test {

using namespace std::string_literals;
using namespace std::string_view_literals;
using simulator::Bytes;
using simulator::bytes_of;
using simulator::Printer;
using simulator::PrinterOptions;
using simulator::PushPlace;
using simulator::StatusForm;
using simulator::View;
using simulator::Way;

// What a computer sends. Written out here, apart from the printer's own texts.
inline std::string in_job(const std::string& commands) {
  return "\x1B\x01" + commands + "\x1B\x01";
}
inline std::string in_remote(const std::string& commands) {
  return std::string("\x1B@\x1B@\x1B(R\x08\x00\x00REMOTE1"sv) + commands +
         std::string("\x1B\x00\x00\x00"sv);
}
inline std::string in_page(const std::string& commands) {
  return "\x1B\x01@QPL EN LA=ZRD/PAGE\n" + commands;
}
inline const std::string job_probe = "@QPL ID\r\n";
inline const std::string remote_probe{"ST\x01\x00\x01"sv};
inline const std::string page_probe =
    "\x1D"
    "10;1lS"
    "\x1D"
    "12mlS";

inline PrinterOptions every_language() {
  return {.port = "USB001",
          .serial_number = "QN42000017",
          .languages = {"QPL", "BDC", "ZRDPAGE", "D4", "ZRDPAGES-01", "END4", "ZRDLABEL"}};
}

inline std::string text_of(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// What came of one message: all of the answer, and what the printer didn't accept.
struct Outcome {
  std::string reply;
  std::vector<std::string> breaches;
};

inline Outcome outcome_of(Printer& printer) {
  Outcome outcome;
  while (const auto due = printer.next_due()) {
    outcome.reply += text_of(printer.take(*due));
  }
  outcome.breaches = printer.take_breaches();
  return outcome;
}

inline void write_text(Printer& printer, const std::string& text, Way way = Way::data) {
  printer.write(bytes_of(text), 0, way);
}

// The whole message at once.
inline Outcome say(Printer& printer, const std::string& message, Way way = Way::data) {
  write_text(printer, message, way);
  printer.end_message(0, way);
  return outcome_of(printer);
}

inline Outcome say(const PrinterOptions& options, const std::string& message, Way way = Way::data) {
  Printer printer(options);
  return say(printer, message, way);
}

inline const std::string text_status =
    "@BDC ST\r\nST:0400;ER:00;PA:A4;MC:514E3432303030303137;SE:01;\x0C";
inline const std::string binary_status{
    "@BDC ST2\r\n\x18\x00\x01\x04"
    "0400\x19\x04\x0C\x0A\x1B\x00\x40\x0AQN42000017"sv};
inline const std::string job_status = "@QPL STATUS CODE=0400;MC:514E3432303030303137\n";
inline const std::string job_identity = "@QPL ID\r\nQN42000017\r\n\x0C";
inline const std::string remote_identity = "@BDC PS\r\nST:0400;\x0C";
inline const std::string page_identity = "ZRD/PAGE mlS 0400\n";

}  // namespace simulator_test
