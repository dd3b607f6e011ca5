#include "tests/d4/wire_build.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace d4_test {
namespace {

std::uint8_t high(std::uint32_t value) { return static_cast<std::uint8_t>(value >> 8); }
std::uint8_t low(std::uint32_t value) { return static_cast<std::uint8_t>(value); }

[[noreturn]] void refuse(const std::string& what) {
  std::fprintf(stderr, "wire_build: %s\n", what.c_str());
  std::abort();
}

unsigned digit(char character) {
  const std::string digits = "0123456789abcdef";
  const auto at =
      digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(character))));
  if (at == std::string::npos) refuse(std::string("no hexadecimal digit: ") + character);
  return static_cast<unsigned>(at);
}

}  // namespace

Bytes hex(const std::string& digits) {
  Bytes bytes;
  bool half = false;
  for (const char character : digits) {
    if (std::isspace(static_cast<unsigned char>(character)) != 0) continue;
    const unsigned value = digit(character);
    if (half) {
      bytes.back() = static_cast<std::uint8_t>(static_cast<unsigned>(bytes.back()) << 4 | value);
    } else {
      bytes.push_back(static_cast<std::uint8_t>(value));
    }
    half = !half;
  }
  if (half) refuse("an odd number of digits: " + digits);
  return bytes;
}

Bytes text(const std::string& characters) { return {characters.begin(), characters.end()}; }

Bytes filled(std::size_t count, std::uint8_t first) {
  Bytes bytes(count);
  for (std::size_t at = 0; at < count; ++at) {
    bytes[at] = low(static_cast<std::uint32_t>(first + at));
  }
  return bytes;
}

Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes with_byte(Bytes packet, std::size_t offset, std::uint8_t value) {
  if (offset >= packet.size()) refuse("with_byte behind the packet's end");
  packet[offset] = value;
  return packet;
}

Bytes with_length(Bytes packet, std::uint16_t length) {
  return with_byte(with_byte(std::move(packet), 2, high(length)), 3, low(length));
}

Bytes cut(Bytes packet, std::size_t count) {
  if (count > packet.size()) refuse("cut to more than there is");
  packet.resize(count);
  return packet;
}

Bytes packet(const Header& header, const Bytes& behind) {
  const auto length = header.length.value_or(static_cast<std::uint16_t>(behind.size() + 6));
  return joined(
      {{header.primary, header.secondary, high(length), low(length), header.credit, header.control},
       behind});
}

Bytes control_packet(std::uint8_t command, const Bytes& fields, const Header& header) {
  return packet(header, joined({{command}, fields}));
}

Bytes entry_string() {
  return joined({{0x00, 0x00, 0x00, 0x1B, 0x01}, text("@QPL 1284.4\n@QPL\n@QPL\n")});
}

Bytes init(std::uint8_t revision) { return control_packet(0x00, {revision}); }

Bytes open_channel(std::uint8_t socket, std::uint16_t write_size, std::uint16_t read_size) {
  return control_packet(0x01, {socket, socket, high(write_size), low(write_size), high(read_size),
                               low(read_size), 0, 0, 0, 0});
}

Bytes close_channel(std::uint8_t socket) { return control_packet(0x02, {socket, socket, 0}); }

Bytes credit(std::uint8_t socket, std::uint16_t count) {
  return control_packet(0x03, {socket, socket, high(count), low(count)});
}

Bytes credit_request(std::uint8_t socket, std::uint16_t asked, std::uint16_t limit) {
  return control_packet(0x04, {socket, socket, high(asked), low(asked), high(limit), low(limit)});
}

Bytes exit_link() { return control_packet(0x08, {}); }

Bytes get_socket_id(const std::string& name) { return control_packet(0x09, text(name)); }

Bytes get_service_name(std::uint8_t socket) { return control_packet(0x0A, {socket}); }

Bytes error_packet(std::uint8_t code) { return control_packet(0x7F, {0, 0, code}, {.credit = 0}); }

Bytes entry_reply(std::uint8_t result) { return control_packet(0xC5, {result}); }

Bytes init_reply(std::uint8_t result, std::uint8_t revision) {
  return control_packet(0x80, {result, revision});
}

Bytes open_channel_reply(std::uint8_t socket, std::uint16_t write_size, std::uint16_t read_size,
                         std::uint16_t credit, std::uint8_t result) {
  return control_packet(0x81, {result, socket, socket, high(write_size), low(write_size),
                               high(read_size), low(read_size), high(credit), low(credit)});
}

Bytes close_channel_reply(std::uint8_t socket, std::uint8_t result) {
  return control_packet(0x82, {result, socket, socket});
}

Bytes credit_reply(std::uint8_t socket, std::uint8_t result) {
  return control_packet(0x83, {result, socket, socket});
}

Bytes credit_request_reply(std::uint8_t socket, std::uint16_t granted, std::uint8_t result) {
  return control_packet(0x84, {result, socket, socket, high(granted), low(granted)});
}

Bytes exit_reply(std::uint8_t result) { return control_packet(0x88, {result}); }

Bytes get_socket_id_reply(std::uint8_t socket, std::uint8_t result) {
  return control_packet(0x89, {result, socket});
}

Bytes get_service_name_reply(const std::string& name, std::uint8_t result, std::uint8_t byte_8) {
  return control_packet(0x8A, joined({{result, byte_8}, text(name)}));
}

Bytes data(std::uint8_t socket, const Bytes& payload, const DataHead& head) {
  return packet(
      {.primary = socket, .secondary = socket, .credit = head.credit, .control = head.control},
      payload);
}

}  // namespace d4_test
