#include "simulator/status_report.h"

#include <cstdio>

namespace simulator {
namespace {

constexpr uint8_t serial_entry = 0x40;
constexpr uint8_t code_entry = 0x01;
constexpr uint8_t paper_entry = 0x19;

Bytes text_item(const PrinterOptions& options) {
  return bytes_of("@BDC ST\r\nST:" + options.status_text +
                  ";ER:00;PA:A4;MC:" + serial_digits(options) + ";SE:01;\x0C");
}

Bytes job_item(const PrinterOptions& options) {
  return bytes_of("@QPL STATUS CODE=" + options.status_text + ";MC:" + serial_digits(options) +
                  "\n");
}

void add_entry(Bytes& entries, uint8_t type, View value) {
  entries.push_back(type);
  entries.push_back(static_cast<uint8_t>(value.size()));
  append(entries, value);
}

Bytes binary_item(const PrinterOptions& options) {
  const std::string code = options.status_text.substr(0, 255);
  Bytes entries;
  add_entry(entries, code_entry, bytes_of(code));
  // Bytes that look like ends and heads elsewhere: only the length says where this ends.
  add_entry(entries, paper_entry, Bytes{0x0C, 0x0A, 0x1B, 0x00});
  add_entry(entries, serial_entry, serial_bytes(options));
  Bytes item = bytes_of("@BDC ST2\r\n");
  item.push_back(static_cast<uint8_t>(entries.size() & 0xFF));
  item.push_back(static_cast<uint8_t>(entries.size() >> 8));
  append(item, entries);
  return item;
}

}  // namespace

Bytes status_item(const PrinterOptions& options, StatusForm form) {
  if (options.status_item) {
    return *options.status_item;
  }
  if (form == StatusForm::job) {
    return job_item(options);
  }
  return form == StatusForm::binary ? binary_item(options) : text_item(options);
}

std::string serial_digits(const PrinterOptions& options) {
  std::string digits;
  for (const uint8_t byte : serial_bytes(options)) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>(byte));
    digits += pair;
  }
  return digits;
}

Bytes job_identity(const PrinterOptions& options) {
  return bytes_of("@QPL ID\r\n" + options.serial_number + "\r\n\x0C");
}

Bytes remote_identity(const PrinterOptions& options) {
  return bytes_of("@BDC PS\r\nST:" + options.status_text + ";\x0C");
}

Bytes page_identity(const PrinterOptions& options) {
  return bytes_of("ZRD/PAGE mlS " + options.status_text + "\n");
}

}  // namespace simulator
