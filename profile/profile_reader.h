#pragma once

// Values of a profile file.

#include <cstdint>
#include <string>
#include <utility>

#include "profile/model_profile.h"

namespace vlp {

// Reads keys of the section "ProfileInf" of one file.
class ProfileReader {
 public:
  explicit ProfileReader(std::string path) : path_(std::move(path)) {}

  // As the profile calls read integers: a sign and a base prefix are understood, what
  // doesn't fit is taken modulo 2^32.
  std::uint32_t Integer(const char* key, std::uint32_t value_if_absent) const;

  // At most `limit` - 1 bytes; empty if the key is absent or empty.
  std::string Text(const char* key, std::uint32_t limit) const;

  // A list of hexadecimal groups split by commas, each one byte.
  ByteList ParseHexList(const char* key, const ByteList& value_if_absent) const;

 private:
  std::string path_;
};

// The decoding behind it. Each comma stores a byte and the end of the text the last
// one, so the result has one byte more than there are commas. Only the last two digits
// of a group count; a character that is no digit adds its distance from '0'.
ByteList DecodeHexList(const std::string& text);

}  // namespace vlp
