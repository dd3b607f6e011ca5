#include "simulator/d4_wire.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace simulator {
namespace {

constexpr std::array<d4::Form, 19> forms = {{
    {D4Command::init, "Init", 8},
    {D4Command::open_channel, "OpenChannel", 17},
    {D4Command::close_channel, "CloseChannel", 10},
    {D4Command::credit, "Credit", 11},
    {D4Command::credit_request, "CreditRequest", 13},
    {D4Command::exit, "Exit", 7},
    {D4Command::get_socket_id, "GetSocketID", 7, true},
    {D4Command::get_service_name, "GetServiceName", 8},
    {D4Command::entry, "entry string", 27},
    {D4Command::error, "Error", 10},
    {D4Command::init_reply, "Init reply", 9},
    {D4Command::open_channel_reply, "OpenChannel reply", 16},
    {D4Command::close_channel_reply, "CloseChannel reply", 10},
    {D4Command::credit_reply, "Credit reply", 10},
    {D4Command::credit_request_reply, "CreditRequest reply", 12},
    {D4Command::exit_reply, "Exit reply", 8},
    {D4Command::get_socket_id_reply, "GetSocketID reply", 9, true},
    {D4Command::get_service_name_reply, "GetServiceName reply", 9, true},
    {D4Command::entry_reply, "entry reply", 8},
}};

constexpr std::array<uint8_t, 27> entry_bytes = {
    0x00, 0x00, 0x00, 0x1B, 0x01, '@', 'Q', 'P',  'L', ' ', '1', '2', '8', '4',
    '.',  '4',  '\n', '@',  'Q',  'P', 'L', '\n', '@', 'Q', 'P', 'L', '\n'};

constexpr uint8_t low(size_t word) { return static_cast<uint8_t>(word & 0xFF); }
constexpr uint8_t high(size_t word) { return static_cast<uint8_t>((word >> 8) & 0xFF); }

Bytes control(D4Command command, std::initializer_list<uint8_t> fields, uint8_t credit = 1) {
  const size_t length = d4::header_size + 1 + fields.size();
  Bytes packet = {0, 0, high(length), low(length), credit, 0, static_cast<uint8_t>(command)};
  append(packet, View(fields.begin(), fields.size()));
  return packet;
}

std::string byte_text(uint8_t byte) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  return {digits[byte >> 4], digits[byte & 0xF]};
}

std::string number(View packet, size_t at) { return std::to_string(d4::word_at(packet, at)); }

std::string data_meaning(View packet, const d4::Header& header) {
  std::string text = "data socket " + byte_text(header.primary);
  if (header.credit != 0) {
    text += ", credit " + std::to_string(header.credit);
  }
  if ((header.control & d4::end_of_message) != 0) {
    text += ", end of message";
  }
  return text + ": " + shown(packet.subspan(d4::header_size));
}

// What stands behind the name of a control packet.
std::string fields_meaning(View packet, D4Command command) {
  std::string result = " result " + std::to_string(d4::byte_at(packet, 7));
  switch (command) {
    case D4Command::init:
      return " revision " + byte_text(d4::byte_at(packet, 7));
    case D4Command::init_reply:
      return result + ", revision " + byte_text(d4::byte_at(packet, 8));
    case D4Command::open_channel:
      return " socket " + byte_text(d4::byte_at(packet, 7)) + ", " + number(packet, 9) +
             " towards the device, " + number(packet, 11) + " from it";
    case D4Command::open_channel_reply:
      return result + ", socket " + byte_text(d4::byte_at(packet, 8)) + ", " + number(packet, 10) +
             " towards the device, " + number(packet, 12) + " from it, credit " +
             number(packet, 14);
    case D4Command::close_channel:
    case D4Command::get_service_name:
      return " socket " + byte_text(d4::byte_at(packet, 7));
    case D4Command::credit:
    case D4Command::credit_request:
      return " socket " + byte_text(d4::byte_at(packet, 7)) + ", " + number(packet, 9);
    case D4Command::close_channel_reply:
    case D4Command::credit_reply:
    case D4Command::get_socket_id_reply:
      return result + ", socket " + byte_text(d4::byte_at(packet, 8));
    case D4Command::credit_request_reply:
      return result + ", socket " + byte_text(d4::byte_at(packet, 8)) + ", " + number(packet, 10);
    case D4Command::error:
      return " code " + byte_text(d4::byte_at(packet, 9));
    case D4Command::get_socket_id:
      return " " + shown(packet.subspan(7));
    case D4Command::get_service_name_reply:
      return result + ", " + shown(packet.subspan(9));
    case D4Command::exit_reply:
    case D4Command::entry_reply:
      return result;
    case D4Command::exit:
    case D4Command::entry:
      break;
  }
  return {};
}

}  // namespace

