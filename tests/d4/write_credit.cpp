// Asking for credit, and what follows when none is given.

#include <gmock/gmock.h>

#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;
using ::testing::ElementsAre;

// One write that gets no credit; how long it took.
std::uint64_t refused(DataLink& d) {
  d.port.grants(d.socket, 0);
  const Called written = d.write(text("x"));
  EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, written.result);
  EXPECT_EQ(0u, written.count);
  EXPECT_EQ(0u, d.users());
  return written.ms;
}

std::vector<std::uint64_t> refused_times(DataLink& d, unsigned count) {
  std::vector<std::uint64_t> times;
  for (unsigned i = 0; i < count; ++i) times.push_back(refused(d));
  return times;
}

// One write that gets credit for just its packet.
void granted(DataLink& d) {
  d.port.grants(d.socket, 1);
  d.port.expect(data(d.socket, text("x")));
  const Called written = d.write(text("x"));
  EXPECT_EQ(1, written.result);
  EXPECT_EQ(0u, written.ms);
}

TEST(WriteCredit, SecondPacketWaitsForTheCreditThatTheFirstUsedUp) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.write_size = 4102, .credit = 1});
    d.port.reads_block();
    d.port.expect(data(0x02, filled(4096), {.control = 0}));
    d.port.expect(hex("00 00 00 0D 01 00 04 02 02 00 80 FF FF"))
        .answer(credit_request_reply(0x02, 1), after_ms(70));
    d.port.expect(data(0x02, Bytes{0}));
    const Called written = d.write(filled(4097));
    EXPECT_EQ(4097, written.result);
    EXPECT_EQ(70u, written.ms);
    EXPECT_EQ(0, d.held());
  });
}

TEST(WriteCredit, AllThatIsGrantedIsAddedAndOneIsUsed) {
  run_virtual_parallel([] {
    DataLink d(0x40, {.credit = 0});
    d.port.grants(0x40, 0x0102);
    d.port.expect(data(0x40, text("a")));
    EXPECT_EQ(1, d.write(text("a")).result);
    EXPECT_EQ(0x0101, d.held());
    d.close();
  });
}

TEST(WriteCredit, NoneIsAskedForOnceTheMessageIsOut) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 2});
    d.port.expect(data(0x02, text("abc"), {.control = 0}));
    d.port.expect(data(0x02, text("def")));
    EXPECT_EQ(6, d.write(text("abcdef")).result);  // exactly two packets, exactly two credits
    EXPECT_EQ(0, d.held());
    d.close();
  });
}

TEST(WriteCredit, GrantOfOneCostsARequestForEachPacket) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 0});
    for (const char* const part : {"abc", "def"}) {
      d.port.grants(0x02, 1);
      d.port.expect(data(0x02, text(part), {.control = 0}));
    }
    d.port.grants(0x02, 1);
    d.port.expect(data(0x02, text("g")));
    EXPECT_EQ(7, d.write(text("abcdefg")).result);
    d.close();
  });
}

TEST(WriteCredit, WaitsDoubleUpToTheMaximum) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    set_retry_timing(d.link, 1, 4, 25);
    EXPECT_THAT(refused_times(d, 6), ElementsAre(4, 8, 16, 25, 25, 25));
    granted(d);
    EXPECT_THAT(refused_times(d, 2), ElementsAre(4, 8));
    d.close();
  });
}

// The doubling may pass the maximum; only the sleep is held down to it.
TEST(WriteCredit, MaximumHoldsTheSleepAndNotTheDoubling) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    set_retry_timing(d.link, 1, 8, 20);
    EXPECT_THAT(refused_times(d, 3), ElementsAre(8, 16, 20));
    EXPECT_EQ(32u, d.link->creditWait.load());
    EXPECT_THAT(refused_times(d, 2), ElementsAre(20, 20));
    EXPECT_EQ(32u, d.link->creditWait.load());
    d.close();
  });
}

TEST(WriteCredit, WaitThatBeginsAtTheMaximumStaysThere) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    set_retry_timing(d.link, 1, 25, 25);
    EXPECT_THAT(refused_times(d, 3), ElementsAre(25, 25, 25));
    EXPECT_EQ(25u, d.link->creditWait.load());
    set_retry_timing(d.link, 1, 24, 25);
    EXPECT_THAT(refused_times(d, 3), ElementsAre(24, 25, 25));
    set_retry_timing(d.link, 1, 900, 25);
    EXPECT_THAT(refused_times(d, 2), ElementsAre(25, 25));
    d.close();
  });
}

