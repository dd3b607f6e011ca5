#include "simulator/hardware.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace simulator {
namespace {

constexpr size_t longest_text = 65536;
constexpr uint32_t longest_piece = 16U * 1024 * 1024;
constexpr size_t longest_serial = 10;
constexpr uint32_t longest_latency_ms = 24U * 60 * 60 * 1000;

std::string trimmed(const std::string& text) {
  const char* blanks = " \t\r";
  const size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lowered(std::string text) {
  for (char& c : text) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return text;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

// Bytes of a text in which \xHH stands for a byte and \\ for a backslash.
std::optional<Bytes> unescaped(const std::string& text) {
  Bytes bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes.push_back(static_cast<uint8_t>(text[i]));
      continue;
    }
    if (i + 1 < text.size() && text[i + 1] == '\\') {
      bytes.push_back('\\');
      i += 1;
      continue;
    }
    if (i + 3 >= text.size() || text[i + 1] != 'x' || hex_digit(text[i + 2]) < 0 ||
        hex_digit(text[i + 3]) < 0) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<uint8_t>(hex_digit(text[i + 2]) * 16 + hex_digit(text[i + 3])));
    i += 3;
  }
  return bytes;
}

std::vector<std::string> split_list(const std::string& text) {
  std::vector<std::string> items;
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find(',', start), text.size());
    const std::string item = trimmed(text.substr(start, end - start));
    if (!item.empty()) {
      items.push_back(item);
    }
    start = end + 1;
  }
  return items;
}

// A reader of values that remembers the first one at fault.
class Values {
 public:
  Values(const HardwareKeys& keys, std::string& error) : keys_(keys), error_(error) {}

  std::string text(const std::string& key) const {
    const auto found = keys_.find(lowered(key));
    return found == keys_.end() ? std::string() : found->second;
  }

  uint32_t number(const std::string& key, uint32_t largest) {
    const std::string value = text(key);
    uint32_t result = 0;
    const char* end = value.data() + value.size();
    const auto [last, failure] = std::from_chars(value.data(), end, result);
    if (!value.empty() && (failure != std::errc() || last != end || result > largest)) {
      fail(key, "isn't a number up to " + std::to_string(largest));
      return 0;
    }
    return result;
  }

  Bytes bytes(const std::string& key) {
    const auto result = unescaped(text(key));
    if (!result) {
      fail(key, "has a backslash that begins neither \\xHH nor \\\\");
    }
    return result.value_or(Bytes{});
  }

  Reach reach(const std::string& key) {
    const std::string value = lowered(text(key));
    if (value == "server") {
      return Reach::server_offline;
    }
    if (value == "device") {
      return Reach::device_offline;
    }
    if (!value.empty() && value != "no") {
      fail(key, "isn't one of no, server, device");
    }
    return Reach::online;
  }

  bool given(const std::string& key) const { return !text(key).empty(); }

  std::string serial(const std::string& key) {
    std::string value = text(key);
    if (value.size() > longest_serial) {
      fail(key, "has more than ten characters");
    }
    return value;
  }

  StatusForm form(const std::string& key) {
    const std::string value = lowered(text(key));
    if (!value.empty() && value != "text" && value != "binary") {
      fail(key, "isn't one of text, binary");
    }
    return value == "binary" ? StatusForm::binary : StatusForm::text;
  }

  std::vector<StatusPush> pushes(const std::string& key) {
    std::vector<StatusPush> result;
    for (const std::string& item : split_list(text(key))) {
      const std::string place = lowered(item);
      if (place == "before") {
        result.push_back({.place = PushPlace::before});
      } else if (place == "inside") {
        result.push_back({.place = PushPlace::inside});
      } else if (place == "behind") {
        result.push_back({.place = PushPlace::behind});
      } else {
        fail(key, "isn't a list of before, inside, behind");
      }
    }
    return result;
  }

  std::vector<std::string> paths(const std::string& key) {
    std::vector<std::string> result = split_list(text(key));
    for (const std::string& path : result) {
      if (!is_usb_path(path)) {
        fail(key, "isn't a list of \\\\?\\usb#KIND#INSTANCE#{CLASS}");
      }
    }
    return result;
  }

