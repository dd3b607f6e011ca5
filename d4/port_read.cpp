#include "d4/port_read.h"

#include <algorithm>

#include "d4/trace.h"
#include "support/tick_age.h"

namespace vlp {
namespace {

struct OneRead {
  bool done = false;
  std::uint32_t got = 0;
};

OneRead ReadOnce(XdltLink& link, std::uint8_t* buffer, std::uint32_t count, const char* heading,
                 const char* before) {
  const TransferTrace trace;
  OneRead read;
  // The port leaves the count alone if it has nothing.
  read.done = link.portOps->read(link.portHandle.load(), buffer, count, &read.got) != 0;
  read.got = std::min(read.got, count);
  trace.End(heading, count, read.got, Bytes(buffer, read.got), before);
  return read;
}

std::int32_t CheckReading(const XdltLink& link) {
  if (link.portHandle.load() == 0) return XDLT_ERR_NOLINK;
  return link.state.load() == kLinkOpen ? 0 : XDLT_ERR_LINK_DOWN;
}

std::int32_t Total(const OneRead& last, std::uint32_t total) {
  return last.done ? static_cast<std::int32_t>(total) : XDLT_ERR_PORT_READ;
}

}  // namespace

std::int32_t XdltReadHead(XdltLink& link, std::uint8_t* buffer, std::uint32_t count,
                          std::uint32_t* gotOut) {
  *gotOut = 0;
  while (true) {
    const std::int32_t refused = CheckReading(link);
    if (refused != 0) return refused;
    const OneRead read = ReadOnce(link, buffer + *gotOut, count - *gotOut, "  *READ* ", "\t");
    *gotOut += read.got;
    if (read.got == 0 || *gotOut == count) return Total(read, *gotOut);
  }
}

std::int32_t XdltReadBody(XdltLink& link, std::uint8_t* buffer, std::uint32_t count,
                          std::uint32_t* gotOut) {
  const std::uint32_t began = GetTickCount();
  *gotOut = 0;
  while (true) {
    const std::int32_t refused = CheckReading(link);
    if (refused != 0) return refused;
    const OneRead read = ReadOnce(link, buffer + *gotOut, count - *gotOut, "  *READ2* ", "");
    *gotOut += read.got;
    if (*gotOut == count || TickAge(began) >= kBodyLimitMs) return Total(read, *gotOut);
    // A port that answers at once with nothing would be asked without a pause.
    if (read.got == 0) Sleep(1);
  }
}

}  // namespace vlp
