#pragma once

// Names that begin with "\\CSR|" are aliases; the spooler's published data says which
// printer they stand for.
//
// Sizes count characters with the terminator on the way in. `outSize` is the capacity on
// the way in and the length without terminator on the way out.

#include <windows.h>

#include <cstdint>

namespace vlp {

// 1 if `name` isn't null, `size` is at least 7 and the first six characters are the
// prefix, case counting.
std::int32_t IsCsrName(const char* name, std::uint32_t size);
std::int32_t IsCsrNameW(const WCHAR* name, std::uint32_t size);

// 1 if the real name stands in `out`. Asks the spooler, which must know the alias.
std::int32_t GetRealNameFromCsrName(const char* name, std::uint32_t size, char* out,
                                    std::uint32_t* outSize);

// The same behind the test of IsCsrName.
std::int32_t GetRealNameChecked(const char* name, std::uint32_t size, char* out,
                                std::uint32_t* outSize);

// "\\" server "\" published name, from an open printer. A null `out` or too small a
// `*size` gives ERROR_MORE_DATA and the size needed. Other results: 0,
// ERROR_INVALID_DATA, ERROR_INVALID_PARAMETER or what the spooler gives.
DWORD BuildCsrRealName(HANDLE printer, const char* name, char* out, std::uint32_t* size);

// The published ports as one text, separated by commas. A null `out` gives
// ERROR_INVALID_PARAMETER; results else as above.
DWORD GetCsrPortNames(HANDLE printer, char* out, std::uint32_t* size);

}  // namespace vlp
