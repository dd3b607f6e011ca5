#pragma once

// A printer on two bulk pipes: the device end of the D4 transport with the printer behind its
// command socket and a fax unit, which only takes, behind its fax socket. A pure machine like
// both; whoever carries the transfers waits, as d4_device.h shows.

#include "simulator/d4_device.h"
#include "simulator/printer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

class UsbPrinter {
 public:
  static constexpr uint8_t command_socket = 0x02;
  static constexpr uint8_t fax_socket = 0x21;

  // A printer that names no languages, not even by a device ID, has those of the D4 channel.
  explicit UsbPrinter(PrinterOptions printer, D4Options d4 = {});

  // An OUT and an IN transfer of the host, as those of the device.
  D4Written write(View bytes, uint64_t now_ms);
  D4Taken take(uint64_t now_ms, size_t capacity);
  // When there is something to do: for the device, or for the printer behind it.
  std::optional<uint64_t> next_due() const;
  // Lets what was planned for that time happen, with no transfer in between.
  void look(uint64_t now_ms);
  // The host has closed the device: what it still owes is a breach, what the printer has yet to
  // say is lost.
  void end_exchange(uint64_t now_ms);
  // The host has died with the device open: it owes nothing, what the printer has yet to say is
  // lost.
  void lose_host(uint64_t now_ms);

  void unplug(uint64_t now_ms) { device_.unplug(now_ms); }
  void replug(uint64_t now_ms);
  bool gone() const { return device_.gone(); }

  // For tests. A message that was taken from the device here doesn't reach the printer.
  D4Device& device() { return device_; }
  const D4Device& device() const { return device_; }
  Printer& printer() { return printer_; }

  // Messages that came for the fax unit, in order.
  const std::vector<Bytes>& faxes() const { return faxes_; }

  // What the host did wrong in the eyes of the device, the printer, or of whoever carries the
  // transfers; each told once.
  std::vector<std::string> take_breaches();
  void breach(std::string text) { breaches_.push_back(std::move(text)); }

 private:
  void serve(uint64_t now_ms);
  void hear(uint64_t now_ms);
  void speak(uint64_t now_ms);
  void forget_answers();
  void hear_breaches();

  D4Device device_;
  Printer printer_;
  std::vector<Bytes> faxes_;
  std::vector<std::string> breaches_;  // those that aren't the device's, not told yet
  size_t device_breaches_told_ = 0;
};

}  // namespace simulator
