// When the read thread reads, how it waits, and what it carries from one wait to the next.

#include <gmock/gmock.h>

#include "d4/read_thread.h"
#include "tests/d4/bare_link.h"
#include "tests/d4/data_link.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using test::settle;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// When the reads from the nth on began.
std::vector<std::uint64_t> read_times(const ScriptedPort& port, std::size_t from) {
  std::vector<std::uint64_t> times;
  const std::vector<Transfer> reads = port.reads();
  for (std::size_t at = from; at < reads.size(); ++at) times.push_back(reads[at].began_ms);
  return times;
}

// Ten reads without a pause, then pauses of 100, 200 and 300 ms after ten reads each,
// and of 300 from there on; until a limit.
std::vector<std::uint64_t> patient_times(std::uint64_t began, std::uint64_t until) {
  std::vector<std::uint64_t> times;
  std::uint64_t now = began;
  for (std::uint64_t count = 1; now <= until; ++count) {
    times.push_back(now);
    if (count >= 30) {
      now += 300;
    } else if (count >= 20) {
      now += 200;
    } else if (count >= 10) {
      now += 100;
    }
  }
  return times;
}

TEST(ReadThreadPass, NothingIsReadWhileNobodyWaits) {
  run_virtual_schedules(3, [] {
    DataLink d(0x02, {.credit = 1});
    settle();
    const std::size_t reads = d.port.read_count();
    d.port.say(data(0x02, text("abc")));
    test::sleep_ms(40'000'000);
    d.port.expect(data(0x02, text("x")));
    EXPECT_EQ(1, d.write(text("x")).result);  // asks for nothing, so nothing is read
    EXPECT_EQ(0, d.fetch(10).result);
    test::sleep_ms(40'000'000);
    EXPECT_EQ(reads, d.port.read_count());
  });
}

TEST(ReadThreadPass, LooksOnceADay) {
  run_virtual_parallel([] {
    DataLink d;
    d.let_device_send(1);
    const std::size_t reads = d.port.read_count();
    test::sleep_ms(86'399'999);
    settle();
    EXPECT_EQ(reads, d.port.read_count());
    d.port.say(data(0x02, text("abc")));
    test::sleep_ms(2);
    EXPECT_EQ(reads + 2, d.port.read_count());
    EXPECT_EQ(text("abc"), d.fetch(10).bytes);
    d.close();
  });
}

