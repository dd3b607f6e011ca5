#pragma once

#include <cstdint>
#include <span>

#include "diag/dbg_log.h"

namespace vlp {

// The end of the length protocol: hands out `data` if `*length` is room enough, else
// VLPER_BUFFERSIZE. `*length` becomes the data's size either way. Logs the line with the
// bytes that were handed out, or with the code.
std::int32_t AnswerFrom(DbgLog* log, const char* text, std::span<const std::uint8_t> data,
                        std::uint8_t* buffer, std::uint32_t* length);

}  // namespace vlp
