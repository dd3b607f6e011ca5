#pragma once

// The packets of the D4 transport as they stand on the wire, seen from the device's end: how
// long they are, how the device builds its own, how a stream is cut into packets, and what a
// packet says in words. All numbers are big-endian.

#include "simulator/bytes.h"

#include <cstdint>
#include <optional>
#include <string>

namespace simulator {

enum class D4Command : uint8_t {
  init = 0x00,
  open_channel = 0x01,
  close_channel = 0x02,
  credit = 0x03,
  credit_request = 0x04,
  exit = 0x08,
  get_socket_id = 0x09,
  get_service_name = 0x0A,
  entry = 0x51,  // the letter that stands where a command would in the entry string
  error = 0x7F,
  init_reply = 0x80,
  open_channel_reply = 0x81,
  close_channel_reply = 0x82,
  credit_reply = 0x83,
  credit_request_reply = 0x84,
  exit_reply = 0x88,
  get_socket_id_reply = 0x89,
  get_service_name_reply = 0x8A,
  entry_reply = 0xC5,
};

namespace d4 {

inline constexpr size_t header_size = 6;
inline constexpr uint8_t revision = 0x10;
inline constexpr uint8_t end_of_message = 0x01;  // bit of a data packet's control byte
inline constexpr uint8_t print_socket = 0x50;  // the only one whose data carry credit from the host
inline constexpr uint8_t control_socket = 0x40;

// One row for each control packet. The lengths that another revision of the transport has
// otherwise are changed here and nowhere else.
struct Form {
  D4Command command = D4Command::init;
  const char* name = "";
  size_t length = 0;     // of the whole packet
  bool or_more = false;  // a name follows
};
// None for a byte that is no command.
const Form* form_of(uint8_t command);
bool has_right_length(View packet);

// What brings a device into packet mode; it has the form of a packet itself.
View entry_string();

struct Header {
  uint8_t primary = 0;
  uint8_t secondary = 0;
  uint16_t length = 0;
  uint8_t credit = 0;
  uint8_t control = 0;
};
// Nothing without the first six bytes.
std::optional<Header> header_of(View bytes);

uint8_t byte_at(View bytes, size_t at);  // 0 behind the end
uint16_t word_at(View bytes, size_t at);
// Of a control packet: the byte behind the header. Nothing for data.
std::optional<D4Command> command_of(View packet);

// The device's packets.
Bytes entry_reply(uint8_t result);
Bytes init_reply(uint8_t result, uint8_t revision);
Bytes open_channel_reply(uint8_t result, uint8_t socket, uint16_t write_size, uint16_t read_size,
                         uint16_t amount);
Bytes close_channel_reply(uint8_t result, uint8_t socket);
Bytes credit_reply(uint8_t result, uint8_t socket);
Bytes credit_request_reply(uint8_t result, uint8_t socket, uint16_t amount);
Bytes exit_reply(uint8_t result);
Bytes get_socket_id_reply(uint8_t result, uint8_t socket);
Bytes get_service_name_reply(uint8_t result, uint8_t socket, std::string_view name);
Bytes close_channel(uint8_t socket);
Bytes credit(uint8_t socket, uint16_t amount);
Bytes credit_request(uint8_t socket, uint16_t amount);
Bytes exit();
Bytes error(uint8_t code);
// At most 65529 bytes of payload; what is more is left out.
Bytes data(uint8_t socket, View payload, uint8_t credit, uint8_t control);

// "OpenChannel socket 02, 65535 towards the device, 65535 from it".
std::string meaning(View packet);
// "00 00 00 08 01 00"; the first `most` bytes.
std::string hex(View bytes, size_t most);

}  // namespace d4

// Cuts a stream into packets. It holds less than one packet between two calls of next().
class D4Cutter {
 public:
  void feed(View bytes);
  // The next whole packet. Nothing while it isn't whole, and nothing once the stream is bad.
  std::optional<Bytes> next();
  // A header told a length that is less than its own; there is no way to find the next one.
  bool is_bad() const { return bad_; }
  View pending() const { return View(bytes_).subspan(used_); }
  void clear();

 private:
  Bytes bytes_;
  size_t used_ = 0;
  bool bad_ = false;
};

}  // namespace simulator
