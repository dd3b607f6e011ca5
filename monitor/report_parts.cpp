#include "monitor/report_parts.h"

#include "monitor/names.h"
#include "monitor/text.h"

namespace monitor {
namespace {

std::string HexText(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += Hexadecimal(byte, 2).substr(2);
  return text;
}

}  // namespace

std::string Painted(std::string_view text, Colour colour, const Style& style) {
  if (!style.colours || colour == Colour::kNone || text.empty()) return std::string(text);
  const char* const start = colour == Colour::kBold   ? "\x1b[1m"
                            : colour == Colour::kGood ? "\x1b[32m"
                                                      : "\x1b[31m";
  return start + std::string(text) + "\x1b[0m";
}

Colour ColourOf(std::int32_t result) { return result < 0 ? Colour::kBad : Colour::kGood; }

std::string ResultText(std::int32_t result) {
  std::string text = std::to_string(result);
  if (const char* const name = CodeName(result)) text += std::string(" ") + name;
  return text;
}

std::string FailureText(std::int32_t result) {
  return ResultText(result) + ": " + CodeMeaning(result);
}

std::string FailureLine(const std::string& printer, std::int32_t result, const Style& style) {
  return Harmless(printer) + ": " + Painted(ResultText(result), Colour::kBad, style) + ": " +
         CodeMeaning(result) + "\n";
}

JsonObject& AddResult(JsonObject& object, std::int32_t result) {
  const char* const name = CodeName(result);
  return object.AddNumber("result", result).Add("code", name == nullptr ? "null" : JsonText(name));
}

std::string DataText(const std::vector<std::uint8_t>& bytes) {
  return Utf8FromAnsi(std::string(bytes.begin(), bytes.end()));
}

std::string DataJson(const std::vector<std::uint8_t>& bytes) {
  return JsonObject().AddText("hex", HexText(bytes)).AddText("text", DataText(bytes)).Text();
}

std::string Counted(std::size_t number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

}  // namespace monitor
