// Writes that fail on the way: what is out stays out, and the count tells of it.

#include <gmock/gmock.h>

#include <functional>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

struct Trouble {
  const char* name;
  std::int32_t result;
  std::uint64_t ms;
  std::function<void(DataLink&)> arrange;
};

// A message of three packets, of which one has credit and the second gets into trouble
// on its way to more.
const std::vector<Trouble>& troubles() {
  static const std::vector<Trouble> all = {
      {"no channel there", -8, 0,
       [](DataLink& d) {
         d.port.expect(credit_request(d.socket)).answer(credit_request_reply(d.socket, 5, 8));
       }},
      {"unknown result", vlp::XDLT_ERR_BAD_RESULT, 0,
       [](DataLink& d) {
         d.port.expect(credit_request(d.socket)).answer(credit_request_reply(d.socket, 5, 7));
       }},
      {"request not taken", vlp::XDLT_ERR_PORT_WRITE, 0,
       [](DataLink& d) { d.port.expect(credit_request(d.socket)).fails(); }},
      {"request taken in part", vlp::XDLT_ERR_SHORT_WRITE, 0,
       [](DataLink& d) { d.port.expect(credit_request(d.socket)).is_short_by(1); }},
      {"packet not taken", vlp::XDLT_ERR_PORT_WRITE, 0,
       [](DataLink& d) {
         d.port.grants(d.socket, 2);
         d.port.expect(data(d.socket, text("def"), {.control = 0})).fails();
       }},
      {"packet failed but taken whole", vlp::XDLT_ERR_PORT_WRITE, 0,
       [](DataLink& d) {
         d.port.grants(d.socket, 2);
         d.port.expect(data(d.socket, text("def"), {.control = 0})).fails({.bytes = 9});
       }},
      {"packet taken in part", vlp::XDLT_ERR_SHORT_WRITE, 0,
       [](DataLink& d) {
         d.port.grants(d.socket, 2);
         d.port.expect(data(d.socket, text("def"), {.control = 0})).is_short_by(1);
       }},
      {"silence", vlp::XDLT_ERR_REPLY_TIMEOUT, 11'000,
       [](DataLink& d) { d.port.expect(credit_request(d.socket)); }},
      {"reply a moment before the limit is no trouble", 7, 10'999,
       [](DataLink& d) {
         d.port.reads_block();  // else the last look is up to 300 ms before
         d.port.grants(d.socket, 2, after_ms(10'999));
         d.port.expect(data(d.socket, text("def"), {.control = 0}));
         d.port.expect(data(d.socket, text("g")));
       }},
      {"malformed reply", vlp::XDLT_ERR_MALFORMED, 0,
       [](DataLink& d) {
         d.port.expect(credit_request(d.socket))
             .answer(with_length(credit_request_reply(d.socket, 1), 13))
             .answer(hex("00"));
       }},
      {"device leaves", vlp::XDLT_ERR_LINK_DOWN, 0,
       [](DataLink& d) {
         d.port.expect(credit_request(d.socket)).answer(exit_link());
         d.port.expect(exit_reply());
       }},
  };
  return all;
}

TEST(WriteFailures, CountIsWhatIsOut) {
  for (const Trouble& trouble : troubles()) {
    SCOPED_TRACE(trouble.name);
    run_virtual_schedules(3, [&] {
      DataLink d(0x02, {.write_size = 9, .credit = 1});
      d.port.expect(data(0x02, text("abc"), {.control = 0}));
      trouble.arrange(d);
      const Called written = d.write(text("abcdefg"));
      EXPECT_EQ(trouble.result, written.result);
      EXPECT_EQ(trouble.ms, written.ms);
      EXPECT_EQ(trouble.result < 0 ? 3u : 7u, written.count);
      EXPECT_EQ(0u, d.users());
      EXPECT_EQ(0u, d.link->callers.load());
      EXPECT_EQ(0, d.link->awaitedReply.load());
    });
  }
}

TEST(WriteFailures, FlagByteIsNotInTheCountOfAFailure) {
  for (const std::uint8_t socket : Bytes{0x21, 0x22}) {
    for (const Trouble& trouble : troubles()) {
      if (trouble.result > 0) continue;
      SCOPED_TRACE(trouble.name);
      run_virtual_parallel([&] {
        DataLink d(socket, {.write_size = 9, .credit = 1});
        d.port.expect(data(socket, text("abc"), {.control = 0}));
        trouble.arrange(d);
        const Called written = d.write(text("abcdefg\x01"));
        EXPECT_EQ(trouble.result, written.result);
        EXPECT_EQ(3u, written.count);
      });
    }
  }
}

TEST(WriteFailures, PacketThatFailedCostsNoCredit) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 2});
    d.port.expect(data(0x02, text("abc"))).fails();
    EXPECT_EQ(vlp::XDLT_ERR_PORT_WRITE, d.write(text("abc")).result);
    EXPECT_EQ(2, d.held());
    // A failed transfer leaves the link in use.
    d.port.expect(data(0x02, text("abc")));
    EXPECT_EQ(3, d.write(text("abc")).result);
    d.close();
  });
}

