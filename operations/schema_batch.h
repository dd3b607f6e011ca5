#pragma once

// The rows that batches of schemas are made of.

#include <windows.h>

#include <cstdint>
#include <string>

#include "bidi/bidi_container.h"

namespace vlp {

// The schema that opens every batch and tells the far side which printer is meant.
// `name` must outlive the call; its terminator is part of the input.
BidiRequestEntry SetPrinterNameRow(const std::basic_string<WCHAR>& name);

// Asks for the device ID; `*length` is the room at `output` and comes back as the
// number of bytes.
BidiRequestEntry GetDeviceIdRow(std::uint8_t* output, std::uint32_t* length);

}  // namespace vlp
