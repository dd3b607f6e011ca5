#pragma once

// A link that is up, and what its channels count.

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

#include "d4/control.h"
#include "d4/state.h"
#include "tests/d4/engine_fixture.h"

namespace d4_test {

// Declare it first in a scenario. Its read thread sleeps.
struct OpenLink {
  explicit OpenLink(vlp::DbgLog* log = nullptr) : engine(log), link(opened_link(port)) {
    test::settle();
  }

  OpenLink& channel(std::uint8_t socket, const Agreed& agreed = {}) {
    opened_channel(port, link, socket, agreed);
    test::settle();
    return *this;
  }

  // The device may send one packet, and the read thread sleeps again.
  OpenLink& credit_given(std::uint8_t socket) {
    port.takes_credit(socket);
    EXPECT_EQ(0, size_query(link, socket).result);
    test::settle();
    return *this;
  }

  // From the next transaction on a read stays in the port until bytes come, so that a reply is
  // taken at the very moment of its arrival. Nothing can be written meanwhile.
  void reads_block_from_now() {
    test::settle();
    port.reads_block();
  }

  vlp::ChannelPointer record(std::uint8_t socket) const { return FindChannel(*link, socket); }
  std::int32_t held(std::uint8_t socket) const { return record(socket)->sendCredit.load(); }
  std::int32_t given(std::uint8_t socket) const { return record(socket)->grantedCredit.load(); }

  std::int32_t status() const { return link->readStatus.load(); }
  std::uint8_t awaited() const { return link->awaitedReply.load(); }

  ScriptedPort port;
  Engine engine;
  vlp::XdltLink* link;
};

inline const std::vector<std::uint8_t>& every_byte() {
  static const std::vector<std::uint8_t> all = [] {
    std::vector<std::uint8_t> bytes(256);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
  }();
  return all;
}

}  // namespace d4_test
