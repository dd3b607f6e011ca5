// The transfers: how bytes come in, and in which shape they go out.

#include "simulator/d4_device.h"

#include <algorithm>
#include <utility>

namespace simulator {
namespace {

// What waits for a host that never reads. More is dropped.
constexpr size_t most_output_bytes = size_t{64} << 20;

bool is_entry_string(View bytes) {
  return bytes.size() == d4::entry_string().size() &&
         match_front(bytes, d4::entry_string()) == Match::whole;
}

}  // namespace

D4Device::D4Device(D4Options options)
    : options_(std::move(options)),
      link_(options_.one_packet_a_transfer, options_.host_patience_ms, options_.tolerated),
      rule_hits_(options_.replies.size()) {
  for (const D4Act& act : options_.acts) {
    plan(act);
  }
}

D4Written D4Device::write(View bytes, uint64_t now_ms) {
  advance(now_ms);
  if (options_.remove_after_written && bytes_written_ >= *options_.remove_after_written) {
    remove(now_ms, "removed");
  }
  if (gone_) {
    return {D4Transfer::gone, 0};
  }
  if (silenced_ && options_.silence_stops_writes) {
    return {D4Transfer::pending, 0};
  }
  ++out_transfers_;
  judge_unfinished(false, now_ms);
  size_t taken = bytes.size();
  if (const auto cut = options_.short_writes.find(out_transfers_);
      cut != options_.short_writes.end()) {
    taken = std::min(taken, cut->second);
  }
  if (options_.remove_after_written) {
    taken = static_cast<size_t>(
        std::min<uint64_t>(taken, *options_.remove_after_written - bytes_written_));
  }
  bytes_written_ += taken;
  accept(bytes.first(taken), taken < bytes.size(), now_ms);
  if (options_.remove_after_written && bytes_written_ >= *options_.remove_after_written) {
    remove(now_ms, "removed at a byte from the host");
    return {taken < bytes.size() ? D4Transfer::gone : D4Transfer::done, taken};
  }
  return {D4Transfer::done, taken};
}

// `cut`: the device itself has taken only a part of the transfer.
void D4Device::accept(View bytes, bool cut, uint64_t now_ms) {
  const bool begins_anew = is_entry_string(bytes) || lost_;
  if (lost_ && match_front(bytes, d4::entry_string()) == Match::no) {
    link_.conversation().bytes(D4Side::host, bytes, now_ms, "nothing is understood any more");
    return;
  }
  if (begins_anew) {
    if (!from_host_.pending().empty()) {
      link_.breach(D4Rule::length, now_ms, unfinished());
    }
    from_host_.clear();
    host_spread_ = 0;
    lost_ = false;
  }
  const bool between = from_host_.pending().empty();
  from_host_.feed(bytes);
  ++host_spread_;
  const size_t packets = read_packets(now_ms);
  if (!cut && !lost_) {
    link_.host_transfer(packets, between && from_host_.pending().empty(), now_ms);
  }
}

std::string D4Device::unfinished() const {
  const View pending = from_host_.pending();
  return "a packet broke off: " + d4::hex(pending, 16);
}

size_t D4Device::read_packets(uint64_t now_ms) {
  size_t packets = 0;
  for (;;) {
    const View pending = from_host_.pending();
    if (link_.stage() == D4Link::Stage::raw &&
        match_front(pending, d4::entry_string()) == Match::no) {
      link_.conversation().bytes(D4Side::host, pending, now_ms, "not in packet mode");
      link_.breach(D4Rule::entry_first, now_ms, d4::hex(pending, 16));
      from_host_.clear();
      lost_ = true;
      break;
    }
    const auto packet = from_host_.next();
    if (!packet) {
      break;
    }
    ++packets;
    handle(*packet, now_ms);
    host_spread_ = 1;
  }
  if (from_host_.is_bad()) {
    link_.conversation().bytes(D4Side::host, from_host_.pending(), now_ms, "a length below 6");
    link_.breach(D4Rule::length, now_ms, "a header of length " + d4::hex(from_host_.pending(), 6));
    from_host_.clear();
    lost_ = true;
  }
  if (from_host_.pending().empty()) {
    host_spread_ = 0;
  }
  return packets;
}

D4Taken D4Device::take(uint64_t now_ms, size_t capacity) {
  advance(now_ms);
  if (options_.remove_after_read && bytes_read_ >= *options_.remove_after_read) {
    remove(now_ms, "removed at a byte for the host");
  }
  if (gone_) {
    return {D4Transfer::gone, {}};
  }
  if (silenced_) {
    return {D4Transfer::pending, {}};
  }
  if (output_.empty() || output_.front().due_ms > now_ms) {
    return take_nothing(now_ms);
  }
  if (output_.front().empties > 0 && output_.front().sent == 0) {
    --output_.front().empties;
    return complete_empty(now_ms);
  }
  return take_bytes(now_ms, capacity);
}

D4Taken D4Device::take_nothing(uint64_t now_ms) {
  if (options_.silent_when_idle) {
    empty_at_ms_.reset();
    return {D4Transfer::pending, {}};
  }
  if (!empty_at_ms_) {
    empty_at_ms_ = now_ms + options_.empty_after_ms;
  }
  if (*empty_at_ms_ > now_ms) {
    return {D4Transfer::pending, {}};
  }
  return complete_empty(now_ms);
}

D4Taken D4Device::complete_empty(uint64_t now_ms) {
  judge_unfinished(true, now_ms);
  empty_at_ms_.reset();
  ++in_transfers_;
  ++empty_transfers_;
  link_.conversation().empty(now_ms);
  return {};
}

D4Taken D4Device::take_bytes(uint64_t now_ms, size_t capacity) {
  size_t most = capacity;
  if (options_.transfer_bytes != 0) {
    most = std::min(most, options_.transfer_bytes);
  }
  if (options_.remove_after_read) {
    most = static_cast<size_t>(std::min<uint64_t>(most, *options_.remove_after_read - bytes_read_));
  }
  D4Taken taken = {};
  collect(taken.bytes, most, now_ms);
  empty_at_ms_.reset();
  ++in_transfers_;
  bytes_read_ += taken.bytes.size();
  deliver(taken.bytes, now_ms);
  if (options_.remove_after_read && bytes_read_ >= *options_.remove_after_read) {
    remove(now_ms, "removed at a byte for the host");
  }
  return taken;
}

void D4Device::collect(Bytes& bytes, size_t most, uint64_t now_ms) {
  while (bytes.size() < most && !output_.empty() && output_.front().due_ms <= now_ms) {
    Packet& front = output_.front();
    if (!bytes.empty() && (!options_.coalesce || front.empties > 0)) {
      break;
    }
    const size_t count = std::min(most - bytes.size(), front.bytes.size() - front.sent);
    append(bytes, View(front.bytes).subspan(front.sent, count));
    front.sent += count;
    output_bytes_ -= count;
    if (front.sent == front.bytes.size()) {
      output_.pop_front();
    }
  }
}

void D4Device::deliver(View bytes, uint64_t now_ms) {
  if (unreadable_) {
    return link_.device_bytes(bytes, now_ms);
  }
  if (to_host_.pending().empty()) {
    unfinished_since_ms_ = now_ms;
  }
  to_host_.feed(bytes);
  ++device_spread_;
  while (const auto packet = to_host_.next()) {
    link_.device_packet(*packet, now_ms, device_spread_);
    device_spread_ = 1;
    unfinished_since_ms_ = now_ms;
  }
  if (to_host_.is_bad()) {
    link_.device_bytes(to_host_.pending(), now_ms);
    unreadable_ = true;
  }
  if (to_host_.pending().empty()) {
    device_spread_ = 0;
  }
}

void D4Device::judge_unfinished(bool ended, uint64_t now_ms) {
  if (!to_host_.pending().empty()) {
    link_.device_breaks_off(to_host_.pending().size(), ended, unfinished_since_ms_, now_ms);
  }
}

std::optional<uint64_t> D4Device::next_due() const {
  std::optional<uint64_t> due;
  const auto sooner = [&due](uint64_t at_ms) { due = std::min(due.value_or(at_ms), at_ms); };
  if (gone_) {
    return due;
  }
  if (!planned_.empty()) {
    sooner(planned_.front().at_ms);
  }
  if (!silenced_ && !output_.empty()) {
    sooner(output_.front().due_ms);
  }
  if (!silenced_ && empty_at_ms_) {
    sooner(*empty_at_ms_);
  }
  return due;
}

// By time, and behind what is due at the same time; never into a packet that has begun.
void D4Device::enqueue(Bytes bytes, uint64_t due_ms, std::optional<uint8_t> socket) {
  if (silenced_ || gone_ || bytes.empty() || output_bytes_ + bytes.size() > most_output_bytes) {
    return;
  }
  output_bytes_ += bytes.size();
  auto place = std::find_if(output_.begin(), output_.end(), [due_ms](const Packet& packet) {
    return packet.sent == 0 && packet.due_ms > due_ms;
  });
  output_.insert(place, Packet{.due_ms = due_ms,
                               .bytes = std::move(bytes),
                               .empties = options_.empty_before_packet,
                               .socket = socket});
}

// Data that haven't begun to go out; of all sockets, or of one.
void D4Device::drop_data(std::optional<uint8_t> socket) {
  if (options_.data_survive_close) {
    return;
  }
  for (auto packet = output_.begin(); packet != output_.end();) {
    const bool fits = packet->socket && (!socket || packet->socket == socket) && packet->sent == 0;
    output_bytes_ -= fits ? packet->bytes.size() : 0;
    packet = fits ? output_.erase(packet) : packet + 1;
  }
}

void D4Device::silence(uint64_t now_ms) {
  silenced_ = true;
  link_.conversation().note(D4Side::device, now_ms, "keeps silent");
}

void D4Device::speak(uint64_t now_ms) {
  silenced_ = false;
  link_.conversation().note(D4Side::device, now_ms, "speaks again");
  for (auto& [socket, endpoint] : endpoints_) {
    release(socket, endpoint, now_ms);
  }
}

void D4Device::unplug(uint64_t now_ms) { remove(now_ms, "unplugged"); }

void D4Device::remove(uint64_t now_ms, const std::string& how) {
  if (!gone_) {
    gone_ = true;
    link_.conversation().note(D4Side::device, now_ms, how);
  }
}

void D4Device::replug(uint64_t now_ms) {
  link_.conversation().note(D4Side::device, now_ms, "plugged in");
  gone_ = false;
  silenced_ = false;
  lost_ = false;
  options_.remove_after_read.reset();
  options_.remove_after_written.reset();
  from_host_.clear();
  host_spread_ = 0;
  link_.restart();
  restart(true);
}

// A new link. What the last one left goes, unless the pipe keeps it.
void D4Device::restart(bool drop_output) {
  to_host_.clear();
  device_spread_ = 0;
  unreadable_ = false;
  endpoints_.clear();
  empty_at_ms_.reset();
  std::erase_if(planned_, [](const Planned& planned) { return planned.own_credit; });
  if (drop_output) {
    output_.clear();
    output_bytes_ = 0;
  }
}

void D4Device::check_end(uint64_t now_ms) {
  if (!from_host_.pending().empty()) {
    link_.breach(D4Rule::length, now_ms, unfinished());
  }
  link_.check_end(now_ms);
}

std::string D4Device::report() const {
  std::string text = conversation().text();
  for (const std::string& breach : breaches()) {
    text += "breach: " + breach + "\n";
  }
  return text;
}

}  // namespace simulator