TEST(ReadThreadPass, EmptyReadsOfAReplyWaitAreMoreAndMoreApart) {
  run_virtual_schedules(3, [] {
    DataLink d(0x02, {.credit = 0});
    const std::size_t from = d.port.read_count();
    const std::uint64_t began = elapsed_ms();
    d.port.expect(credit_request(0x02));
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
    test::sleep_ms(10'000);
    // The last one finds that nobody waits any more.
    EXPECT_THAT(read_times(d.port, from), ElementsAreArray(patient_times(began, began + 11'100)));
  });
}

TEST(ReadThreadPass, FailedReadsAreAsFarApartAsEmptyOnes) {
  run_virtual_schedules(3, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.fail_reads_from(1);
    const std::size_t from = d.port.read_count();
    const std::uint64_t began = elapsed_ms();
    d.port.expect(credit_request(0x02));
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
    EXPECT_THAT(read_times(d.port, from), ElementsAreArray(patient_times(began, began + 10'999)));
    EXPECT_EQ(0, d.link->readStatus.load());
  });
}

TEST(ReadThreadPass, PauseBeginsAnewBehindAPacket) {
  run_virtual_schedules(3, [] {
    DataLink d(0x02, {.credit = 0});
    const std::size_t from = d.port.read_count();
    const std::uint64_t began = elapsed_ms();
    d.port.expect(credit_request(0x02)).answer(credit(0x02, 0), after_ms(1'500));
    d.port.expect(credit_reply(0x02));
    EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
    // Found by the read at 1600 ms; another looks for the rest of what a reply would have.
    std::vector<std::uint64_t> expected = patient_times(began, began + 1'600);
    expected.push_back(began + 1'600);
    const std::vector<std::uint64_t> behind = patient_times(began + 1'600, began + 10'999);
    expected.insert(expected.end(), behind.begin(), behind.end());
    EXPECT_THAT(read_times(d.port, from), ElementsAreArray(expected));
  });
}

TEST(ReadThreadPass, ReplyBehindFailedReadsIsFound) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    for (unsigned nth = 1; nth <= 9; ++nth) d.port.fail_read(nth);
    d.port.grants(0x02, 1);
    d.port.expect(data(0x02, text("x")));
    const Called written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(0u, written.ms);
  });
}

TEST(ReadThreadPass, FailedReadEndsASizeQueryAsAnEmptyOneDoes) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.fail_read(1);
    const Called asked = d.query();
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(0u, asked.ms);
    d.close();
  });
}

// --- Packets and reads that don't match --------------------------------------------------------

TEST(ReadThreadPass, ReplyInPiecesIsPutTogether) {
  for (std::uint32_t first = 1; first < 12; ++first) {
    run_virtual_parallel([&] {
      DataLink d(0x02, {.credit = 0});
      d.port.expect(credit_request(0x02))
          .answer(credit_request_reply(0x02, 1), at_once(), {first, 1});
      d.port.expect(data(0x02, text("x")));
      EXPECT_EQ(1, d.write(text("x")).result);
      d.close();
    });
  }
}

TEST(ReadThreadPass, TwoPacketsInOneReadAreBothTaken) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    d.port.reads_span_answers(true);
    d.port.expect(credit_request(0x02))
        .answer(joined({credit(0x02, 5), credit_request_reply(0x02, 1)}));
    d.port.expect(credit_reply(0x02));
    d.port.expect(data(0x02, text("x")));
    const Called written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(0u, written.ms);
    EXPECT_EQ(5, d.held());
    d.close();
  });
}

TEST(ReadThreadPass, DataBeforeTheAwaitedReplyIsStored) {
  run_virtual_schedules(10, [] {
    DataLink d(0x02, {.credit = 0});
    d.let_device_send(1);
    d.port.reads_block();
    d.port.expect(credit_request(0x02))
        .answer(data(0x02, text("abcdefgh")), after_ms(5))
        .answer(credit_request_reply(0x02, 1), after_ms(9));
    d.port.expect(data(0x02, text("x")));
    const Called written = d.write(text("x"));
    EXPECT_EQ(1, written.result);
    EXPECT_EQ(9u, written.ms);
    EXPECT_EQ(text("abcdefgh"), d.fetch(100).bytes);
  });
}

// 16 bytes are fetched for an OpenChannel reply: four of payload and the reply's header come
// along, and ten more complete it.
TEST(ReadThreadPass, FetchMayReachIntoThePacketBehind) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(1);
    const std::size_t from = d.port.read_count();
    d.port.reads_span_answers(true);
    d.port.expect(open_channel(0x40, 4102, 512))
        .answer(data(0x02, text("abcd")))
        .answer(open_channel_reply(0x40, 512, 512, 1));
    EXPECT_EQ(0, open_channel_on(d.link, 0x40).result);
    settle();
    const std::vector<Transfer> reads = d.port.reads();
    ASSERT_LE(from + 2, reads.size());
    EXPECT_EQ(16u, reads[from].asked);
    EXPECT_EQ(16u, reads[from].moved);
    EXPECT_EQ(10u, reads[from + 1].asked);
    EXPECT_EQ(10u, reads[from + 1].moved);
    EXPECT_EQ(text("abcd"), d.fetch(100).bytes);
    closed_channel(d.port, d.link, 0x40);
    d.close();
  });
}

// A wait that is over before its reply, with the first byte of a data packet fetched along with
// the Credit before it: the thread is busy with the answer when the waiter gives up.
void leave_one_byte(DataLink& d, const Bytes& next) {
  d.let_device_send(1);
  d.port.reads_span_answers(true);
  d.port.expect(credit_request(0x02)).answer(credit(0x02, 0)).answer(cut(next, 1));
  d.port.expect(credit_reply(0x02)).takes_ms(11'500);
  EXPECT_EQ(vlp::XDLT_ERR_REPLY_TIMEOUT, d.write(text("x")).result);
  test::sleep_ms(1'000);
  EXPECT_EQ(0u, d.port.unread());
}

TEST(ReadThreadPass, FetchedBytesAreKeptForTheNextWait) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    const Bytes packet = data(0x02, text("abcdef"));
    leave_one_byte(d, packet);
    const std::size_t from = d.port.read_count();
    EXPECT_EQ(6, d.query_that_brings(Bytes(packet.begin() + 1, packet.end())).result);
    EXPECT_EQ(5u, d.port.reads()[from].asked);
    EXPECT_EQ(text("abcdef"), d.fetch(100).bytes);
  });
}

