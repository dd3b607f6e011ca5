#pragma once

// What the conversations with the simulated device have in common: whole messages both ways
// by the engine's calls, and what must hold whatever the device does.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "d4/c_d4_cmd_io.h"
#include "d4/state.h"
#include "tests/d4/device_port.h"
#include "tests/d4/engine_fixture.h"
#include "tests/d4/wire_build.h"

namespace d4_test {

// Any result that the engine may give.
inline bool is_listed(std::int32_t result) {
  const auto within = [result](std::int32_t least, std::int32_t most) {
    return result >= least && result <= most;
  };
  return result >= 0 || within(-13, -1) ||
         within(vlp::XDLT_ERR_GATE_TIMEOUT, vlp::XDLT_ERR_PARAM) ||
         within(vlp::XDLT_ERR_BUFFER_TIMEOUT, vlp::XDLT_ERR_ENTRY_WRITE) ||
         within(vlp::XDLT_ERR_SHORT_READ, vlp::XDLT_ERR_SHORT_WRITE) ||
         within(vlp::XDLT_ERR_BAD_COMMAND, vlp::XDLT_ERR_MALFORMED);
}

inline std::int32_t listed(std::int32_t result) {
  EXPECT_TRUE(is_listed(result)) << result;
  return result;
}

// Nothing more can be had of the link.
inline bool is_over(std::int32_t result) {
  return vlp::IsLinkLost(result) || result == vlp::XDLT_ERR_NOLINK;
}

// Writes it all, however often the device refuses credit; the result that stopped it, or 0.
inline std::int32_t write_message(vlp::XdltLink* link, std::uint8_t socket, Bytes bytes,
                                  unsigned patience = 1000) {
  while (!bytes.empty()) {
    const Called called = write(link, socket, bytes);
    listed(called.result);
    EXPECT_LE(called.count, bytes.size());
    bytes.erase(bytes.begin(),
                bytes.begin() + std::min<std::ptrdiff_t>(called.count, std::ssize(bytes)));
    if (called.result >= 0) return bytes.empty() ? 0 : vlp::XDLT_ERR_SHORT_WRITE;
    if (called.result != vlp::XDLT_ERR_NOT_READY || patience-- == 0) return called.result;
    test::sleep_ms(1);
  }
  return 0;
}

struct Received {
  std::int32_t result = 0;  // what stopped it, or 0
  Bytes bytes;
  bool complete = false;  // on a flag socket: the last fetch told the message's end
};

// Reads until so many bytes have come, without the flags, or so many queries in a row, made
// after longer and longer waits, found nothing. Takes at most `step` bytes at once.
inline Received receive(vlp::XdltLink* link, std::uint8_t socket, std::size_t count,
                        std::uint32_t step = 100'000, unsigned patience = 200) {
  const bool flagged = vlp::IsFlagSocket(socket);
  Received received;
  unsigned in_vain = 0;
  while (received.bytes.size() < count) {
    const Called query = size_query(link, socket);
    received.result = listed(query.result);
    if (query.result < 0) return received;
    if (query.result == 0) {
      if (++in_vain > patience) return received;
      test::sleep_ms(in_vain);
      continue;
    }
    in_vain = 0;
    const auto waiting = static_cast<std::uint32_t>(query.result);
    Called got = fetch(link, socket, std::min(waiting, step));
    received.result = listed(got.result);
    if (got.result < 0) return received;
    if (flagged && !got.bytes.empty()) {
      received.complete = got.bytes.back() != 0;
      got.bytes.pop_back();
    }
    received.bytes.insert(received.bytes.end(), got.bytes.begin(), got.bytes.end());
  }
  received.result = 0;
  return received;
}

// A message as the caller writes it: on a flag socket with the flag behind it.
inline Bytes as_written(std::uint8_t socket, Bytes message) {
  if (vlp::IsFlagSocket(socket)) message.push_back(1);
  return message;
}

// --- The command layer ----------------------------------------------------------------------

// As a profile that names a mode gives them.
inline constexpr vlp::GenVlSettings kTalkSettings = {1, 4, 25, 20000, 0};

struct Answered {
  bool done = false;
  Bytes bytes;
};

inline Answered command(vlp::CD4CmdIO& io, const Bytes& bytes,
                        std::uint32_t channel = vlp::kD4CommandChannel) {
  Answered answered;
  Bytes answer(512);
  std::uint32_t count = 0;
  answered.done = io.D4CmdProc(channel, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                               answer.data(), static_cast<std::uint32_t>(answer.size()), &count);
  EXPECT_LE(count, answer.size());
  answer.resize(std::min<std::size_t>(count, answer.size()));
  answered.bytes = answer;
  return answered;
}

// --- Credit ----------------------------------------------------------------------------------

// Device and engine agree on what each may still send. When nothing is under way.
inline void expect_credits_agree(DevicePort& port, vlp::XdltLink* link, std::uint8_t socket) {
  const vlp::ChannelPointer own = vlp::FindChannel(*link, socket);
  ASSERT_NE(nullptr, own) << "socket " << int{socket};
  port.with([&](simulator::D4Device& device, std::uint64_t) {
    const auto* const seen = device.link().channel(socket);
    ASSERT_NE(nullptr, seen) << "socket " << int{socket};
    EXPECT_EQ(seen->host_credit, static_cast<std::uint32_t>(own->sendCredit.load()));
    EXPECT_EQ(seen->device_credit, static_cast<std::uint32_t>(own->grantedCredit.load()));
    EXPECT_EQ(0u, own->users.load());
  });
}

}  // namespace d4_test
