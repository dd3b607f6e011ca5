#pragma once

// The device end of the D4 transport on two bulk pipes. A pure machine: it is told what arrives
// and when, and says what it has to send and from when on. It calls nothing and waits for
// nothing; whoever carries the transfers does. It has no lock of its own: one caller at a time,
// and the times that it is told never go back.
//
// An adapter that serves a blocking read:
//   for (;;) {
//     auto in = device.take(now, capacity);
//     if (in.how == D4Transfer::done) return in.bytes;      // which may be none
//     if (in.how == D4Transfer::gone) fail;
//     wait until device.next_due(), or without end when it has nothing, or until somebody
//     called another operation of the device; then look again
//   }

#include "simulator/d4_link.h"
#include "simulator/d4_options.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

enum class D4Transfer {
  done,
  pending,  // not completed yet; ask again at next_due(), or when something has changed
  gone,     // failed: the device has been removed
};

struct D4Taken {
  D4Transfer how = D4Transfer::done;
  Bytes bytes = {};
};

struct D4Written {
  D4Transfer how = D4Transfer::done;
  size_t count = 0;  // bytes that the device took; with `gone` those ahead of the removal
};

// What the host said on one channel, up to an end-of-message flag.
struct D4Message {
  uint8_t socket = 0;
  Bytes bytes = {};
  uint32_t packets = 0;
  uint64_t at_ms = 0;     // when its last packet came
  bool answered = false;  // by one of the answers in the options
};

class D4Device {
 public:
  static constexpr size_t most_message_bytes = size_t{16} << 20;

  explicit D4Device(D4Options options = {});

  // An OUT transfer of the host. Any bytes at all may come.
  D4Written write(View bytes, uint64_t now_ms);
  // An IN transfer of the host, of at most `capacity` bytes. A transfer that stays pending is
  // the same one at the next call.
  D4Taken take(uint64_t now_ms, size_t capacity);
  // When there is something to do: bytes come due, a transfer completes without any, or
  // something that was planned happens. Nothing: not by itself.
  std::optional<uint64_t> next_due() const;

  // The application behind the sockets: messages that no answer in the options took, each once.
  std::vector<D4Message> take_messages();
  // All messages ever, in order.
  const std::vector<D4Message>& messages() const { return messages_; }
  // Bytes for the host, in packets of the negotiated size, as the host grants credit. False
  // without bytes, without an open channel, and with too much waiting on it.
  bool reply(uint8_t socket, View bytes, uint64_t now_ms, bool end_of_message = true);

  // What the device does by itself, now.
  void send_error(uint8_t code, uint64_t now_ms);
  void send_exit(uint64_t now_ms);
  void send_close(uint8_t socket, uint64_t now_ms);
  void send_credit(uint8_t socket, uint16_t amount, uint64_t now_ms);
  void send_credit_request(uint8_t socket, uint16_t amount, uint64_t now_ms);
  // One packet, at once, whatever channel is open and whatever the host has granted.
  void send_data_without_credit(uint8_t socket, View payload, uint64_t now_ms,
                                bool end_of_message = true);
  void push_raw(View bytes, uint64_t now_ms);
  // Plans it; `host_packet` counts on from the packets that have come.
  void plan(D4Act act);

  // Answers nothing and completes nothing until speak().
  void silence(uint64_t now_ms);
  void speak(uint64_t now_ms);
  bool silent() const { return silenced_; }
  void unplug(uint64_t now_ms);
  // Back again, switched on anew: no link, no channels, no removal at a byte.
  void replug(uint64_t now_ms);
  bool gone() const { return gone_; }

  D4Options& options() { return options_; }
  const D4Link& link() const { return link_; }
  uint64_t host_packets() const { return host_packets_; }  // with the entry strings
  uint64_t out_transfers() const { return out_transfers_; }
  uint64_t in_transfers() const { return in_transfers_; }  // completed, with the empty ones
  uint64_t empty_transfers() const { return empty_transfers_; }
  uint64_t bytes_written() const { return bytes_written_; }
  uint64_t bytes_read() const { return bytes_read_; }
  // Bytes that the host hasn't taken yet, whether they are due or not.
  size_t waiting_bytes() const;

  void tolerate(D4Rule rule) { link_.tolerate(rule); }
  // To be called when a test is over: what the host still owes is a breach.
  void check_end(uint64_t now_ms);
  const std::vector<std::string>& breaches() const { return link_.breaches(); }
  size_t breaches(D4Rule rule) const { return link_.count(rule); }
  const D4Conversation& conversation() const { return link_.conversation(); }
  // The conversation and the breaches, for a failing test.
  std::string report() const;

