#include "monitor/names.h"

#include <charconv>

namespace monitor {
namespace {

struct Code {
  std::int32_t number;
  const char* name;
  const char* meaning;
};

constexpr Code kCodes[] = {
    {VLPER_NOTSUPPORT, "VLPER_NOTSUPPORT", "this printer, port or name can't be served"},
    {VLPER_NOTCONNECT, "VLPER_NOTCONNECT", "the printer has no connection to talk over"},
    {VLPER_NOCHANNEL, "VLPER_NOCHANNEL", "the printer has no such channel, or not for this use"},
    {VLPER_BUFFERSIZE, "VLPER_BUFFERSIZE", "the printer's answer is too large"},
    {VLPER_TERMINATE, "VLPER_TERMINATE", "the library was told to stop"},
    {VLPER_PARAM, "VLPER_PARAM", "an argument is missing or unusable"},
    {VLPER_MEMORY, "VLPER_MEMORY", "out of memory"},
    {VLPER_SEND, "VLPER_SEND", "communication with the printer failed"},
    {VLPER_BUSY, "VLPER_BUSY", "the device is in use by somebody else"},
    {VLPER_NOENTRY, "VLPER_NOENTRY", "the printer has no channel"},
};

struct Kind {
  ChannelKind kind;
  const char* name;
};

constexpr Kind kKinds[] = {
    {ChnlKindQpl, "qpl"},           {ChnlKindBdc, "bdc"}, {ChnlKindZrdPage, "zrdpage"},
    {ChnlKindZrdPages, "zrdpages"}, {ChnlKindD4, "d4"},   {ChnlKindEnd4, "end4"},
    {ChnlKindLabel, "label"},
};

const Code* FindCode(std::int32_t result) {
  for (const Code& code : kCodes) {
    if (code.number == result) return &code;
  }
  return nullptr;
}

}  // namespace

const char* CodeName(std::int32_t result) {
  const Code* const code = FindCode(result);
  return code == nullptr ? nullptr : code->name;
}

const char* CodeMeaning(std::int32_t result) {
  const Code* const code = FindCode(result);
  return code == nullptr ? "a result without a name" : code->meaning;
}

const char* KindName(ChannelKind kind) {
  for (const Kind& known : kKinds) {
    if (known.kind == kind) return known.name;
  }
  return nullptr;
}

std::string KindText(ChannelKind kind) {
  const char* const name = KindName(kind);
  return name != nullptr ? name : Hexadecimal(kind, 8);
}

std::optional<ChannelKind> KindFrom(std::string_view word) {
  for (const Kind& known : kKinds) {
    if (word == known.name) return known.kind;
  }
  const bool hexadecimal = word.starts_with("0x") || word.starts_with("0X");
  if (hexadecimal) word.remove_prefix(2);
  ChannelKind kind = 0;
  const char* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data(), end, kind, hexadecimal ? 16 : 10);
  if (read.ec != std::errc() || read.ptr != end || kind == 0) return std::nullopt;
  return kind;
}

std::string Hexadecimal(std::uint32_t number, unsigned digits) {
  std::string text;
  while (number != 0 || text.size() < digits) {
    text.insert(text.begin(), "0123456789abcdef"[number & 0xF]);
    number >>= 4;
  }
  return "0x" + text;
}

}  // namespace monitor
