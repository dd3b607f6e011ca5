#pragma once

// How the device end of the D4 transport behaves. Everything here is set before the first byte;
// what comes up during a test goes through the operations of D4Device. Times are milliseconds.

#include "simulator/d4_rules.h"
#include "simulator/d4_wire.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace simulator {

// How the host comes by the credit that it needs for data.
enum class D4CreditPolicy {
  on_open,      // `open_credit` in the OpenChannel reply, then `grant` with each request
  on_request,   // none at first; `grant` with each request
  own_command,  // requests are answered with 0; a Credit command comes by itself
  never,        // each request is answered with 0
};

struct D4SocketOptions {
  // What the OpenChannel reply says, whatever the host offered. The smaller one counts.
  uint16_t write_size = 4102;  // largest packet towards the device, header included
  uint16_t read_size = 4102;   // largest packet from the device

  D4CreditPolicy credit = D4CreditPolicy::on_open;
  uint16_t open_credit = 1;
  uint16_t grant = 1;          // never more than was asked for
  uint32_t refusals = 0;       // requests answered with 0 before each grant
  uint16_t own_credit = 1;     // own_command: how much it grants
  uint64_t own_credit_ms = 0;  // and how long behind the last refusal; at least one request
                               // is refused before it
  uint8_t piggyback = 0;       // credit in the header of each data packet
};

// What is done otherwise with the reply to a command. The first rule that fits counts.
struct D4ReplyRule {
  D4Command command = D4Command::init;  // the host's; `entry` for the entry string
  std::optional<uint8_t> socket = {};   // none: any
  uint32_t at = 0;                      // which one that fits, from 1; 0: each
  std::optional<uint8_t> result = {};   // the result byte; none: as if there were no rule
  uint64_t late_ms = 0;                 // on top of the latency
  bool never = false;                   // no reply at all
  bool twice = false;                   // the same reply once more
  std::optional<Bytes> instead = {};    // these bytes in place of the reply
};

// Something that the device does by itself.
struct D4Act {
  enum class Kind {
    error,           // `code`
    exit,            //
    close_channel,   // `socket`
    credit,          // `socket`, `amount`
    credit_request,  // `socket`, `amount`
    data,            // `socket`, `bytes`, `end_of_message`, `without_credit`
    raw,             // `bytes`, as they stand: such as a reply that nobody asked for
    silence,         // answers nothing and completes nothing from now on; replies that the
                     // host hasn't read yet stay where they are
    removal,
  };
  Kind kind = Kind::raw;
  // When: at a moment, or right with a packet of the host, counted from 1 with the entry string.
  std::optional<uint64_t> at_ms = {};
  uint64_t host_packet = 0;
  bool before_reply = false;  // with a packet: ahead of the reply to it; otherwise behind it
  uint64_t delay_ms = 0;      // with a packet: so long after it

  uint8_t socket = 0;
  uint16_t amount = 0;
  uint8_t code = 0;
  Bytes bytes = {};
  bool end_of_message = true;
  bool without_credit = false;  // sent at once, whatever the host has granted
};

// What the application behind a socket answers. The first that fits counts.
struct D4Answer {
  uint8_t socket = 0x02;
  std::optional<Bytes> message = {};  // none: any
  Bytes reply = {};
  bool echo = false;      // the message itself is the reply
  uint64_t after_ms = 0;  // from the end of the message
};

struct D4Options {
  // Time.
  uint64_t latency_ms = 0;       // from a packet of the host to the reply
  uint64_t data_latency_ms = 0;  // from the moment when data may go to their packets

  // The shape of IN transfers.
  size_t transfer_bytes = 0;         // the most in one; 0: as many as the host asks for
  bool coalesce = false;             // all that is due in one transfer; false: one packet at most
  uint32_t empty_before_packet = 0;  // completions without bytes ahead of each packet
  uint64_t empty_after_ms = 0;       // with nothing to send a transfer waits so long first
  bool silent_when_idle = false;     // with nothing to send a transfer doesn't complete

  // The shape of OUT transfers: by number from 1, how many bytes of it the device takes.
  std::map<uint64_t, size_t> short_writes = {};
  // A device that keeps silent takes nothing either: OUT transfers don't complete.
  bool silence_stops_writes = false;

  // Removal, counted over all of a direction's bytes.
  std::optional<uint64_t> remove_after_read = {};     // delivered to the host
  std::optional<uint64_t> remove_after_written = {};  // taken from the host

  // Channels.
  D4SocketOptions any_socket = {};
  std::map<uint8_t, D4SocketOptions> sockets = {};  // in place of `any_socket`
  std::map<std::string, uint8_t> services = {};     // names for GetSocketID, GetServiceName
  uint8_t revision = d4::revision;                  // in the Init reply
  bool data_survive_close = false;     // what was under way when the host closed the channel
  bool output_survives_entry = false;  // what an earlier link left unread

  std::vector<D4ReplyRule> replies = {};
  std::vector<D4Act> acts = {};
  std::vector<D4Answer> answers = {};

  // How the host is judged.
  bool one_packet_a_transfer = true;  // each OUT transfer has to be exactly one packet
  uint64_t host_patience_ms = 11000;  // from then on the host may give a reply up
  std::set<D4Rule> tolerated = {};    // noted in the conversation, but no breach
};

}  // namespace simulator
