#pragma once

// A printer that exists only in memory.

#include <cstdint>
#include <string>
#include <vector>

namespace simulator {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const std::string& text);

// What is wrong with the way to a printer. A spooler that can't reach it says so at the send.
enum class Reach { online, server_offline, device_offline };

// Everything that describes one printer and how it behaves.
struct PrinterOptions {
  std::string port = {};           // the port that it hangs on, such as "USB001"
  Bytes device_id = {};            // any bytes, any length; empty: the query stays unanswered
  std::string serial_number = {};  // as it stands in the status texts
  std::vector<std::string> languages = {};
  uint32_t latency_ms = 0;  // from the end of a batch to its answer
  bool mute = false;        // takes everything and answers nothing
  Reach reach = Reach::online;

  // Handles of the caller's events, null for none: `started` is set when a batch has
  // arrived, and the answer waits until `gate` is set. Use a manual-reset gate to let all through.
  void* started = nullptr;
  void* gate = nullptr;
};

// One printer. It answers at once; whoever carries its answers waits for its latency.
class Printer {
 public:
  explicit Printer(PrinterOptions options) : options_(std::move(options)) {}

  const PrinterOptions& options() const { return options_; }
  PrinterOptions& options() { return options_; }

  // The device ID as it goes over the wire; empty when the printer keeps silent.
  Bytes device_id() const { return options_.mute ? Bytes{} : options_.device_id; }

 private:
  PrinterOptions options_;
};

}  // namespace simulator
