#pragma once

// Status items in received data. The data comes from a printer and may be anything.

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "language/channel_language.h"
#include "support/bytes.h"

namespace vlp {

// The first status item, whole, with head and end; all of the data where items have no
// form. None if no whole item is in the data.
std::optional<Bytes> FindStatusItem(const ItemForm& form, Bytes data);

// Removes every item, those too that a removal joins together, and returns the new
// length. What begins an item without its end is cut off. A counted item of length 0
// ends the stripping: it stays, and all behind it. Linear in the data.
std::size_t StripStatusItems(const ItemForm& form, std::span<std::uint8_t> data);

inline constexpr std::size_t kSerialLength = 10;
using SerialNumber = std::array<std::uint8_t, kSerialLength>;

// The printer's serial number out of a status item of either form.
std::optional<SerialNumber> GetSerialFromStatus(Bytes status);

}  // namespace vlp
