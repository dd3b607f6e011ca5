// What is checked in each packet of the host. A packet that breaks a rule still counts as what
// it was meant to be, as far as that can be told.

#include "simulator/d4_link.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

constexpr uint16_t asked_credit = 0x0080;

std::string decimal(size_t value) { return std::to_string(value); }

std::string on_socket(uint8_t socket) { return "socket " + d4::hex({&socket, 1}, 1); }

bool is_answer(D4Command command) {
  return command == D4Command::close_channel_reply || command == D4Command::credit_reply ||
         command == D4Command::credit_request_reply || command == D4Command::exit_reply;
}

D4Command reply_to(D4Command command) {
  return static_cast<D4Command>(static_cast<uint8_t>(command) | 0x80);
}

}  // namespace

void D4Link::host_packet(View packet, uint64_t now_ms, uint32_t transfers) {
  conversation_.packet(D4Side::host, packet, now_ms, transfers);
  if (match_front(packet, d4::entry_string()) == Match::whole &&
      packet.size() == d4::entry_string().size()) {
    return begin(now_ms);
  }
  if (!check_stage(packet, now_ms) || !check_header(packet, now_ms)) {
    return;
  }
  if (packet[0] == 0) {
    return check_control(packet, now_ms);
  }
  check_data(packet, now_ms);
}

// A host that has lost its link doesn't say so: it begins anew.
void D4Link::begin(uint64_t now_ms) {
  restart();
  stage_ = Stage::entered;
  awaited_ = Awaited{.reply = D4Command::entry_reply, .since_ms = now_ms};
}

bool D4Link::check_stage(View packet, uint64_t now_ms) {
  const auto command = d4::command_of(packet);
  switch (stage_) {
    case Stage::raw:
      breach(D4Rule::entry_first, now_ms, d4::meaning(packet) + " ahead of the entry string");
      return false;
    case Stage::entered:
      // Commands of the device may come at any time, and so may their answers.
      if (!command || (command != D4Command::init && !is_answer(*command))) {
        breach(D4Rule::init_first, now_ms, d4::meaning(packet) + " ahead of Init");
      }
      return true;
    case Stage::ready:
      if (command == D4Command::init) {
        breach(D4Rule::init_first, now_ms, "Init once more");
      }
      return true;
    case Stage::ended:
      break;
  }
  if (still_answers_ && command && is_answer(*command)) {
    return true;
  }
  breach(end_rule_, now_ms, d4::meaning(packet) + " after " + end_reason_);
  return false;
}

bool D4Link::check_header(View packet, uint64_t now_ms) {
  if (packet[0] != packet[1]) {
    breach(D4Rule::sockets_equal, now_ms, "a header with the sockets " + d4::hex(packet, 2));
  }
  if (packet[0] != 0) {
    return true;
  }
  const auto command = d4::command_of(packet);
  if (!command) {
    breach(D4Rule::length, now_ms, "a control packet without a command");
    return false;
  }
  const auto* const form = d4::form_of(packet[d4::header_size]);
  if (form == nullptr) {
    breach(D4Rule::known_command, now_ms, d4::meaning(packet));
    return false;
  }
  if (packet[4] != (command == D4Command::error ? 0 : 1)) {
    breach(D4Rule::credit_byte, now_ms, std::string(form->name) + " with " + decimal(packet[4]));
  }
  if (packet[5] != 0) {
    breach(D4Rule::control_byte, now_ms, std::string(form->name) + " with " + decimal(packet[5]));
  }
  if (!d4::has_right_length(packet)) {
    breach(D4Rule::length, now_ms,
           std::string(form->name) + " of " + decimal(packet.size()) + " bytes instead of " +
               decimal(form->length));
    return false;
  }
  return true;
}

void D4Link::check_control(View packet, uint64_t now_ms) {
  const D4Command command = *d4::command_of(packet);
  if (is_answer(command)) {
    return check_answer(command, packet, now_ms);
  }
  switch (command) {
    case D4Command::error:
      return check_error(packet, now_ms);
    case D4Command::init:
    case D4Command::open_channel:
    case D4Command::close_channel:
    case D4Command::credit:
    case D4Command::credit_request:
    case D4Command::exit:
    case D4Command::get_socket_id:
    case D4Command::get_service_name:
      return check_command(command, packet, now_ms);
    case D4Command::entry:
      return breach(D4Rule::entry_first, now_ms, "an entry string that differs");
    default:
      breach(D4Rule::known_command, now_ms, d4::meaning(packet) + " is the device's to send");
  }
}

void D4Link::check_command(D4Command command, View packet, uint64_t now_ms) {
  // A host that has stopped reading gives up at once.
  if (awaited_ && fault_.empty() && now_ms - awaited_->since_ms < patience_ms_) {
    breach(D4Rule::one_at_a_time, now_ms,
           d4::meaning(packet) + " while " +
               d4::form_of(static_cast<uint8_t>(awaited_->reply))->name + " is awaited");
  }
  await(command, packet, now_ms);
  switch (command) {
    case D4Command::init:
      return check_init(packet, now_ms);
    case D4Command::open_channel:
      return check_open(packet, now_ms);
    case D4Command::close_channel:
      return check_close(packet, now_ms);
    case D4Command::credit:
      return check_credit(packet, now_ms);
    case D4Command::credit_request:
      return check_credit_request(packet, now_ms);
    case D4Command::exit:
      still_answers_ = true;
      return end(D4Rule::nothing_after_exit, "its own Exit");
    default:
      return;
  }
}

