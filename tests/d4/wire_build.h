#pragma once

// Packets of both sides, byte by byte, every field at the test's will. Numbers are
// big-endian on the wire. What has no argument here is set with `with_byte`.
//
//   data(0x50, text("abc"))                          a whole message
//   data(0x50, text("abc"), {.credit = 3, .control = 0})
//   init_reply(11)                                   refused
//   with_length(credit_reply(0x02), 9)               the length field alone is wrong
//   cut(exit_reply(), 5)                             only the first 5 bytes

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace d4_test {

using Bytes = std::vector<std::uint8_t>;

// "00 1B 7f"; blanks may stand anywhere. Anything else ends the test program.
Bytes hex(const std::string& digits);
Bytes text(const std::string& characters);
// `count` bytes that count up from `first`, so that a lost or doubled one shows.
Bytes filled(std::size_t count, std::uint8_t first = 0);
Bytes joined(std::initializer_list<Bytes> parts);

// The same bytes with one thing changed.
Bytes with_byte(Bytes packet, std::size_t offset, std::uint8_t value);
Bytes with_length(Bytes packet, std::uint16_t length);  // the field only
Bytes cut(Bytes packet, std::size_t count);             // keeps the first `count`

struct Header {
  std::uint8_t primary = 0;
  std::uint8_t secondary = 0;
  std::optional<std::uint16_t> length = {};  // none: the right one
  std::uint8_t credit = 1;
  std::uint8_t control = 0;
};
Bytes packet(const Header& header, const Bytes& behind);
// `fields` stand behind the command byte.
Bytes control_packet(std::uint8_t command, const Bytes& fields, const Header& header = {});

// --- What the host sends; CloseChannel, Credit, CreditRequest, Exit and Error come from the device
// too -------------------------------------------------------------------------------------

Bytes entry_string();
Bytes init(std::uint8_t revision = 0x10);
Bytes open_channel(std::uint8_t socket, std::uint16_t write_size, std::uint16_t read_size);
Bytes close_channel(std::uint8_t socket);
Bytes credit(std::uint8_t socket, std::uint16_t count = 1);
Bytes credit_request(std::uint8_t socket, std::uint16_t asked = 0x0080,
                     std::uint16_t limit = 0xFFFF);
Bytes exit_link();
Bytes get_socket_id(const std::string& name);
Bytes get_service_name(std::uint8_t socket);
Bytes error_packet(std::uint8_t code);

// --- What answers them, from either side ---------------------------------------------------

Bytes entry_reply(std::uint8_t result = 0);
Bytes init_reply(std::uint8_t result = 0, std::uint8_t revision = 0x10);
Bytes open_channel_reply(std::uint8_t socket, std::uint16_t write_size, std::uint16_t read_size,
                         std::uint16_t credit, std::uint8_t result = 0);
Bytes close_channel_reply(std::uint8_t socket, std::uint8_t result = 0);
Bytes credit_reply(std::uint8_t socket, std::uint8_t result = 0);
Bytes credit_request_reply(std::uint8_t socket, std::uint16_t granted, std::uint8_t result = 0);
Bytes exit_reply(std::uint8_t result = 0);
Bytes get_socket_id_reply(std::uint8_t socket, std::uint8_t result = 0);
Bytes get_service_name_reply(const std::string& name, std::uint8_t result = 0,
                             std::uint8_t byte_8 = 0);

// --- Data of both sides --------------------------------------------------------------------

struct DataHead {
  std::uint8_t credit = 0;
  std::uint8_t control = 1;  // bit 0: end of message
};
Bytes data(std::uint8_t socket, const Bytes& payload, const DataHead& head = {});

}  // namespace d4_test
