#include "simulator/printer_options.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr size_t serial_length = 10;

std::string upper(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return result;
}

std::string without_version(const std::string& name) { return name.substr(0, name.find('-')); }

// The names behind "CMD:" in a device ID.
std::vector<std::string> listed(const Bytes& device_id) {
  const std::string text(device_id.begin(), device_id.end());
  std::vector<std::string> names;
  size_t start = text.find("CMD:");
  if (start == std::string::npos) {
    return names;
  }
  const std::string field = text.substr(start + 4, text.find(';', start) - start - 4);
  for (start = 0; start <= field.size();) {
    const size_t end = std::min(field.find(',', start), field.size());
    names.push_back(field.substr(start, end - start));
    start = end + 1;
  }
  return names;
}

bool holds(const std::vector<std::string>& names, std::string_view language) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    return without_version(upper(name)) == language;
  });
}

}  // namespace

bool speaks(const PrinterOptions& options, std::string_view language) {
  if (!options.languages.empty()) {
    return holds(options.languages, language);
  }
  const std::vector<std::string> names = listed(options.device_id);
  return holds(names, language) || (language == "ZRDPAGE" && holds(names, "QPL"));
}

Bytes serial_bytes(const PrinterOptions& options) {
  Bytes bytes = bytes_of(options.serial_number);
  bytes.resize(serial_length, 0);
  return bytes;
}

}  // namespace simulator
