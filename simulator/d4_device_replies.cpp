// What the device makes of the host's packets: its replies, its credit, its messages. It takes
// what can be understood, even of a host that breaks rules; judging that is the link's business.

#include "simulator/d4_device.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

constexpr uint8_t good = 0;
constexpr uint8_t good_with_other_sizes = 6;
constexpr uint8_t no_channel = 8;
constexpr uint8_t no_service = 9;
constexpr uint8_t no_name = 10;
constexpr size_t most_waiting_messages = 1024;        // on one channel
constexpr size_t most_kept_bytes = size_t{64} << 20;  // of all messages

bool is_entry_string(View packet) {
  return packet.size() == d4::entry_string().size() &&
         match_front(packet, d4::entry_string()) == Match::whole;
}

uint8_t result_of(const D4ReplyRule* rule, uint8_t otherwise) {
  return rule != nullptr && rule->result ? *rule->result : otherwise;
}

}  // namespace

const D4SocketOptions& D4Device::options_of(uint8_t socket) const {
  const auto found = options_.sockets.find(socket);
  return found == options_.sockets.end() ? options_.any_socket : found->second;
}

// Counts each rule that fits, so that `at` means the same whatever stands in front of it.
const D4ReplyRule* D4Device::rule_for(D4Command command, uint8_t socket) {
  rule_hits_.resize(options_.replies.size());
  const D4ReplyRule* found = nullptr;
  for (size_t i = 0; i < options_.replies.size(); ++i) {
    const D4ReplyRule& rule = options_.replies[i];
    if (rule.command != command || (rule.socket && *rule.socket != socket)) {
      continue;
    }
    ++rule_hits_[i];
    if (found == nullptr && (rule.at == 0 || rule.at == rule_hits_[i])) {
      found = &rule;
    }
  }
  return found;
}

void D4Device::answer(const D4ReplyRule* rule, Bytes reply, uint64_t now_ms) {
  const uint64_t due_ms = now_ms + options_.latency_ms;
  if (rule == nullptr) {
    return enqueue(std::move(reply), due_ms);
  }
  if (rule->never) {
    return;
  }
  if (rule->instead) {
    reply = *rule->instead;
  }
  for (int times = rule->twice ? 2 : 1; times > 0; --times) {
    enqueue(reply, due_ms + rule->late_ms);
  }
}

void D4Device::handle(View packet, uint64_t now_ms) {
  ++host_packets_;
  const auto stage = link_.stage();
  link_.host_packet(packet, now_ms, host_spread_);
  if (is_entry_string(packet)) {
    restart(!options_.output_survives_entry);
  }
  act_with_packet(true, now_ms);
  const bool in_packet_mode = stage == D4Link::Stage::entered || stage == D4Link::Stage::ready;
  if (is_entry_string(packet)) {
    const D4ReplyRule* const rule = rule_for(D4Command::entry, 0);
    answer(rule, d4::entry_reply(result_of(rule, good)), now_ms);
  } else if (in_packet_mode && packet[0] != 0) {
    handle_data(packet, now_ms);
  } else if (in_packet_mode && d4::has_right_length(packet)) {
    handle_command(*d4::command_of(packet), packet, now_ms);
  }
  act_with_packet(false, now_ms);
}

void D4Device::handle_command(D4Command command, View packet, uint64_t now_ms) {
  switch (command) {
    case D4Command::init: {
      const D4ReplyRule* const rule = rule_for(command, 0);
      return answer(rule, d4::init_reply(result_of(rule, good), options_.revision), now_ms);
    }
    case D4Command::open_channel:
      return handle_open(packet, now_ms);
    case D4Command::close_channel:
      return handle_close(packet, now_ms);
    case D4Command::credit:
      return handle_credit(packet, now_ms);
    case D4Command::credit_request:
      return handle_credit_request(packet, now_ms);
    case D4Command::exit: {
      drop_data({});
      endpoints_.clear();
      const D4ReplyRule* const rule = rule_for(command, 0);
      return answer(rule, d4::exit_reply(result_of(rule, good)), now_ms);
    }
    case D4Command::get_socket_id:
    case D4Command::get_service_name:
      return handle_service(command, packet, now_ms);
    case D4Command::credit_request_reply:
      return handle_granted(packet, now_ms);
    default:
      return;
  }
}

