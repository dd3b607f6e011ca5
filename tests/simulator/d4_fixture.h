#pragma once

// A host whose bytes are written out by hand, apart from the device's own tables.

#include "simulator/d4_device.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace simulator_test {

using simulator::Bytes;
using simulator::bytes_of;
using simulator::D4Act;
using simulator::D4Answer;
using simulator::D4Command;
using simulator::D4CreditPolicy;
using simulator::D4Device;
using simulator::D4Line;
using simulator::D4Link;
using simulator::D4Message;
using simulator::D4Options;
using simulator::D4ReplyRule;
using simulator::D4Rule;
using simulator::D4Side;
using simulator::D4SocketOptions;
using simulator::D4Transfer;
using simulator::View;

inline constexpr size_t buffer_size = 2048;  // what a host asks for in one read

namespace host {

inline const Bytes entry = {0x00, 0x00, 0x00, 0x1B, 0x01, '@', 'Q', 'P',  'L',
                            ' ',  '1',  '2',  '8',  '4',  '.', '4', '\n', '@',
                            'Q',  'P',  'L',  '\n', '@',  'Q', 'P', 'L',  '\n'};
inline const Bytes init = {0x00, 0x00, 0x00, 0x08, 0x01, 0x00, 0x00, 0x10};
inline const Bytes exit = {0x00, 0x00, 0x00, 0x07, 0x01, 0x00, 0x08};

inline Bytes open(uint8_t socket) {
  return {0, 0, 0, 17, 1, 0, 1, socket, socket, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0};
}
inline Bytes close(uint8_t socket) { return {0, 0, 0, 10, 1, 0, 2, socket, socket, 0}; }
inline Bytes credit(uint8_t socket) { return {0, 0, 0, 11, 1, 0, 3, socket, socket, 0, 1}; }
inline Bytes credit_request(uint8_t socket) {
  return {0, 0, 0, 13, 1, 0, 4, socket, socket, 0, 0x80, 0xFF, 0xFF};
}
inline Bytes error(uint8_t code) { return {0, 0, 0, 10, 0, 0, 0x7F, 0, 0, code}; }

inline Bytes close_answer(uint8_t result, uint8_t socket) {
  return {0, 0, 0, 10, 1, 0, 0x82, result, socket, socket};
}
inline Bytes credit_answer(uint8_t result, uint8_t socket) {
  return {0, 0, 0, 10, 1, 0, 0x83, result, socket, socket};
}
inline Bytes request_answer(uint8_t result, uint8_t socket, uint16_t granted) {
  return {0,
          0,
          0,
          12,
          1,
          0,
          0x84,
          result,
          socket,
          socket,
          static_cast<uint8_t>(granted >> 8),
          static_cast<uint8_t>(granted & 0xFF)};
}
inline Bytes exit_answer(uint8_t result) { return {0, 0, 0, 8, 1, 0, 0x88, result}; }

inline Bytes data(uint8_t socket, const std::string& payload, uint8_t credit = 0,
                  uint8_t control = 1) {
  const size_t length = payload.size() + 6;
  Bytes packet = {
      socket, socket, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length & 0xFF),
      credit, control};
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

}  // namespace host

// What the device sends, written out by hand as well.
namespace wire {

inline const Bytes entry_reply = {0, 0, 0, 8, 1, 0, 0xC5, 0};
inline const Bytes init_reply = {0, 0, 0, 9, 1, 0, 0x80, 0, 0x10};
inline const Bytes exit_reply = {0, 0, 0, 8, 1, 0, 0x88, 0};

// With the sizes and the credit that the options have by themselves.
inline Bytes open_reply(uint8_t socket, uint8_t credit = 1) {
  return {0, 0, 0, 16, 1, 0, 0x81, 0, socket, socket, 0x10, 0x06, 0x10, 0x06, 0, credit};
}
inline Bytes close_reply(uint8_t result, uint8_t socket) {
  return {0, 0, 0, 10, 1, 0, 0x82, result, socket, socket};
}
inline Bytes credit_reply(uint8_t result, uint8_t socket) {
  return {0, 0, 0, 10, 1, 0, 0x83, result, socket, socket};
}
inline Bytes request_reply(uint8_t result, uint8_t socket, uint8_t granted) {
  return {0, 0, 0, 12, 1, 0, 0x84, result, socket, socket, 0, granted};
}
inline Bytes credit(uint8_t socket, uint8_t amount) {
  return {0, 0, 0, 11, 1, 0, 3, socket, socket, 0, amount};
}

}  // namespace wire

inline Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

// One host and one device, with a clock between them that only a test moves.
struct Wire {
  explicit Wire(D4Options options = {}) : device(std::move(options)) {}

  simulator::D4Written write(const Bytes& bytes) { return device.write(bytes, now_ms); }
  // One transfer that has to complete now.
  Bytes read(size_t capacity = buffer_size) {
    const auto taken = device.take(now_ms, capacity);
    EXPECT_EQ(D4Transfer::done, taken.how) << device.report();
    return taken.bytes;
  }
  // All that comes until a transfer completes without bytes.
  Bytes read_all() {
    Bytes all;
    for (Bytes some = read(); !some.empty(); some = read()) {
      all.insert(all.end(), some.begin(), some.end());
    }
    return all;
  }
  Bytes say(const Bytes& bytes) {
    write(bytes);
    return read_all();
  }
  Wire& enter() {
    EXPECT_EQ(wire::entry_reply, say(host::entry)) << device.report();
    EXPECT_EQ(wire::init_reply, say(host::init)) << device.report();
    return *this;
  }
  Wire& open(uint8_t socket) {
    say(host::open(socket));
    EXPECT_NE(nullptr, device.link().channel(socket)) << device.report();
    return *this;
  }

  D4Device device;
  uint64_t now_ms = 0;
};

inline Wire entered(D4Options options = {}) {
  Wire wire(std::move(options));
  wire.enter();
  return wire;
}
inline Wire opened(uint8_t socket, D4Options options = {}) {
  Wire wire = entered(std::move(options));
  wire.open(socket);
  return wire;
}

inline void expect_clean(const Wire& wire) {
  EXPECT_TRUE(wire.device.breaches().empty()) << wire.device.report();
}

// This one breach and no other.
inline void expect_breach(const Wire& wire, D4Rule rule, size_t count = 1) {
  EXPECT_EQ(count, wire.device.breaches(rule)) << wire.device.report();
  EXPECT_EQ(count, wire.device.breaches().size()) << wire.device.report();
}

}  // namespace simulator_test
