#pragma once

// Reads Windows' own registry text, "Windows Registry Editor Version 5.00".

#include <windef.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace platform {

// One line of meaning. Texts are stored as the registry keeps them: UTF-16, little endian,
// with their terminator.
struct RegEntry {
  enum class Kind { key, deleted_key, value, deleted_value };
  Kind kind;
  std::u16string key;   // with the root's name in front
  std::u16string name;  // of a value; empty is the unnamed one
  DWORD type = 0;
  std::vector<uint8_t> data = {};
};

struct RegFileError {
  size_t line;  // from 1
  std::string text;
};

// `bytes` is UTF-8, with or without mark, or UTF-16LE with mark. Any bytes are safe to read.
std::variant<std::vector<RegEntry>, RegFileError> read_reg_file(std::string_view bytes);

}  // namespace platform
