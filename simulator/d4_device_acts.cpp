// What the device does by itself: at a moment, with a packet of the host, or when it is told.

#include "simulator/d4_device.h"

#include <algorithm>
#include <utility>

namespace simulator {

void D4Device::plan(D4Act act) {
  if (act.at_ms) {
    const uint64_t at_ms = *act.at_ms;
    return plan_at(at_ms, std::move(act), false);
  }
  act.host_packet += host_packets_;
  packet_acts_.push_back(std::move(act));
}

void D4Device::plan_at(uint64_t at_ms, D4Act act, bool own_credit) {
  const auto place =
      std::find_if(planned_.begin(), planned_.end(),
                   [at_ms](const Planned& planned) { return planned.at_ms > at_ms; });
  planned_.insert(place, {.at_ms = at_ms, .act = std::move(act), .own_credit = own_credit});
}

void D4Device::advance(uint64_t now_ms) {
  while (!gone_ && !planned_.empty() && planned_.front().at_ms <= now_ms) {
    const Planned planned = std::move(planned_.front());
    planned_.pop_front();
    if (planned.own_credit) {
      give_own_credit(planned.act, planned.at_ms);
    } else {
      act(planned.act, planned.at_ms, planned.at_ms);
    }
  }
}

void D4Device::give_own_credit(const D4Act& credit, uint64_t now_ms) {
  const auto found = endpoints_.find(credit.socket);
  if (found == endpoints_.end()) {
    return;
  }
  found->second.own_credit_planned = false;
  found->second.refused = 0;
  act(credit, now_ms, now_ms);
}

void D4Device::act_with_packet(bool before_reply, uint64_t now_ms) {
  for (const D4Act& with : packet_acts_) {
    if (with.host_packet != host_packets_ || with.before_reply != before_reply) {
      continue;
    }
    if (with.delay_ms != 0) {
      plan_at(now_ms + with.delay_ms, with, false);
    } else {
      // Behind the reply means behind it on the wire.
      act(with, now_ms, before_reply ? now_ms : now_ms + options_.latency_ms);
    }
  }
}

void D4Device::act(const D4Act& act, uint64_t now_ms, uint64_t due_ms) {
  switch (act.kind) {
    case D4Act::Kind::error:
      return enqueue(d4::error(act.code), due_ms);
    case D4Act::Kind::exit:
      return enqueue(d4::exit(), due_ms);
    case D4Act::Kind::close_channel:
      endpoints_.erase(act.socket);
      return enqueue(d4::close_channel(act.socket), due_ms);
    case D4Act::Kind::credit:
      return enqueue(d4::credit(act.socket, act.amount), due_ms);
    case D4Act::Kind::credit_request:
      return enqueue(d4::credit_request(act.socket, act.amount), due_ms);
    case D4Act::Kind::data:
      if (act.without_credit) {
        return hurl(act, due_ms);
      }
      reply(act.socket, act.bytes, due_ms, act.end_of_message);
      return;
    case D4Act::Kind::raw:
      return enqueue(act.bytes, due_ms);
    case D4Act::Kind::silence:
      return silence(now_ms);
    case D4Act::Kind::removal:
      return remove(now_ms, "removed");
  }
}

// One packet, whatever has been agreed.
void D4Device::hurl(const D4Act& act, uint64_t due_ms) {
  const auto found = endpoints_.find(act.socket);
  if (found != endpoints_.end() && found->second.credit > 0) {
    --found->second.credit;
  }
  const uint8_t control = act.end_of_message ? d4::end_of_message : uint8_t{0};
  enqueue(d4::data(act.socket, act.bytes, options_of(act.socket).piggyback, control),
          due_ms + options_.data_latency_ms, act.socket);
}

void D4Device::send_error(uint8_t code, uint64_t now_ms) {
  perform({.kind = D4Act::Kind::error, .code = code}, now_ms);
}

void D4Device::send_exit(uint64_t now_ms) { perform({.kind = D4Act::Kind::exit}, now_ms); }

void D4Device::send_close(uint8_t socket, uint64_t now_ms) {
  perform({.kind = D4Act::Kind::close_channel, .socket = socket}, now_ms);
}

void D4Device::send_credit(uint8_t socket, uint16_t amount, uint64_t now_ms) {
  perform({.kind = D4Act::Kind::credit, .socket = socket, .amount = amount}, now_ms);
}

void D4Device::send_credit_request(uint8_t socket, uint16_t amount, uint64_t now_ms) {
  perform({.kind = D4Act::Kind::credit_request, .socket = socket, .amount = amount}, now_ms);
}

void D4Device::send_data_without_credit(uint8_t socket, View payload, uint64_t now_ms,
                                        bool end_of_message) {
  perform({.kind = D4Act::Kind::data,
           .socket = socket,
           .bytes = Bytes(payload.begin(), payload.end()),
           .end_of_message = end_of_message,
           .without_credit = true},
          now_ms);
}

void D4Device::push_raw(View bytes, uint64_t now_ms) {
  perform({.kind = D4Act::Kind::raw, .bytes = Bytes(bytes.begin(), bytes.end())}, now_ms);
}

void D4Device::perform(const D4Act& what, uint64_t now_ms) {
  advance(now_ms);
  act(what, now_ms, now_ms);
}

}  // namespace simulator