void D4Device::handle_open(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[7];
  const D4SocketOptions& wanted = options_of(socket);
  const D4ReplyRule* const rule = rule_for(D4Command::open_channel, socket);
  const uint8_t result = result_of(rule, good);
  const bool opened = result == good || result == good_with_other_sizes;
  const uint16_t credit =
      wanted.credit == D4CreditPolicy::on_open ? wanted.open_credit : uint16_t{0};
  if (opened) {
    endpoints_.erase(socket);
    Endpoint& endpoint = endpoints_[socket];
    endpoint.options = wanted;
    endpoint.read_size = std::min(wanted.read_size, d4::word_at(packet, 11));
    endpoint.message.socket = socket;
  }
  answer(rule,
         opened
             ? d4::open_channel_reply(result, socket, wanted.write_size, wanted.read_size, credit)
             : d4::open_channel_reply(result, socket, 0, 0, 0),
         now_ms);
}

void D4Device::handle_close(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[7];
  const D4ReplyRule* const rule = rule_for(D4Command::close_channel, socket);
  const uint8_t otherwise = endpoints_.contains(socket) ? good : no_channel;
  drop_data(socket);
  endpoints_.erase(socket);
  answer(rule, d4::close_channel_reply(result_of(rule, otherwise), socket), now_ms);
}

void D4Device::handle_credit(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[7];
  const auto found = endpoints_.find(socket);
  const D4ReplyRule* const rule = rule_for(D4Command::credit, socket);
  const uint8_t result = result_of(rule, found == endpoints_.end() ? no_channel : good);
  answer(rule, d4::credit_reply(result, socket), now_ms);
  if (result == good && found != endpoints_.end()) {
    found->second.credit += d4::word_at(packet, 9);
    release(socket, found->second, now_ms);
  }
}

void D4Device::handle_credit_request(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[7];
  const auto found = endpoints_.find(socket);
  const D4ReplyRule* const rule = rule_for(D4Command::credit_request, socket);
  const uint8_t result = result_of(rule, found == endpoints_.end() ? no_channel : good);
  uint16_t granted = 0;
  if (result == good && found != endpoints_.end()) {
    granted = grant(socket, found->second, d4::word_at(packet, 9), now_ms);
  }
  answer(rule, d4::credit_request_reply(result, socket, granted), now_ms);
}

uint16_t D4Device::grant(uint8_t socket, Endpoint& endpoint, uint16_t asked, uint64_t now_ms) {
  const D4SocketOptions& options = endpoint.options;
  switch (options.credit) {
    case D4CreditPolicy::never:
      return 0;
    case D4CreditPolicy::own_command:
      ++endpoint.refused;
      if (endpoint.refused >= options.refusals && !endpoint.own_credit_planned) {
        endpoint.own_credit_planned = true;
        plan_at(now_ms + options.own_credit_ms,
                {.kind = D4Act::Kind::credit, .socket = socket, .amount = options.own_credit},
                true);
      }
      return 0;
    case D4CreditPolicy::on_open:
    case D4CreditPolicy::on_request:
      break;
  }
  if (endpoint.refused < options.refusals) {
    ++endpoint.refused;
    return 0;
  }
  endpoint.refused = 0;
  return std::min(options.grant, asked);
}

// The host's answer to a CreditRequest of the device.
void D4Device::handle_granted(View packet, uint64_t now_ms) {
  const auto found = endpoints_.find(packet[8]);
  if (packet[7] == good && found != endpoints_.end()) {
    found->second.credit += d4::word_at(packet, 10);
    release(packet[8], found->second, now_ms);
  }
}

void D4Device::handle_service(D4Command command, View packet, uint64_t now_ms) {
  const D4ReplyRule* const rule = rule_for(command, 0);
  if (command == D4Command::get_socket_id) {
    const auto found = options_.services.find(std::string(packet.begin() + 7, packet.end()));
    const bool known = found != options_.services.end();
    return answer(rule,
                  d4::get_socket_id_reply(result_of(rule, known ? good : no_name),
                                          known ? found->second : uint8_t{0}),
                  now_ms);
  }
  const auto found =
      std::find_if(options_.services.begin(), options_.services.end(),
                   [&packet](const auto& service) { return service.second == packet[7]; });
  const bool known = found != options_.services.end();
  answer(rule,
         d4::get_service_name_reply(result_of(rule, known ? good : no_service), packet[7],
                                    known ? found->first : std::string()),
         now_ms);
}

