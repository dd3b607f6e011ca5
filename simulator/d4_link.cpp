#include "simulator/d4_link.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

constexpr size_t most_breaches = 1000;
constexpr uint32_t most_credit = 0xFFFF;

// The results that a host knows, by reply.
bool is_known_result(D4Command reply, uint8_t result) {
  const auto one_of = [result](std::initializer_list<uint8_t> known) {
    return std::find(known.begin(), known.end(), result) != known.end();
  };
  switch (reply) {
    case D4Command::init_reply:
      return one_of({0, 1, 2, 11});
    case D4Command::open_channel_reply:
      return one_of({0, 4, 5, 6, 9, 12, 13});
    case D4Command::close_channel_reply:
      return one_of({0, 3, 8});
    case D4Command::credit_reply:
      return one_of({0, 7, 8});
    case D4Command::credit_request_reply:
      return one_of({0, 8});
    case D4Command::get_socket_id_reply:
      return one_of({0, 10});
    case D4Command::get_service_name_reply:
      return one_of({0, 9});
    default:
      return true;
  }
}

bool is_reply(D4Command command) { return (static_cast<uint8_t>(command) & 0x80) != 0; }

D4Command answer_to(D4Command command) {
  return static_cast<D4Command>(static_cast<uint8_t>(command) | 0x80);
}

}  // namespace

const D4Link::Channel* D4Link::channel(uint8_t socket) const {
  const auto found = channels_.find(socket);
  return found == channels_.end() ? nullptr : &found->second;
}

size_t D4Link::count(D4Rule rule) const {
  const auto found = counts_.find(rule);
  return found == counts_.end() ? 0 : found->second;
}

void D4Link::breach(D4Rule rule, uint64_t now_ms, const std::string& text) {
  const bool tolerated = tolerated_.contains(rule);
  conversation_.note(
      D4Side::host, now_ms,
      (tolerated ? "tolerated: " : "BREACH: ") + std::string(name_of(rule)) + ": " + text);
  if (tolerated) {
    return;
  }
  ++counts_[rule];
  if (breaches_.size() < most_breaches) {
    breaches_.push_back(std::string(name_of(rule)) + ": " + text + " (at " +
                        std::to_string(now_ms) + " ms)");
  }
}

void D4Link::host_transfer(size_t packets, bool whole, uint64_t now_ms) {
  if (whole_packets_ && (packets != 1 || !whole)) {
    breach(D4Rule::transfer_shape, now_ms,
           std::to_string(packets) + " packets end in the transfer" +
               (whole ? "" : ", and it doesn't begin and end between packets"));
  }
}

void D4Link::check_end(uint64_t now_ms) {
  if (!fault_.empty() || stage_ == Stage::raw || stage_ == Stage::ended) {
    return;
  }
  for (const Owed& owed : owed_) {
    if (owed.needed) {
      const auto* const form = d4::form_of(static_cast<uint8_t>(owed.answer));
      breach(D4Rule::answer_missing, now_ms, std::string(form->name) + " never came");
    }
  }
}

void D4Link::restart() {
  stage_ = Stage::raw;
  still_answers_ = false;
  channels_.clear();
  seen_.clear();
  awaited_.reset();
  owed_.clear();
  fault_.clear();
}

void D4Link::end(D4Rule rule, std::string why) {
  stage_ = Stage::ended;
  end_rule_ = rule;
  end_reason_ = std::move(why);
}

void D4Link::blame(uint64_t now_ms, const std::string& why) {
  conversation_.note(D4Side::device, now_ms, "the device breaks the rules: " + why);
  if (fault_.empty()) {
    fault_ = why;
  }
}

void D4Link::device_bytes(View bytes, uint64_t now_ms) {
  conversation_.bytes(D4Side::device, bytes, now_ms, "can't be cut into packets");
  blame(now_ms, "bytes that are no packet");
}

// A host waits for the rest of a header as long as transfers bring something, and for the rest
// of a packet as long as it has patience.
void D4Link::device_breaks_off(size_t got, bool ended, uint64_t since_ms, uint64_t now_ms) {
  if (fault_.empty() && stage_ != Stage::raw &&
      ((ended && got < d4::header_size) || now_ms - since_ms >= patience_ms_)) {
    blame(now_ms, "a packet that breaks off");
  }
}

void D4Link::device_packet(View packet, uint64_t now_ms, uint32_t transfers) {
  conversation_.packet(D4Side::device, packet, now_ms, transfers);
  // What comes without a link is thrown away by the next one that the host opens.
  if (stage_ == Stage::raw || (stage_ == Stage::ended && !still_answers_)) {
    return;
  }
  const auto header = d4::header_of(packet);
  if (!header || header->primary != header->secondary) {
    return blame(now_ms, "sockets that differ");
  }
  if (header->primary != 0) {
    return device_data(packet, now_ms);
  }
  const auto command = d4::command_of(packet);
  if (!command || !d4::has_right_length(packet) || packet.size() > 64) {
    return blame(now_ms, "a control packet of the wrong form");
  }
  if (is_reply(*command)) {
    return device_reply(*command, packet, now_ms);
  }
  device_command(*command, packet, now_ms);
}

