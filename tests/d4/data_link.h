#pragma once

// A link with one channel on it, ready for data, and a look at what the engine counts.
// For scenarios; everything is given back at its end, in whatever state the link is then.

#include "d4/state.h"
#include "tests/d4/engine_fixture.h"

namespace d4_test {

struct DataLink {
  explicit DataLink(std::uint8_t socket_number = 0x02, const Agreed& agreed = {},
                    vlp::DbgLog* log = nullptr)
      : engine(log), socket(socket_number) {
    link = opened_link(port);
    opened_channel(port, link, socket, agreed);
    channel = vlp::FindChannel(*link, socket);
    test::settle();
  }

  Called write(const Bytes& bytes) { return d4_test::write(link, socket, bytes); }
  Called query() { return size_query(link, socket); }
  Called fetch(std::uint32_t capacity) { return d4_test::fetch(link, socket, capacity); }
  Called close_channel() { return close_channel_on(link, socket); }

  // Lets the device, which has no credit yet, send so many packets.
  void let_device_send(std::uint16_t packets) {
    port.expect(credit(socket)).answer(credit_reply(socket));
    if (packets > 1) {
      const auto more = static_cast<std::uint16_t>(packets - 1);
      port.say(credit_request(socket, more));
      port.expect(credit_request_reply(socket, more));
    }
    EXPECT_EQ(0, query().result);
    EXPECT_EQ(packets, given());
    test::settle();
  }

  // A size query that the device answers with these bytes.
  Called query_that_brings(const Bytes& bytes) {
    port.say(bytes);
    return query();
  }

  // The same, and the engine is at rest again: the bytes are stored then, even if the query
  // told only of what had waited before.
  void receive(const Bytes& bytes) {
    EXPECT_LE(0, query_that_brings(bytes).result);
    test::settle();
  }

  // The call finds the link lost: CloseChannel goes out and is answered with silence, the device
  // is told what it did if that has a code, and nothing is left of the link.
  void expect_lost(std::int32_t result, std::optional<std::uint8_t> error_code = std::nullopt) {
    port.expect(d4_test::close_channel(socket));
    if (error_code) port.expect(error_packet(*error_code));
    const Called closed = close_channel();
    EXPECT_EQ(result, closed.result);
    EXPECT_GE(closed.ms, vlp::kReplyLimitMs);
    EXPECT_LE(closed.ms, vlp::kReplyLimitMs + 100);  // the thread's sleep in a lost link
    EXPECT_EQ(vlp::XDLT_ERR_NOLINK, close_link(link).result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(port.handle()));
  }

  // Ends both as they should end.
  void close() {
    closed_channel(port, link, socket);
    closed_link(port, link);
  }

  std::int32_t held() const { return channel->sendCredit.load(); }
  std::int32_t given() const { return channel->grantedCredit.load(); }
  unsigned users() const { return channel->users.load(); }
  bool has_channel() const { return vlp::FindChannel(*link, socket) != nullptr; }

  ScriptedPort port;
  Engine engine;
  std::uint8_t socket;
  vlp::XdltLink* link = nullptr;
  vlp::ChannelPointer channel;
};

}  // namespace d4_test
