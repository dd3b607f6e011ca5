#pragma once

// The spooler's own results of bidi calls, as plain numbers.

#include <windows.h>

#include <cstdint>

namespace vlp {

inline constexpr std::uint32_t kBidiServerOffline = 13003;
inline constexpr std::uint32_t kBidiDeviceOffline = 13004;
inline constexpr std::uint32_t kBidiSchemaNotSupported = 13005;

// The result of a send as one of the VLPER_ codes: only the low 16 bits of a failure
// count, as they hold the error's number whatever facility it came by.
std::int32_t MapSendResult(HRESULT hr);

}  // namespace vlp
