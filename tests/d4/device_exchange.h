#pragma once

// One whole life of a link, small enough to be lived with each thing that can go wrong at
// each moment: from the entry string over four channels, with a message there and back on
// each, to the Exit.

#include <functional>
#include <string>

#include "tests/d4/device_talk.h"
#include "tests/support/sanitized.h"

namespace d4_test {

using test::kStep;
using test::kTimesLonger;
using test::live;

inline constexpr std::uint8_t kSockets[] = {0x02, 0x21, 0x40, 0x50};

// A device that answers each message with itself, in packets of few bytes.
simulator::D4Options small_device();

Bytes message_for(std::uint8_t socket);

// Whether what came back on a socket may have come.
using Fits = std::function<bool(std::uint8_t socket, const Bytes& got)>;
bool is_echo(std::uint8_t socket, const Bytes& got);

// What a device says between, and the echo with that once in it.
Bytes own_words();
bool is_echo_with_own_words(std::uint8_t socket, const Bytes& got);

struct ExchangeOptions {
  Fits fits = is_echo;
  unsigned patience = 4;       // empty size queries until a message is given up
  bool credits_agree = false;  // asks for that ahead of each channel's close
};

struct Exchange {
  bool whole = true;               // every call and every message went well
  std::int32_t opened = 0;         // the link
  std::int32_t first_failure = 0;  // the first negative result of all
  std::uint64_t ms = 0;
};

// Checks by itself what must hold always: only listed results, nothing but fitting bytes where
// a message came whole, and at the end a port that is free.
Exchange exchange(DevicePort& port, const ExchangeOptions& options = {});

// The same by the command layer: two commands and a fax.
Exchange command_exchange(DevicePort& port, vlp::CD4CmdIO& io);

// Puts the device in order again and has a whole exchange with it.
void expect_recovery(DevicePort& port);

// How many packets the host sends in an undisturbed one.
std::uint64_t packets_of_exchange();
std::uint64_t packets_of_command_exchange();

}  // namespace d4_test