void D4Link::await(D4Command command, View packet, uint64_t now_ms) {
  awaited_ = Awaited{.reply = reply_to(command), .since_ms = now_ms};
  if (packet.size() > 7) {
    awaited_->socket = packet[7];
  }
  if (command == D4Command::open_channel) {
    awaited_->write_size = d4::word_at(packet, 9);
    awaited_->read_size = d4::word_at(packet, 11);
  }
}

void D4Link::check_init(View packet, uint64_t now_ms) {
  if (packet[7] != d4::revision) {
    breach(D4Rule::init_revision, now_ms, d4::meaning(packet));
  }
  stage_ = Stage::ready;
}

void D4Link::check_open(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[7];
  if (socket != packet[8]) {
    breach(D4Rule::sockets_equal, now_ms,
           "OpenChannel for the sockets " + d4::hex(packet.subspan(7), 2));
  }
  if (socket == 0 || socket == 0xFF) {
    breach(D4Rule::socket_range, now_ms, "OpenChannel for " + on_socket(socket));
  }
  const Channel* const open = channel(socket);
  if (open != nullptr && !open->unusable) {
    breach(D4Rule::open_once, now_ms, on_socket(socket) + " is open");
  }
  const bool is_control = socket == d4::control_socket;
  if (d4::word_at(packet, 9) != (is_control ? 4102 : 65535) ||
      d4::word_at(packet, 11) != (is_control ? 512 : 65535)) {
    breach(D4Rule::open_sizes, now_ms, d4::meaning(packet));
  }
  const View padding = packet.subspan(13);
  if (std::any_of(padding.begin(), padding.end(), [](uint8_t byte) { return byte != 0; })) {
    breach(D4Rule::open_padding, now_ms, "it is " + d4::hex(padding, 4));
  }
}

// Of the three commands that name a channel; none if it isn't open.
D4Link::Channel* D4Link::check_channel(View packet, uint64_t now_ms) {
  if (packet[7] != packet[8]) {
    breach(D4Rule::sockets_equal, now_ms,
           d4::meaning(packet) + " for the sockets " + d4::hex(packet.subspan(7), 2));
  }
  const auto found = channels_.find(packet[7]);
  if (found == channels_.end()) {
    breach(D4Rule::channel_open, now_ms, d4::meaning(packet));
    return nullptr;
  }
  found->second.used = true;
  return &found->second;
}

void D4Link::check_close(View packet, uint64_t now_ms) {
  check_channel(packet, now_ms);
  if (packet[9] != 0) {
    breach(D4Rule::close_padding, now_ms, "it is " + decimal(packet[9]));
  }
  // Whatever the device replies, the host is done with the channel.
  channels_.erase(packet[7]);
}

void D4Link::check_credit(View packet, uint64_t now_ms) {
  const uint16_t amount = d4::word_at(packet, 9);
  if (amount != 1) {
    breach(D4Rule::credit_of_one, now_ms, d4::meaning(packet));
  }
  Channel* const open = check_channel(packet, now_ms);
  if (open == nullptr) {
    return;
  }
  // What the device asked for may have been granted while this command was being made.
  if (open->device_credit > open->asked_credit) {
    breach(D4Rule::credit_needed, now_ms,
           on_socket(packet[7]) + " still has " + decimal(open->device_credit));
  }
  open->device_credit += amount;
}

void D4Link::check_credit_request(View packet, uint64_t now_ms) {
  if (d4::word_at(packet, 9) != asked_credit || d4::word_at(packet, 11) != 0xFFFF) {
    breach(D4Rule::request_form, now_ms, "it asks for " + d4::hex(packet.subspan(9), 4));
  }
  const Channel* const open = check_channel(packet, now_ms);
  if (open != nullptr && open->certain_credit != 0 && fault_.empty()) {
    breach(D4Rule::request_needed, now_ms,
           on_socket(packet[7]) + " still has " + decimal(open->certain_credit));
  }
}

void D4Link::check_error(View packet, uint64_t now_ms) {
  const uint8_t code = packet[9];
  if (packet[7] != 0 || packet[8] != 0 || code < 0x80 || code > 0x87) {
    breach(D4Rule::error_form, now_ms, d4::hex(packet.subspan(7), 3));
  }
  if (fault_.empty()) {
    breach(D4Rule::error_deserved, now_ms, d4::meaning(packet));
  }
  host_errors_.push_back(code);
  end(D4Rule::nothing_after_error, "its own Error");
}

void D4Link::check_data(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[0];
  if ((packet[5] & ~d4::end_of_message) != 0) {
    breach(D4Rule::control_byte, now_ms, "data with " + decimal(packet[5]));
  }
  if (packet[4] != 0 && socket != d4::print_socket) {
    breach(D4Rule::credit_byte, now_ms, d4::meaning(packet));
  }
  if (packet.size() == d4::header_size) {
    breach(D4Rule::data_empty, now_ms, d4::meaning(packet));
  }
  const auto found = channels_.find(socket);
  if (found == channels_.end()) {
    return breach(D4Rule::data_channel, now_ms, d4::meaning(packet));
  }
  Channel& open = found->second;
  open.used = true;
  if (open.host_credit == 0) {
    breach(D4Rule::data_credit, now_ms, d4::meaning(packet));
  }
  if (packet.size() > open.write_size) {
    breach(D4Rule::data_size, now_ms,
           decimal(packet.size()) + " bytes, the channel has " + decimal(open.write_size));
  }
  open.host_credit -= std::min<uint32_t>(open.host_credit, 1);
  open.certain_credit -= std::min<uint32_t>(open.certain_credit, 1);
  open.device_credit += packet[4];
}

}  // namespace simulator
