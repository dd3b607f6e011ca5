#pragma once

// The read thread's two ways to read the port. The caller holds the port's lock.

#include <cstdint>

#include "d4/state.h"

namespace vlp {

// Reads up to `count` bytes, until a read brings nothing. The bytes read, or
// XDLT_ERR_PORT_READ if the last read failed, whatever came before; XDLT_ERR_NOLINK,
// XDLT_ERR_LINK_DOWN. `*gotOut` tells what came in every case.
std::int32_t XdltReadHead(XdltLink& link, std::uint8_t* buffer, std::uint32_t count,
                          std::uint32_t* gotOut);

// Reads `count` bytes, or what comes of them within kBodyLimitMs.
std::int32_t XdltReadBody(XdltLink& link, std::uint8_t* buffer, std::uint32_t count,
                          std::uint32_t* gotOut);

}  // namespace vlp
