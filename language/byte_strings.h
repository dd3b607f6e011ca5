#pragma once

// Every byte string of the printers' languages that the library knows. They hold NULs,
// have no terminator, and case counts.

#include <array>
#include <cstddef>
#include <cstdint>

namespace vlp {

// The bytes of a literal without its terminator.
template <std::size_t Size>
constexpr std::array<std::uint8_t, Size - 1> BytesOf(const char (&literal)[Size]) {
  std::array<std::uint8_t, Size - 1> bytes{};
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    bytes[at] = static_cast<std::uint8_t>(literal[at]);
  }
  return bytes;
}

inline constexpr std::uint8_t kLineFeed = 0x0A;
inline constexpr std::uint8_t kFormFeed = 0x0C;

// Opens and closes the job language's envelope; leaves the page language.
inline constexpr auto kJobEscape = BytesOf("\x1B\x01");

// The job language's identity request. Its answer begins with the same bytes.
inline constexpr auto kQplIdentity = BytesOf("@QPL ID\r\n");
inline constexpr auto kQplStatusHead = BytesOf("@QPL STATUS CODE=");

// Into the REMOTE1 command mode, a status request there, and out again.
inline constexpr auto kRemoteEnter = BytesOf("\x1B@\x1B@\x1B(R\x08\0\0REMOTE1");
inline constexpr auto kRemoteStatus = BytesOf("ST\x01\0\x01");
inline constexpr auto kRemoteLeave = BytesOf("\x1B\0\0\0");

// Heads of what a printer sends on the BDC channel: the answer to the status request
// above, and a status item in text and in binary form.
inline constexpr auto kBdcProbeHead = BytesOf("@BDC PS\r\nST:");
inline constexpr auto kBdcStatusHead = BytesOf("@BDC ST\r\nST:");
inline constexpr auto kBdcStatus2Head = BytesOf("@BDC ST2\r\n");

// Begins the status request in a profile's status command. The byte behind it asks for
// one of several forms of status.
inline constexpr auto kStatusFormMarker = BytesOf("\x1B@\x1B@\x1B(R\x08\0\0REMOTE1ST\x02\0\0");
inline constexpr std::uint8_t kStatusFormBinary = 0x11;

// From the job language into the page language, two harmless commands there, and the head
// of their answer.
inline constexpr auto kPageEnter = BytesOf("\x1B\x01@QPL EN LA=ZRD/PAGE\n");
inline constexpr auto kPageProbe = BytesOf(
    "\x1D"
    "10;1lS"
    "\x1D"
    "12mlS");
inline constexpr auto kPageProbeHead = BytesOf("ZRD/PAGE mlS ");

// The status request on the data channel of a vendor-class device.
inline constexpr auto kDeviceStatus = BytesOf("st\x01\0\x01");

// The field of a text status that holds the serial number.
inline constexpr auto kSerialField = BytesOf("MC:");

static_assert(kJobEscape.size() == 2 && kQplIdentity.size() == 9 && kQplStatusHead.size() == 17);
static_assert(kRemoteEnter.size() == 17 && kRemoteStatus.size() == 5 && kRemoteLeave.size() == 4);
static_assert(kBdcProbeHead.size() == 12 && kBdcStatusHead.size() == 12);
static_assert(kBdcStatus2Head.size() == 10 && kStatusFormMarker.size() == 22);
static_assert(kPageEnter.size() == 22 && kPageProbe.size() == 13 && kPageProbeHead.size() == 13);
static_assert(kDeviceStatus.size() == 5 && kSerialField.size() == 3);

}  // namespace vlp