void D4Device::handle_data(View packet, uint64_t now_ms) {
  const auto found = endpoints_.find(packet[0]);
  if (found == endpoints_.end()) {
    return;
  }
  Endpoint& endpoint = found->second;
  D4Message& message = endpoint.message;
  ++message.packets;
  const View payload = packet.subspan(d4::header_size);
  if (message.bytes.size() + payload.size() > most_message_bytes && !endpoint.message_lost) {
    endpoint.message_lost = true;
    message.bytes = {};
    link_.breach(D4Rule::message_size, now_ms, "a message of more than 16 MiB");
  }
  if (!endpoint.message_lost) {
    append(message.bytes, payload);
  }
  if ((packet[5] & d4::end_of_message) != 0) {
    end_message(endpoint, now_ms);
  }
  endpoint.credit += packet[4];
  release(packet[0], endpoint, now_ms);
}

void D4Device::end_message(Endpoint& endpoint, uint64_t now_ms) {
  const uint8_t socket = endpoint.message.socket;
  const bool lost = std::exchange(endpoint.message_lost, false);
  D4Message message = std::exchange(endpoint.message, {.socket = socket});
  if (lost || message_bytes_ + message.bytes.size() > most_kept_bytes) {
    return;
  }
  message.at_ms = now_ms;
  message_bytes_ += message.bytes.size();
  for (const D4Answer& canned : options_.answers) {
    if (canned.socket != socket || (canned.message && *canned.message != message.bytes)) {
      continue;
    }
    message.answered = true;
    reply(socket, canned.echo ? message.bytes : canned.reply, now_ms + canned.after_ms);
    break;
  }
  messages_.push_back(std::move(message));
}

bool D4Device::reply(uint8_t socket, View bytes, uint64_t now_ms, bool end_of_message) {
  const auto found = endpoints_.find(socket);
  if (found == endpoints_.end() || bytes.empty() ||
      found->second.outbox.size() >= most_waiting_messages) {
    return false;
  }
  found->second.outbox.push_back({.bytes = Bytes(bytes.begin(), bytes.end()),
                                  .ready_ms = now_ms,
                                  .end_of_message = end_of_message});
  release(socket, found->second, now_ms);
  return true;
}

// As much as the host has granted.
void D4Device::release(uint8_t socket, Endpoint& endpoint, uint64_t now_ms) {
  if (silenced_ || endpoint.read_size <= d4::header_size) {
    return;
  }
  const size_t room = endpoint.read_size - d4::header_size;
  while (endpoint.credit > 0 && !endpoint.outbox.empty()) {
    Outgoing& front = endpoint.outbox.front();
    const size_t count = std::min(room, front.bytes.size() - front.sent);
    const bool last = front.sent + count == front.bytes.size();
    const uint8_t control = last && front.end_of_message ? d4::end_of_message : uint8_t{0};
    const uint64_t due_ms = std::max(now_ms, front.ready_ms) + options_.data_latency_ms;
    enqueue(d4::data(socket, View(front.bytes).subspan(front.sent, count),
                     endpoint.options.piggyback, control),
            due_ms, socket);
    --endpoint.credit;
    front.sent += count;
    if (last) {
      endpoint.outbox.pop_front();
    }
  }
}

std::vector<D4Message> D4Device::take_messages() {
  std::vector<D4Message> fresh;
  for (; messages_taken_ < messages_.size(); ++messages_taken_) {
    if (!messages_[messages_taken_].answered) {
      fresh.push_back(messages_[messages_taken_]);
    }
  }
  return fresh;
}

size_t D4Device::waiting_bytes() const {
  size_t waiting = output_bytes_;
  for (const auto& [socket, endpoint] : endpoints_) {
    for (const Outgoing& outgoing : endpoint.outbox) {
      waiting += outgoing.bytes.size() - outgoing.sent;
    }
  }
  return waiting;
}

}  // namespace simulator