TEST(WriteCredit, WaitStaysWithoutBackOff) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    EXPECT_THAT(refused_times(d, 4), ElementsAre(50, 50, 50, 50));
    set_retry_timing(d.link, 0, 7, 25);
    EXPECT_THAT(refused_times(d, 4), ElementsAre(7, 7, 7, 7));
    set_plain_wait(d.link, 999);
    EXPECT_THAT(refused_times(d, 3), ElementsAre(999, 999, 999));
    d.close();
  });
}

TEST(WriteCredit, CreditThatTheDeviceGaveUnaskedLeavesTheWaitAlone) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.credit = 0});
    set_retry_timing(d.link, 1, 4, 25);
    EXPECT_THAT(refused_times(d, 2), ElementsAre(4, 8));
    d.port.expect(credit(0x02)).answer(credit(0x02, 1)).answer(credit_reply(0x02));
    d.port.expect(credit_reply(0x02));
    EXPECT_EQ(0, d.query().result);
    EXPECT_EQ(1, d.held());
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);
    EXPECT_THAT(refused_times(d, 1), ElementsAre(16));
    d.close();
  });
}

TEST(WriteCredit, RefusalInTheMiddleSleepsOnceAndTellsWhatIsOut) {
  run_virtual_parallel([] {
    DataLink d(0x02, {.write_size = 9, .credit = 2});
    d.port.expect(data(0x02, text("abc"), {.control = 0}));
    d.port.expect(data(0x02, text("def"), {.control = 0}));
    d.port.grants(0x02, 0);
    const Called written = d.write(text("abcdefghi"));
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, written.result);
    EXPECT_EQ(6u, written.count);
    EXPECT_EQ(50u, written.ms);
    EXPECT_EQ(0, d.held());
    d.close();
  });
}

TEST(WriteCredit, RefusalOnAFlagSocketLeavesTheFlagOutOfTheCount) {
  run_virtual_parallel([] {
    DataLink d(0x22, {.write_size = 9, .credit = 1});
    d.port.expect(data(0x22, text("abc"), {.control = 0}));
    d.port.grants(0x22, 0);
    const Called written = d.write(text("abcd\x01"));
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, written.result);
    EXPECT_EQ(3u, written.count);
    d.close();
  });
}

// The sleep holds up whoever else wants the link.
TEST(WriteCredit, OtherCallsWaitForTheSleepsEnd) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.credit = 0});
    set_plain_wait(d.link, 300);
    d.port.grants(0x02, 0);
    auto writing = transact("writer", [&] { return d.write(text("x")); });
    test::sleep_ms(100);
    EXPECT_FALSE(writing.ended());
    const Called fetched = d.fetch(10);
    EXPECT_EQ(0, fetched.result);
    EXPECT_EQ(200u, fetched.ms);
    EXPECT_EQ(vlp::XDLT_ERR_NOT_READY, writing.get().result);
  });
}

// Only the 0x50 channel gives credit along with its packets: here both packets of a message
// carry what the buffer has room for, and what was given already counts.
TEST(WriteCredit, PrintSocketGivesTheDeviceCreditForItsRoom) {
  run_virtual_parallel([] {
    DataLink d(0x50, {.write_size = 9, .read_size = 0x20000 / 4 + 6, .credit = 2});
    d.port.expect(data(0x50, text("abc"), {.credit = 4, .control = 0}));
    d.port.expect(data(0x50, text("d")));
    EXPECT_EQ(4, d.write(text("abcd")).result);
    EXPECT_EQ(4, d.given());
    d.close();
  });
}

TEST(WriteCredit, CreditOfAPacketThatFailedIsNotGiven) {
  run_virtual_parallel([] {
    DataLink d(0x50, {.read_size = 0x20000 / 4 + 6, .credit = 1});
    d.port.expect(data(0x50, text("x"), {.credit = 4})).fails();
    EXPECT_EQ(vlp::XDLT_ERR_PORT_WRITE, d.write(text("x")).result);
    EXPECT_EQ(0, d.given());
    EXPECT_EQ(1, d.held());
    d.close();
  });
}

}  // namespace
}  // namespace d4_test
