#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace vlp {

// Whether the "CMD:" field of a device ID lists a keyword. Case counts.
//
// The field runs from the first "CMD:" to the next ";" or the end of the data, at most
// 1023 bytes. A match counts if ",", "-" or the field's end follows, and "," precedes it
// or it begins at the field's first or second byte. So "D4-1" lists "D4", and "XD4" at
// the very front does too.
bool CmdListHas(std::span<const std::uint8_t> device_id, std::string_view keyword);

}  // namespace vlp
