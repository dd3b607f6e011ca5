// What is checked in the host's answers to the device's own commands. They come in the order
// of the commands.

#include "simulator/d4_link.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr uint8_t good = 0;
constexpr uint8_t socket_zero = 3;
constexpr uint8_t too_much = 7;
constexpr uint8_t no_channel = 8;
constexpr uint32_t most_credit = 0xFFFF;

}  // namespace

// The host has spoken of it, so it can't overlook it.
bool D4Link::surely_open(uint8_t socket) const {
  const Channel* const open = channel(socket);
  return open != nullptr && open->used && !open->unusable;
}

bool D4Link::never_open(uint8_t socket) const { return !seen_.contains(socket); }

void D4Link::wrong_result(const Owed& owed, uint8_t result, uint64_t now_ms) {
  breach(D4Rule::answer_result, now_ms,
         std::string(d4::form_of(static_cast<uint8_t>(owed.answer))->name) + " with " +
             std::to_string(result) + " for socket " + d4::hex({&owed.socket, 1}, 1));
}

void D4Link::check_answer(D4Command command, View packet, uint64_t now_ms) {
  if (owed_.empty() || owed_.front().answer != command) {
    return breach(D4Rule::answer_asked, now_ms,
                  d4::meaning(packet) + (owed_.empty() ? ", but nothing was asked"
                                                       : ", but something else was asked first"));
  }
  const Owed owed = owed_.front();
  owed_.pop_front();
  const uint8_t result = packet[7];
  if (command == D4Command::exit_reply) {
    return check_exit_answer(result, now_ms);
  }
  if (packet[8] != owed.socket || packet[9] != owed.socket) {
    breach(D4Rule::answer_socket, now_ms, d4::meaning(packet));
  }
  switch (command) {
    case D4Command::close_channel_reply:
      return check_close_answer(owed, result, now_ms);
    case D4Command::credit_reply:
      return check_credit_answer(owed, result, now_ms);
    default:
      return check_request_answer(owed, packet, now_ms);
  }
}

void D4Link::check_exit_answer(uint8_t result, uint64_t now_ms) {
  if (result != good) {
    breach(D4Rule::answer_result, now_ms, "Exit reply with " + std::to_string(result));
  }
  still_answers_ = false;
  end(D4Rule::nothing_after_exit, "the device's Exit");
}

void D4Link::check_close_answer(const Owed& owed, uint8_t result, uint64_t now_ms) {
  bool fits = result == no_channel || (result == good && !never_open(owed.socket));
  if (owed.socket == 0) {
    fits = result == socket_zero;
  } else if (surely_open(owed.socket)) {
    fits = result == good;
  }
  if (!fits) {
    wrong_result(owed, result, now_ms);
  }
  channels_.erase(owed.socket);
}

void D4Link::check_credit_answer(const Owed& owed, uint8_t result, uint64_t now_ms) {
  const auto found = channels_.find(owed.socket);
  if (found == channels_.end()) {
    const bool fits = result == no_channel ||
                      (!never_open(owed.socket) && (result == good || result == too_much));
    if (!fits) {
      wrong_result(owed, result, now_ms);
    }
    return;
  }
  Channel& open = found->second;
  const bool can_overflow = !owed.added;
  const bool must_overflow = !owed.added && open.certain_credit + owed.amount > most_credit;
  const bool fits = (result == good && !must_overflow) || (result == too_much && can_overflow) ||
                    (result == no_channel && !surely_open(owed.socket));
  if (!fits) {
    wrong_result(owed, result, now_ms);
  }
  if (result == good) {
    open.host_credit += owed.added ? 0 : owed.amount;
    open.certain_credit = std::min(open.certain_credit + owed.amount, open.host_credit);
  } else if (owed.added) {
    open.host_credit -= std::min(open.host_credit, owed.amount);
  }
}

void D4Link::check_request_answer(const Owed& owed, View packet, uint64_t now_ms) {
  const uint8_t result = packet[7];
  const bool fits = (result == good && !never_open(owed.socket)) ||
                    (result == no_channel && !surely_open(owed.socket));
  if (!fits) {
    wrong_result(owed, result, now_ms);
  }
  const uint32_t granted = d4::word_at(packet, 10);
  if (granted != (result == good ? owed.amount : 0)) {
    breach(D4Rule::answer_credit, now_ms,
           std::to_string(granted) + " instead of " +
               std::to_string(result == good ? owed.amount : 0));
  }
  const auto found = channels_.find(owed.socket);
  if (result == good && found != channels_.end()) {
    found->second.device_credit += granted;
    found->second.asked_credit += granted;
  }
}

}  // namespace simulator
