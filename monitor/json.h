#pragma once

// One JSON object, written member by member.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace monitor {

// A text in UTF-8 as a JSON string, with its quotes.
std::string JsonText(std::string_view utf8);

// Values that are JSON already, as an array.
std::string JsonArray(const std::vector<std::string>& values);

class JsonObject {
 public:
  // `value` is JSON already.
  JsonObject& Add(std::string_view name, std::string_view value);
  JsonObject& AddText(std::string_view name, std::string_view utf8);
  JsonObject& AddNumber(std::string_view name, std::int64_t number);

  std::string Text() const { return "{" + members_ + "}"; }

 private:
  std::string members_;
};

}  // namespace monitor