TEST(ReadThreadPass, FetchedBytesAreForgottenWithTheLink) {
  run_virtual_schedules(5, [] {
    DataLink d(0x02, {.credit = 0});
    leave_one_byte(d, data(0x02, text("abcdef")));
    // Its reply is misread for the byte before it.
    d.port.expect(close_channel(0x02)).answer(close_channel_reply(0x02));
    d.port.expect(error_packet(0x80)).at_any_time();
    EXPECT_GT(0, d.close_channel().result);
    EXPECT_FALSE(vlp::XdltPortIsInUse(d.port.handle()));
    d.link = opened_link(d.port);
    opened_channel(d.port, d.link, 0x02);
    settle();
    closed_channel(d.port, d.link, 0x02);
    closed_link(d.port, d.link);
  });
}

// --- Wake-ups --------------------------------------------------------------------------------

// Whoever begins to wait just as the thread is done with the last one is served too.
TEST(ReadThreadPass, NoWaiterIsForgotten) {
  run_virtual_schedules(40, [] {
    DataLink d(0x02, {.credit = 0});
    for (int round = 0; round < 10; ++round) {
      d.port.grants(0x02, 1);
      d.port.expect(data(0x02, text("x")));
      EXPECT_EQ(0u, d.write(text("x")).ms);
      d.port.expect(credit(0x02)).answer(credit_reply(0x02)).answer(data(0x02, text("y")));
      EXPECT_EQ(0u, d.query().ms);
      settle();
      EXPECT_EQ(text("y"), d.fetch(10).bytes);
    }
    d.close();
  });
}

TEST(ReadThreadPass, WaitForASocketWithoutAChannelIsDropped) {
  run_virtual_parallel([] {
    DataLink d;
    d.link->waitSocket.store(0x33);
    SetEvent(d.link->wakeEvent.Get());
    settle();
    EXPECT_EQ(0, d.link->waitSocket.load());
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(d.link->dataEvent.Get(), 0));
    d.close();
  });
}

// --- Stopping --------------------------------------------------------------------------------

TEST(ReadThreadPass, ThreadThatIsStoppedBeforeItBeginsReadsNothing) {
  run_virtual_parallel([] {
    BareLink bare;
    bare.link.readStatus.store(vlp::XDLT_ERR_MALFORMED);
    bare.link.threadCommand.store(vlp::kThreadStop);
    EXPECT_EQ(0u, vlp::ReadThread(bare.link));
    EXPECT_EQ(0u, elapsed_ms());
    EXPECT_EQ(0u, bare.port.read_count());
    EXPECT_EQ(0, bare.link.readStatus.load());
  });
}

TEST(ReadThreadPass, ThreadThatIsWokenToStopReadsNothing) {
  run_virtual_schedules(5, [] {
    BareLink bare;
    bare.link.threadCommand.store(vlp::kThreadRun);
    auto thread = test::spawn("read thread", [&] { vlp::ReadThread(bare.link); });
    settle();
    bare.link.threadCommand.store(vlp::kThreadStop);
    SetEvent(bare.link.wakeEvent.Get());
    thread.join();
    EXPECT_EQ(0u, elapsed_ms());
    EXPECT_EQ(0u, bare.port.read_count());
  });
}

TEST(ReadThreadPass, StopTakesEffectWhenTheReadUnderWayReturns) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_wait(12'000);
    EXPECT_EQ(0, d.query().result);  // after 11 s; the read goes on
    ASSERT_TRUE(d.port.read_is_inside());
    const std::size_t reads = d.port.read_count();
    EXPECT_EQ(1'000u, timed([&] { d.engine.end(); }).ms);
    EXPECT_EQ(reads, d.port.read_count());
  });
}

TEST(ReadThreadPass, PacketOfTheLastReadIsNoLongerAnswered) {
  run_virtual_schedules(5, [] {
    DataLink d;
    d.let_device_send(1);
    d.port.reads_block();
    d.port.say(credit_request(0x02, 9), at_ms(elapsed_ms() + 12'000));
    EXPECT_EQ(0, d.query().result);
    const std::size_t writes = d.port.write_count();
    EXPECT_EQ(1'000u, timed([&] { d.engine.end(); }).ms);
    EXPECT_EQ(writes, d.port.write_count());
  });
}

}  // namespace
}  // namespace d4_test