void D4Link::device_reply(D4Command command, View packet, uint64_t now_ms) {
  if (!awaited_ || awaited_->reply != command) {
    return blame(now_ms, "a reply that nobody awaits");
  }
  if (now_ms - awaited_->since_ms >= patience_ms_) {
    blame(now_ms, "a reply that comes too late");
  }
  const uint8_t result = d4::byte_at(packet, 7);
  if (!is_known_result(command, result)) {
    blame(now_ms, "a result that the host can't know");
  }
  const Awaited awaited = *awaited_;
  awaited_.reset();
  take_reply(awaited, packet);
}

void D4Link::take_reply(const Awaited& awaited, View packet) {
  const uint8_t result = d4::byte_at(packet, 7);
  switch (awaited.reply) {
    case D4Command::entry_reply:
    case D4Command::init_reply:
      if (result != 0) {
        end(D4Rule::nothing_after_refusal, awaited.reply == D4Command::init_reply
                                               ? "the device refused Init"
                                               : "the device refused the entry string");
      }
      return;
    case D4Command::open_channel_reply:
      if (result == 0 || result == 6) {
        opened(awaited, packet);
      }
      return;
    case D4Command::credit_request_reply: {
      const auto found = channels_.find(awaited.socket);
      if (result == 0 && found != channels_.end()) {
        found->second.host_credit += d4::word_at(packet, 10);
        found->second.certain_credit += d4::word_at(packet, 10);
      }
      return;
    }
    case D4Command::exit_reply:
      still_answers_ = false;
      return;
    default:
      return;
  }
}

void D4Link::opened(const Awaited& awaited, View packet) {
  const auto useless = [](uint16_t size) { return size != 0 && size < d4::header_size; };
  Channel channel;
  channel.write_size = std::min(awaited.write_size, d4::word_at(packet, 10));
  channel.read_size = std::min(awaited.read_size, d4::word_at(packet, 12));
  channel.host_credit = d4::word_at(packet, 14);
  channel.certain_credit = channel.host_credit;
  channel.unusable = (channel.write_size == 0 && channel.read_size == 0) ||
                     useless(channel.write_size) || useless(channel.read_size);
  channels_[awaited.socket] = channel;
  seen_.insert(awaited.socket);
}

void D4Link::device_command(D4Command command, View packet, uint64_t now_ms) {
  const uint8_t socket = d4::byte_at(packet, 7);
  Owed owed = {.answer = answer_to(command),
               .socket = socket,
               .amount = d4::word_at(packet, 9),
               .needed = stage_ != Stage::ended};
  switch (command) {
    case D4Command::error:
      return end(D4Rule::nothing_after_error, "the device's Error");
    case D4Command::exit:
      owed.socket = 0;
      break;
    case D4Command::close_channel:
    case D4Command::credit:
    case D4Command::credit_request:
      if (socket != d4::byte_at(packet, 8)) {
        return blame(now_ms, "a command whose sockets differ");
      }
      if (socket == 0 && command != D4Command::close_channel) {
        return blame(now_ms, "a command for socket 0");
      }
      break;
    default:
      return blame(now_ms, "a command that is the host's");
  }
  const auto found = channels_.find(socket);
  if (command == D4Command::credit && found != channels_.end() &&
      found->second.host_credit + owed.amount <= most_credit) {
    found->second.host_credit += owed.amount;
    owed.added = true;
  }
  owed_.push_back(owed);
}

void D4Link::device_data(View packet, uint64_t now_ms) {
  const uint8_t socket = packet[0];
  if (packet.size() == d4::header_size) {
    return blame(now_ms, "data without payload");
  }
  const auto found = channels_.find(socket);
  if (found == channels_.end()) {
    const bool closing =
        awaited_ && awaited_->reply == D4Command::close_channel_reply && awaited_->socket == socket;
    if (!closing) {
      blame(now_ms, "data for a channel that isn't open");
    }
    return;
  }
  Channel& channel = found->second;
  if (channel.device_credit == 0) {
    return blame(now_ms, "data without credit");
  }
  --channel.device_credit;
  channel.asked_credit = std::min(channel.asked_credit, channel.device_credit);
  if (packet.size() > channel.read_size) {
    return blame(now_ms, "data above the negotiated size");
  }
  channel.host_credit += d4::header_of(packet)->credit;
  if (channel.host_credit > most_credit) {
    blame(now_ms, "more credit than a channel can hold");
  }
}

}  // namespace simulator
