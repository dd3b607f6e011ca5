#pragma once

// What a printer sent, taken apart for the eye: the fields of a text, the lines of a reply,
// or the bytes as they stand.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace monitor {

// UTF-8, harmless on a terminal. A piece without a name has its text in `value`.
struct Field {
  std::string name;
  std::string value;

  bool operator==(const Field&) const = default;
};

// Whether nothing is in the data but letters, blanks, line ends and form feeds.
bool IsText(const std::vector<std::uint8_t>& bytes);

// The pieces between semicolons, line ends and form feeds, such as "ST:04".
std::vector<Field> FieldsOf(const std::vector<std::uint8_t>& bytes);

// One line for each field, the values below each other.
std::vector<std::string> FieldLines(const std::vector<Field>& fields);

// The lines between line ends, harmless.
std::vector<std::string> TextLines(const std::vector<std::uint8_t>& bytes);

// Sixteen bytes a line: where, in hexadecimal, and as characters of ASCII.
std::vector<std::string> DumpLines(const std::vector<std::uint8_t>& bytes);

// A status item as lines: fields if it is text, else the whole of it in hexadecimal.
std::vector<std::string> StatusLines(const std::vector<std::uint8_t>& bytes);

// A reply as lines: its text, and its bytes in hexadecimal below it.
std::vector<std::string> ReplyLines(const std::vector<std::uint8_t>& bytes);

// What is different between two status items, one finding a line; nothing if they are equal.
std::vector<std::string> Differences(const std::vector<std::uint8_t>& before,
                                     const std::vector<std::uint8_t>& after);

}  // namespace monitor