 private:
  struct Packet {
    uint64_t due_ms = 0;
    Bytes bytes = {};
    size_t sent = 0;
    uint32_t empties = 0;                // completions without bytes that still come first
    std::optional<uint8_t> socket = {};  // of data
  };
  struct Outgoing {
    Bytes bytes = {};
    size_t sent = 0;
    uint64_t ready_ms = 0;
    bool end_of_message = true;
  };
  // The device's side of a channel.
  struct Endpoint {
    D4SocketOptions options = {};
    uint16_t read_size = 0;
    uint64_t credit = 0;  // packets that may still go to the host
    uint32_t refused = 0;
    bool own_credit_planned = false;
    D4Message message = {};  // what has come of it
    bool message_lost = false;
    std::deque<Outgoing> outbox = {};
  };
  struct Planned {
    uint64_t at_ms = 0;
    D4Act act = {};
    bool own_credit = false;  // by the credit policy
  };

  // d4_device.cpp: the transfers
  void judge_unfinished(bool ended, uint64_t now_ms);
  void accept(View bytes, bool cut, uint64_t now_ms);
  std::string unfinished() const;
  size_t read_packets(uint64_t now_ms);
  D4Taken take_nothing(uint64_t now_ms);
  D4Taken complete_empty(uint64_t now_ms);
  D4Taken take_bytes(uint64_t now_ms, size_t capacity);
  void collect(Bytes& bytes, size_t most, uint64_t now_ms);
  void deliver(View bytes, uint64_t now_ms);
  void enqueue(Bytes bytes, uint64_t due_ms, std::optional<uint8_t> socket = {});
  void drop_data(std::optional<uint8_t> socket);
  void remove(uint64_t now_ms, const std::string& how);
  void restart(bool drop_output);

  // d4_device_acts.cpp: what it does by itself
  void advance(uint64_t now_ms);
  void act(const D4Act& act, uint64_t now_ms, uint64_t due_ms);
  void act_with_packet(bool before_reply, uint64_t now_ms);
  void plan_at(uint64_t at_ms, D4Act act, bool own_credit);
  void give_own_credit(const D4Act& credit, uint64_t now_ms);
  void hurl(const D4Act& act, uint64_t due_ms);
  void perform(const D4Act& what, uint64_t now_ms);

  // d4_device_replies.cpp: what it makes of the host's packets
  void handle(View packet, uint64_t now_ms);
  void handle_command(D4Command command, View packet, uint64_t now_ms);
  void handle_open(View packet, uint64_t now_ms);
  void handle_close(View packet, uint64_t now_ms);
  void handle_credit(View packet, uint64_t now_ms);
  void handle_credit_request(View packet, uint64_t now_ms);
  void handle_granted(View packet, uint64_t now_ms);
  void handle_service(D4Command command, View packet, uint64_t now_ms);
  void handle_data(View packet, uint64_t now_ms);
  void end_message(Endpoint& endpoint, uint64_t now_ms);
  uint16_t grant(uint8_t socket, Endpoint& endpoint, uint16_t asked, uint64_t now_ms);
  const D4ReplyRule* rule_for(D4Command command, uint8_t socket);
  void answer(const D4ReplyRule* rule, Bytes reply, uint64_t now_ms);
  void release(uint8_t socket, Endpoint& endpoint, uint64_t now_ms);
  const D4SocketOptions& options_of(uint8_t socket) const;

  D4Options options_;
  D4Link link_;

  D4Cutter from_host_;
  D4Cutter to_host_;
  uint32_t host_spread_ = 0;  // transfers that the packet under way has begun to take
  uint32_t device_spread_ = 0;
  uint64_t unfinished_since_ms_ = 0;  // when the device's packet under way began
  bool lost_ = false;                 // the host's stream can't be cut any more
  bool unreadable_ = false;           // nor can the device's own

  std::deque<Packet> output_;  // by the time when it's due
  size_t output_bytes_ = 0;
  std::deque<Planned> planned_;     // by time
  std::vector<D4Act> packet_acts_;  // with a packet, counted from the first one ever
  std::map<uint8_t, Endpoint> endpoints_;
  std::vector<uint32_t> rule_hits_;  // how often each reply rule has fitted
  std::vector<D4Message> messages_;
  size_t messages_taken_ = 0;
  size_t message_bytes_ = 0;

  std::optional<uint64_t> empty_at_ms_;  // when the pending IN transfer completes without bytes
  bool silenced_ = false;
  bool gone_ = false;
  uint64_t host_packets_ = 0;
  uint64_t out_transfers_ = 0;
  uint64_t in_transfers_ = 0;
  uint64_t empty_transfers_ = 0;
  uint64_t bytes_written_ = 0;
  uint64_t bytes_read_ = 0;
};

}  // namespace simulator
