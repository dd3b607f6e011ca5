#include "monitor/json.h"

namespace monitor {

std::string JsonText(std::string_view utf8) {
  constexpr const char* digits = "0123456789abcdef";
  std::string text = "\"";
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      text += '\\';
      text += c;
    } else if (c == '\n') {
      text += "\\n";
    } else if (c == '\r') {
      text += "\\r";
    } else if (c == '\t') {
      text += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      text += "\\u00";
      text += digits[byte >> 4];
      text += digits[byte & 0xF];
    } else {
      text += c;
    }
  }
  return text + "\"";
}

std::string JsonArray(const std::vector<std::string>& values) {
  std::string text = "[";
  for (const std::string& value : values) {
    if (text.size() > 1) text += ",";
    text += value;
  }
  return text + "]";
}

JsonObject& JsonObject::Add(std::string_view name, std::string_view value) {
  if (!members_.empty()) members_ += ",";
  members_ += JsonText(name) + ":";
  members_ += value;
  return *this;
}

JsonObject& JsonObject::AddText(std::string_view name, std::string_view utf8) {
  return Add(name, JsonText(utf8));
}

JsonObject& JsonObject::AddNumber(std::string_view name, std::int64_t number) {
  return Add(name, std::to_string(number));
}

}  // namespace monitor
