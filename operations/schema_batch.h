#pragma once

// The batches of schemas by which a printer is asked, and the rows that they are made of.
// Rows refer to the caller's texts and buffers, which must outlive the call.

#include <windows.h>

#include <array>
#include <cstdint>
#include <string>

#include "bidi/bidi_container.h"
#include "include/vlpbidi.h"
#include "support/bytes.h"

namespace vlp {

// The row that opens every batch and tells the far side which printer is meant. The
// name's terminator is part of the input.
BidiRequestEntry SetPrinterNameRow(const std::basic_string<WCHAR>& name);

// Rows with an answer: `*length` is the room at `output` and comes back as the number of
// bytes.
BidiRequestEntry GetDeviceIdRow(std::uint8_t* output, std::uint32_t* length);
BidiRequestEntry GetStatusRow(Bytes command, std::uint8_t* output, std::uint32_t* length);
// Commands of the fax channel have a schema of their own.
BidiRequestEntry SendCommandRow(ChannelKind kind, Bytes command, std::uint8_t* output,
                                std::uint32_t* length);

// A row whose answer isn't waited for.
BidiRequestEntry SendThroughRow(Bytes command);

// The rows in their order, and behind them one that tells how the reply ends unless
// `terminate` is empty.
BidiContainer BatchOf(const std::array<BidiRequestEntry, 2>& rows, Bytes terminate);

}  // namespace vlp
