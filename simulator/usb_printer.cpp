#include "simulator/usb_printer.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace simulator {
namespace {

PrinterOptions with_languages(PrinterOptions options) {
  if (options.languages.empty() && options.device_id.empty()) {
    options.languages = {"D4"};
  }
  return options;
}

}  // namespace

UsbPrinter::UsbPrinter(PrinterOptions printer, D4Options d4)
    : device_(std::move(d4)), printer_(with_languages(std::move(printer))) {}

D4Written UsbPrinter::write(View bytes, uint64_t now_ms) {
  serve(now_ms);  // what came due before stands ahead of it
  const D4Written written = device_.write(bytes, now_ms);
  serve(now_ms);
  return written;
}

D4Taken UsbPrinter::take(uint64_t now_ms, size_t capacity) {
  serve(now_ms);
  return device_.take(now_ms, capacity);
}

std::optional<uint64_t> UsbPrinter::next_due() const {
  const auto device = device_.next_due();
  const auto printer = device_.gone() ? std::nullopt : printer_.next_due();
  return device && printer ? std::min(device, printer) : device ? device : printer;
}

void UsbPrinter::look(uint64_t now_ms) {
  serve(now_ms);
  // Sends nothing; but the device looks at the time first.
  device_.push_raw({}, now_ms);
  serve(now_ms);
}

void UsbPrinter::end_exchange(uint64_t now_ms) {
  look(now_ms);
  if (!gone()) {
    device_.check_end(now_ms);
  }
  forget_answers();
}

void UsbPrinter::lose_host(uint64_t now_ms) {
  look(now_ms);
  forget_answers();
}

void UsbPrinter::replug(uint64_t now_ms) {
  forget_answers();
  device_.replug(now_ms);
}

void UsbPrinter::serve(uint64_t now_ms) {
  // Nobody hears what is said to a channel that was closed, nor does the next one.
  if (device_.link().channel(command_socket) == nullptr) {
    forget_answers();
  }
  hear(now_ms);
  speak(now_ms);
}

void UsbPrinter::hear(uint64_t now_ms) {
  for (D4Message& message : device_.take_messages()) {
    if (message.socket == command_socket) {
      printer_.write(message.bytes, now_ms);
      printer_.end_message(now_ms);
    } else if (message.socket == fax_socket) {
      faxes_.push_back(std::move(message.bytes));
    }
  }
  hear_breaches();
}

// In the pieces in which the printer speaks, each from its own moment on.
void UsbPrinter::speak(uint64_t now_ms) {
  for (auto due = printer_.next_due(); due && *due <= now_ms; due = printer_.next_due()) {
    const Bytes bytes = printer_.take(*due);
    device_.reply(command_socket, bytes, *due, !printer_.next_due());
  }
}

void UsbPrinter::forget_answers() {
  printer_.take(std::numeric_limits<uint64_t>::max());
  printer_.end_exchange();
  hear_breaches();
}

void UsbPrinter::hear_breaches() {
  for (std::string& text : printer_.take_breaches()) {
    breach(std::move(text));
  }
}

std::vector<std::string> UsbPrinter::take_breaches() {
  const std::vector<std::string>& all = device_.breaches();
  std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(device_breaches_told_),
                                 all.end());
  device_breaches_told_ = all.size();
  std::move(breaches_.begin(), breaches_.end(), std::back_inserter(fresh));
  breaches_.clear();
  return fresh;
}

}  // namespace simulator