TEST(WriteFailures, BusyControlGateIsWaitedForElevenSeconds) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 1});
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(d.link->controlEvent.Get(), 0));
    d.port.expect(data(0x02, text("abc"), {.control = 0}));
    Called written = d.write(text("abcdef"));
    EXPECT_EQ(vlp::XDLT_ERR_CTRL_BUSY, written.result);
    EXPECT_EQ(3u, written.count);
    EXPECT_EQ(11'000u, written.ms);
    EXPECT_EQ(0u, d.users());
    // A moment less is enough.
    auto giver = test::spawn("giver", [&] {
      test::sleep_ms(10'999);
      SetEvent(d.link->controlEvent.Get());
    });
    d.port.grants(0x02, 1);
    d.port.expect(data(0x02, text("x")));
    written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(10'999u, written.ms);
    d.close();
  });
}

// Changes the link while the first of two packets is on its way.
template <typename Change>
Called written_while(DataLink& d, Change change) {
  d.port.expect(data(d.socket, text("abc"), {.control = 0})).takes_ms(100);
  auto changer = test::spawn("changer", [&] {
    test::sleep_ms(50);
    change(*d.link);
  });
  return d.write(text("abcdef"));
}

TEST(WriteFailures, LinkThatIsClosedUnderWayIsDown) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 2});
    const Called written =
        written_while(d, [](vlp::XdltLink& link) { link.state.store(vlp::kLinkClosed); });
    EXPECT_EQ(vlp::XDLT_ERR_LINK_DOWN, written.result);
    EXPECT_EQ(3u, written.count);
    EXPECT_EQ(0u, d.users());
  });
}

TEST(WriteFailures, LinkThatIsFreedUnderWayIsLost) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 2});
    const vlp::XdltPortHandle port = d.port.handle();
    const Called written = written_while(d, [](vlp::XdltLink& link) { link.portHandle.store(0); });
    EXPECT_EQ(vlp::XDLT_ERR_LINK_LOST, written.result);
    EXPECT_EQ(3u, written.count);
    d.link->portHandle.store(port);  // so that all is given back
  });
}

// A fatal result is told and nothing more: the link goes with the next open or close.
TEST(WriteFailures, LostLinkStaysUntilSomebodyClosesIt) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(error_packet(0x81));
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, d.write(text("abc")).result);
    EXPECT_TRUE(vlp::XdltPortIsInUse(d.port.handle()));
    EXPECT_EQ(vlp::kLinkOpen, d.link->state.load());
    EXPECT_EQ(vlp::XDLT_ERR_PORT_IN_USE, open_link(d.port).result);
    d.port.expect(credit_request(0x02));
    const Called again = d.write(text("abc"));
    EXPECT_EQ(vlp::XDLT_ERR_PEER_ERROR, again.result);
    EXPECT_EQ(11'000u, again.ms);
    d.expect_lost(vlp::XDLT_ERR_PEER_ERROR);
  });
}

TEST(WriteFailures, BreachByTheDeviceIsToldToItOnlyWhenTheLinkEnds) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.expect(credit_request(0x02)).answer(credit_reply(0x02));
    EXPECT_EQ(vlp::XDLT_ERR_UNEXPECTED_REPLY, d.write(text("abc")).result);
    EXPECT_EQ(vlp::kLinkOpen, d.link->state.load());
    d.expect_lost(vlp::XDLT_ERR_UNEXPECTED_REPLY, std::uint8_t{0x82});
  });
}

}  // namespace
}  // namespace d4_test