  void fail(const std::string& key, const std::string& what) {
    if (error_.empty()) {
      error_ = key + " " + what;
    }
  }

 private:
  const HardwareKeys& keys_;
  std::string& error_;
};

}  // namespace

std::optional<HardwareKeys> read_hardware(const std::string& text, std::string& error) {
  HardwareKeys keys;
  if (text.size() > longest_text || text.find('\0') != std::string::npos) {
    error = "not a hardware description: too long, or not text";
    return std::nullopt;
  }
  bool wanted = false;
  size_t number = 0;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\n', start), text.size());
    const std::string line = trimmed(text.substr(start, end - start));
    start = end + 1;
    ++number;
    if (line.empty() || line[0] == ';' || line[0] == '#') {
      continue;
    }
    if (line.front() == '[' && line.back() == ']') {
      wanted = lowered(trimmed(line.substr(1, line.size() - 2))) == "printer";
      continue;
    }
    const size_t equals = line.find('=');
    if (equals == std::string::npos || equals == 0) {
      error = "line " + std::to_string(number) + " is neither a section nor \"key = value\"";
      return std::nullopt;
    }
    if (wanted) {
      keys[lowered(trimmed(line.substr(0, equals)))] = trimmed(line.substr(equals + 1));
    }
  }
  return keys;
}

std::optional<PrinterOptions> describe_printer(const HardwareKeys& keys, std::string& error) {
  error.clear();
  Values values(keys, error);
  PrinterOptions options;
  options.port = values.text("Port");
  if (options.port.empty()) {
    values.fail("Port", "is missing");
  }
  options.device_id = values.bytes("DeviceID");
  options.serial_number = values.serial("SerialNumber");
  options.languages = split_list(values.text("Languages"));
  options.latency_ms = values.number("LatencyMs", longest_latency_ms);
  options.mute = values.number("Mute", 1) != 0;
  options.reach = values.reach("Offline");
  options.status_form = values.form("StatusForm");
  if (values.given("StatusText")) {
    options.status_text = values.text("StatusText");
  }
  options.pushes = values.pushes("Push");
  options.piece_bytes = values.number("PieceBytes", longest_piece);
  options.piece_ms = values.number("PieceMs", longest_latency_ms);
  for (const auto& [key, wait] : {std::pair("SilenceMs", &options.silence_ms),
                                  std::pair("FirstByteMs", &options.first_byte_ms),
                                  std::pair("GiveUpMs", &options.give_up_ms)}) {
    *wait = values.given(key) ? values.number(key, longest_latency_ms) : *wait;
  }
  if (!error.empty()) {
    return std::nullopt;
  }
  return options;
}

std::optional<UsbHardware> describe_usb(const HardwareKeys& keys, std::string& error) {
  error.clear();
  Values values(keys, error);
  UsbHardware usb;
  usb.paths = values.paths("UsbPath");
  usb.container_id = values.text("UsbContainer");
  usb.d4.latency_ms = values.number("D4LatencyMs", longest_latency_ms);
  usb.d4.empty_after_ms = values.number("EmptyAfterMs", longest_latency_ms);
  usb.d4.silent_when_idle = values.number("SilentWhenIdle", 1) != 0;
  usb.d4.transfer_bytes = values.number("TransferBytes", longest_piece);
  usb.d4.coalesce = values.number("Coalesce", 1) != 0;
  if (!error.empty()) {
    return std::nullopt;
  }
  return usb;
}

bool is_usb_path(const std::string& text) {
  constexpr size_t class_length = 39;  // with its number sign
  const std::string head = "\\\\?\\usb#";
  const std::string path = lowered(text);
  if (!path.starts_with(head) || path.size() < head.size() + class_length ||
      path.find('\\', head.size()) != std::string::npos) {
    return false;
  }
  const size_t tail = path.size() - class_length;
  const std::string between = path.substr(head.size(), tail - head.size());
  const size_t sign = between.find('#');
  return path.compare(tail, 2, "#{") == 0 && path.back() == '}' && sign != 0 &&
         sign != std::string::npos && sign + 1 < between.size();
}

}  // namespace simulator
