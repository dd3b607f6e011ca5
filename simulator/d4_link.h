#pragma once

// One link as it can be seen on the wire, both ways. It judges the host strictly and records
// what breaks a rule; of the device it only keeps in mind whether it gave the host cause to end
// the link. It knows nothing of how the device comes to say what it says.

#include "simulator/d4_conversation.h"
#include "simulator/d4_options.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

class D4Link {
 public:
  enum class Stage {
    raw,      // not in packet mode
    entered,  // the entry string has come
    ready,    // Init has come
    ended,    // Exit, Error or a refusal; only a new entry string goes on
  };
  struct Channel {
    uint16_t write_size = 0;
    uint16_t read_size = 0;
    // Packets that the host may send: at most, and of these what it knows of for certain.
    uint32_t host_credit = 0;
    uint32_t certain_credit = 0;
    // Packets that the device may send, and of these at most so many because it asked.
    uint32_t device_credit = 0;
    uint32_t asked_credit = 0;
    bool used = false;      // the host has spoken of it since it was opened
    bool unusable = false;  // agreed with sizes at which the host drops it
  };

  D4Link(bool one_packet_a_transfer, uint64_t host_patience_ms, std::set<D4Rule> tolerated)
      : whole_packets_(one_packet_a_transfer),
        patience_ms_(host_patience_ms),
        tolerated_(std::move(tolerated)) {}

  // A whole packet of the host, the entry string included.
  void host_packet(View packet, uint64_t now_ms, uint32_t transfers);
  // An OUT transfer is over. `packets`: how many ended in it; `whole`: it began and ended
  // between packets.
  void host_transfer(size_t packets, bool whole, uint64_t now_ms);
  // What the device's bytes were when the host had got the last one.
  void device_packet(View packet, uint64_t now_ms, uint32_t transfers);
  void device_bytes(View bytes, uint64_t now_ms);
  // A packet of the device stands there unfinished: `got` bytes of it. `ended`: a transfer just
  // completed without bytes.
  void device_breaks_off(size_t got, bool ended, uint64_t since_ms, uint64_t now_ms);

  void breach(D4Rule rule, uint64_t now_ms, const std::string& text);
  void tolerate(D4Rule rule) { tolerated_.insert(rule); }
  // The test is over: each command of the device has been answered.
  void check_end(uint64_t now_ms);
  // The device is gone and comes back without a link.
  void restart();

  Stage stage() const { return stage_; }
  const Channel* channel(uint8_t socket) const;
  // Why the host may end the link; empty while the device kept to the rules.
  const std::string& fault() const { return fault_; }
  const std::vector<uint8_t>& host_errors() const { return host_errors_; }

  const std::vector<std::string>& breaches() const { return breaches_; }
  size_t count(D4Rule rule) const;
  D4Conversation& conversation() { return conversation_; }
  const D4Conversation& conversation() const { return conversation_; }

 private:
  // A command of the host that has no reply yet.
  struct Awaited {
    D4Command reply = D4Command::init_reply;
    uint8_t socket = 0;
    uint16_t write_size = 0;  // OpenChannel: what was offered
    uint16_t read_size = 0;
    uint64_t since_ms = 0;
  };
  // A command of the device that the host has to answer.
  struct Owed {
    D4Command answer = D4Command::exit_reply;
    uint8_t socket = 0;
    uint32_t amount = 0;
    bool added = false;  // a Credit that the host may have made use of already
    bool needed = true;  // false: the host may have stopped reading
  };

  // d4_host_checks.cpp
  bool check_stage(View packet, uint64_t now_ms);
  bool check_header(View packet, uint64_t now_ms);
  void check_control(View packet, uint64_t now_ms);
  void check_command(D4Command command, View packet, uint64_t now_ms);
  void check_init(View packet, uint64_t now_ms);
  void check_open(View packet, uint64_t now_ms);
  void check_close(View packet, uint64_t now_ms);
  void check_credit(View packet, uint64_t now_ms);
  void check_credit_request(View packet, uint64_t now_ms);
  Channel* check_channel(View packet, uint64_t now_ms);
  void check_error(View packet, uint64_t now_ms);
  void check_data(View packet, uint64_t now_ms);
  void begin(uint64_t now_ms);
  void await(D4Command command, View packet, uint64_t now_ms);

  // d4_answer_checks.cpp
  void check_answer(D4Command command, View packet, uint64_t now_ms);
  void check_close_answer(const Owed& owed, uint8_t result, uint64_t now_ms);
  void check_credit_answer(const Owed& owed, uint8_t result, uint64_t now_ms);
  void check_request_answer(const Owed& owed, View packet, uint64_t now_ms);
  void check_exit_answer(uint8_t result, uint64_t now_ms);
  bool surely_open(uint8_t socket) const;
  bool never_open(uint8_t socket) const;
  void wrong_result(const Owed& owed, uint8_t result, uint64_t now_ms);

  // d4_link.cpp
  void device_reply(D4Command command, View packet, uint64_t now_ms);
  void take_reply(const Awaited& awaited, View packet);
  void opened(const Awaited& awaited, View packet);
  void device_command(D4Command command, View packet, uint64_t now_ms);
  void device_data(View packet, uint64_t now_ms);
  void end(D4Rule rule, std::string why);
  void blame(uint64_t now_ms, const std::string& why);

  bool whole_packets_;
  uint64_t patience_ms_;
  std::set<D4Rule> tolerated_;

  Stage stage_ = Stage::raw;
  D4Rule end_rule_ = D4Rule::nothing_after_exit;
  std::string end_reason_;
  bool still_answers_ = false;  // after an Exit of its own the host goes on reading for a while
  std::map<uint8_t, Channel> channels_;
  std::set<uint8_t> seen_;  // sockets that were open once on this link
  std::optional<Awaited> awaited_;
  std::deque<Owed> owed_;
  std::string fault_;
  std::vector<uint8_t> host_errors_;

  std::vector<std::string> breaches_;
  std::map<D4Rule, size_t> counts_;
  D4Conversation conversation_;
};

}  // namespace simulator