namespace d4 {

const Form* form_of(uint8_t command) {
  for (const Form& form : forms) {
    if (form.command == static_cast<D4Command>(command)) {
      return &form;
    }
  }
  return nullptr;
}

bool has_right_length(View packet) {
  if (packet.size() <= header_size) {
    return false;
  }
  const Form* const form = form_of(packet[header_size]);
  return form != nullptr &&
         (packet.size() == form->length || (form->or_more && packet.size() > form->length));
}

View entry_string() { return entry_bytes; }

uint8_t byte_at(View bytes, size_t at) { return at < bytes.size() ? bytes[at] : uint8_t{0}; }

uint16_t word_at(View bytes, size_t at) {
  return static_cast<uint16_t>(byte_at(bytes, at) << 8 | byte_at(bytes, at + 1));
}

std::optional<Header> header_of(View bytes) {
  if (bytes.size() < header_size) {
    return std::nullopt;
  }
  return Header{bytes[0], bytes[1], word_at(bytes, 2), bytes[4], bytes[5]};
}

std::optional<D4Command> command_of(View packet) {
  if (packet.size() <= header_size || packet[0] != 0) {
    return std::nullopt;
  }
  return static_cast<D4Command>(packet[header_size]);
}

Bytes entry_reply(uint8_t result) { return control(D4Command::entry_reply, {result}); }

Bytes init_reply(uint8_t result, uint8_t revision_byte) {
  return control(D4Command::init_reply, {result, revision_byte});
}

Bytes open_channel_reply(uint8_t result, uint8_t socket, uint16_t write_size, uint16_t read_size,
                         uint16_t amount) {
  return control(D4Command::open_channel_reply,
                 {result, socket, socket, high(write_size), low(write_size), high(read_size),
                  low(read_size), high(amount), low(amount)});
}

Bytes close_channel_reply(uint8_t result, uint8_t socket) {
  return control(D4Command::close_channel_reply, {result, socket, socket});
}

Bytes credit_reply(uint8_t result, uint8_t socket) {
  return control(D4Command::credit_reply, {result, socket, socket});
}

Bytes credit_request_reply(uint8_t result, uint8_t socket, uint16_t amount) {
  return control(D4Command::credit_request_reply,
                 {result, socket, socket, high(amount), low(amount)});
}

Bytes exit_reply(uint8_t result) { return control(D4Command::exit_reply, {result}); }

Bytes get_socket_id_reply(uint8_t result, uint8_t socket) {
  return control(D4Command::get_socket_id_reply, {result, socket});
}

Bytes get_service_name_reply(uint8_t result, uint8_t socket, std::string_view name) {
  Bytes packet = control(D4Command::get_service_name_reply, {result, socket});
  append(packet, name);
  packet[2] = high(packet.size());
  packet[3] = low(packet.size());
  return packet;
}

Bytes close_channel(uint8_t socket) {
  return control(D4Command::close_channel, {socket, socket, 0});
}

Bytes credit(uint8_t socket, uint16_t amount) {
  return control(D4Command::credit, {socket, socket, high(amount), low(amount)});
}

Bytes credit_request(uint8_t socket, uint16_t amount) {
  return control(D4Command::credit_request,
                 {socket, socket, high(amount), low(amount), 0xFF, 0xFF});
}

Bytes exit() { return control(D4Command::exit, {}); }

Bytes error(uint8_t code) { return control(D4Command::error, {0, 0, code}, 0); }

Bytes data(uint8_t socket, View payload, uint8_t credit_byte, uint8_t control_byte) {
  const View kept = payload.first(std::min<size_t>(payload.size(), 0xFFFF - header_size));
  const size_t length = header_size + kept.size();
  Bytes packet = {socket, socket, high(length), low(length), credit_byte, control_byte};
  append(packet, kept);
  return packet;
}

std::string meaning(View packet) {
  const auto header = header_of(packet);
  if (!header) {
    return "less than a header";
  }
  if (header->primary != 0) {
    return data_meaning(packet, *header);
  }
  const auto command = command_of(packet);
  if (!command) {
    return "a control packet without a command";
  }
  const Form* const form = form_of(static_cast<uint8_t>(*command));
  if (form == nullptr) {
    return "unknown command " + byte_text(static_cast<uint8_t>(*command));
  }
  const std::string wrong = has_right_length(packet) ? "" : " (wrong length)";
  if (!wrong.empty()) {
    return form->name + wrong;
  }
  return form->name + fields_meaning(packet, *command);
}

std::string hex(View bytes, size_t most) {
  std::string text;
  for (const uint8_t byte : bytes.first(std::min(most, bytes.size()))) {
    text += (text.empty() ? "" : " ") + byte_text(byte);
  }
  return bytes.size() > most ? text + " .." : text;
}

}  // namespace d4

void D4Cutter::feed(View bytes) {
  bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(used_));
  used_ = 0;
  append(bytes_, bytes);
}

std::optional<Bytes> D4Cutter::next() {
  const View rest = pending();
  const auto header = d4::header_of(rest);
  if (bad_ || !header) {
    return std::nullopt;
  }
  if (header->length < d4::header_size) {
    bad_ = true;
    return std::nullopt;
  }
  if (rest.size() < header->length) {
    return std::nullopt;
  }
  used_ += header->length;
  const View packet = rest.first(header->length);
  return Bytes(packet.begin(), packet.end());
}

void D4Cutter::clear() {
  bytes_.clear();
  used_ = 0;
  bad_ = false;
}

}  // namespace simulator
