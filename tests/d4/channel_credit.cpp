// Every event that changes what may be sent or received on a channel.

#include <gmock/gmock.h>

#include "support/waits.h"
#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::run_virtual_parallel;
using test::run_virtual_schedules;

// --- What may be sent ---

TEST(CreditHeld, IsCountedThroughAConversation) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.write_size = 10, .credit = 2}).credit_given(0x02);
    up.port.expect(data(0x02, text("abcd"), {.control = 0}));
    up.port.expect(data(0x02, text("e")));
    EXPECT_EQ(5, write(up.link, 0x02, text("abcde")).result);
    EXPECT_EQ(0, up.held(0x02)) << "one for each packet, whatever its size";
    up.port.say(data(0x02, text("x"), {.credit = 3}));
    EXPECT_EQ(1, size_query(up.link, 0x02).result);
    EXPECT_EQ(3, up.held(0x02)) << "the data's header";
    up.port.expect(credit_reply(0x02)).at_any_time();
    up.port.say(credit(0x02, 0x0104));
    EXPECT_EQ(1, fetch(up.link, 0x02, 9).result);
    up.port.takes_credit(0x02);
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
    EXPECT_EQ(0x0107, up.held(0x02)) << "the device's Credit";
  });
}

TEST(CreditHeld, IsAskedForOnlyWhenThereIsNone) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.write_size = 7, .credit = 1});
    up.port.expect(data(0x02, text("a"), {.control = 0}));
    up.port.grants(0x02, 0x0102);
    up.port.expect(data(0x02, text("b"), {.control = 0}));
    up.port.expect(data(0x02, text("c")));
    EXPECT_EQ(3, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(0x0100, up.held(0x02));
  });
}

TEST(CreditHeld, OfADataPacketAboveTheLargestNumberLosesTheLink) {
  struct Case {
    std::uint16_t held;
    std::uint8_t more;
    std::int32_t result;
    std::int32_t sum;
  };
  for (const Case& one : {Case{0xFF00, 0xFF, 1, 0xFFFF}, Case{0xFFFF, 0, 1, 0xFFFF},
                          Case{0xFFFF, 1, -86, 0x10000}, Case{0xFF01, 0xFF, -86, 0x10000}}) {
    run_virtual_parallel([&one] {
      OpenLink up;
      up.channel(0x02, {.credit = one.held}).credit_given(0x02);
      up.port.say(data(0x02, text("x"), {.credit = one.more}));
      EXPECT_EQ(one.result, size_query(up.link, 0x02).result);
      EXPECT_EQ(one.sum, up.held(0x02));
    });
  }
}

// A reply's grant may lift it there; the next packet of data finds it.
TEST(CreditHeld, AboveAllNumbersLosesTheLinkEvenWithAPacketOfNoCredit) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02, {.credit = 0xFFFF}).credit_given(0x02);
    vlp::FindChannel(*up.link, 0x02)->sendCredit.store(0x10000);
    up.port.say(data(0x02, text("x")));
    EXPECT_EQ(-86, size_query(up.link, 0x02).result);
  });
}

TEST(CreditHeld, ThatArrivesWithAPacketServesTheNextWrite) {
  run_virtual_schedules(32, [] {
    OpenLink up;
    up.channel(0x02, {.credit = 0}).credit_given(0x02);
    up.port.say(data(0x02, text("x"), {.credit = 1}));
    EXPECT_EQ(1, size_query(up.link, 0x02).result);
    up.port.expect(data(0x02, text("abc")));
    EXPECT_EQ(3, write(up.link, 0x02, text("abc")).result);
    EXPECT_EQ(0, up.held(0x02));
  });
}

// The write counts down while the read thread counts up.
TEST(CreditHeld, LosesNothingToBothSidesAtOnce) {
  run_virtual_schedules(100, [] {
    OpenLink up;
    up.channel(0x02, {.write_size = 7, .credit = 10}).channel(0x50).credit_given(0x50);
    up.port.expect(credit_reply(0x02)).times(5).at_any_time();
    for (int i = 0; i < 5; ++i) up.port.say(credit(0x02, 3));
    for (const char letter : std::string("abcdefgh")) {
      const std::uint8_t end = letter == 'h' ? 1 : 0;
      up.port.expect(data(0x02, text(std::string(1, letter)), {.control = end}));
    }
    auto waker = test::spawn("waker", [&] {
      for (int i = 0; i < 5; ++i) {
        vlp::Signal(up.link->wakeEvent.Get());
        Sleep(0);
      }
    });
    EXPECT_EQ(8, write(up.link, 0x02, text("abcdefgh")).result);
    waker.join();
    test::settle();
    EXPECT_EQ(0, size_query(up.link, 0x50).result);
    EXPECT_EQ(10 - 8 + 15, up.held(0x02));
  });
}

// --- What the device may send ---

TEST(CreditGiven, CountsFromTheWriteOnNotFromTheReply) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.takes_credit(0x02, after_ms(500));
    auto query = transact("query", [&] { return size_query(up.link, 0x02); });
    test::settle();
    EXPECT_EQ(1, up.given(0x02));
    EXPECT_EQ(0, query.get().result);
    EXPECT_EQ(1, up.given(0x02));
  });
}

TEST(CreditGiven, IsThereForDataRightBehindTheCreditPacket) {
  for (const bool in_one_read : {false, true}) {
    run_virtual_schedules(100, [in_one_read] {
      OpenLink up;
      up.channel(0x02);
      up.port.reads_span_answers(in_one_read);
      up.port.expect(credit(0x02)).answer(credit_reply(0x02)).answer(data(0x02, text("abc")));
      EXPECT_EQ(3, size_query(up.link, 0x02).result);
      EXPECT_EQ(0, up.given(0x02));
      EXPECT_EQ(text("abc"), fetch(up.link, 0x02, 10).bytes);
    });
  }
}

TEST(CreditGiven, IsThereForDataThatOvertakesTheReply) {
  run_virtual_schedules(100, [] {
    OpenLink up;
    up.channel(0x02);
    up.port.expect(credit(0x02)).answer(data(0x02, text("abc"))).answer(credit_reply(0x02));
    EXPECT_EQ(3, size_query(up.link, 0x02).result);
    EXPECT_EQ(0, up.given(0x02));
    EXPECT_EQ(0, up.status());
  });
}

TEST(CreditGiven, IsUsedUpByOnePacketEach) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02).channel(0x50).credit_given(0x50);
    up.port.expect(credit_request_reply(0x02, 2));
    up.port.say(credit_request(0x02, 2));
    EXPECT_EQ(0, size_query(up.link, 0x50).result);
    EXPECT_EQ(2, up.given(0x02));
    for (int left = 1; left >= 0; --left) {
      up.port.say(data(0x02, text("x")));
      EXPECT_EQ(0, size_query(up.link, 0x50).result);
      EXPECT_EQ(left, up.given(0x02));
    }
    up.port.say(data(0x02, text("x")));
    EXPECT_EQ(-81, size_query(up.link, 0x50).result);
    EXPECT_EQ(0, up.given(0x02));
  });
}

TEST(CreditGiven, DoesNotCountACreditThatDidNotGoOut) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.expect(credit(0x02)).fails();
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
    EXPECT_EQ(0, up.given(0x02));
    up.port.expect(credit(0x02)).is_short_by(1);
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
    EXPECT_EQ(0, up.given(0x02));
    up.credit_given(0x02);
    EXPECT_EQ(1, up.given(0x02));
  });
}

TEST(CreditGiven, StandsThoughTheDeviceRefusesIt) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x02);
    up.port.expect(credit(0x02)).answer(credit_reply(0x02, 7));
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
    EXPECT_EQ(1, up.given(0x02));
    // So it isn't given a second time.
    EXPECT_EQ(0, size_query(up.link, 0x02).result);
  });
}

// --- Room ---

TEST(CreditRoom, DecidesWhetherASizeQueryGivesCredit) {
  struct Case {
    std::uint16_t read_size;
    bool gives;
  };
  // Of a buffer of 131072 bytes: 131072, 65536, 43690 and 2 payloads.
  for (const Case& one : {Case{7, false}, Case{8, false}, Case{9, true}, Case{65535, true}}) {
    run_virtual_parallel([&one] {
      OpenLink up;
      up.channel(0x02, {.read_size = one.read_size});
      if (one.gives) up.port.takes_credit(0x02);
      EXPECT_EQ(0, size_query(up.link, 0x02).result) << one.read_size;
      EXPECT_EQ(one.gives ? 1 : 0, up.given(0x02));
    });
  }
}

TEST(CreditRoom, ShrinksByWhatWaits) {
  run_virtual_parallel([] {
    OpenLink up;
    up.channel(0x40, {.write_size = 4102, .read_size = 512});
    // Eight payloads of 506 fill 4048 bytes.
    for (unsigned packets = 1; packets <= 8; ++packets) {
      up.port.expect(credit(0x40)).answer(credit_reply(0x40)).answer(data(0x40, filled(506)));
      size_query(up.link, 0x40);
      test::settle();
      EXPECT_EQ(packets * 506, up.record(0x40)->rxTail.load());
      EXPECT_EQ(0, up.given(0x40));
    }
    const std::size_t writes = up.port.write_count();
    EXPECT_EQ(4048, size_query(up.link, 0x40).result);
    EXPECT_EQ(505, fetch(up.link, 0x40, 505).result);
    EXPECT_EQ(3543, size_query(up.link, 0x40).result);
    EXPECT_EQ(writes, up.port.write_count());
    EXPECT_EQ(1, fetch(up.link, 0x40, 1).result);
    up.port.takes_credit(0x40);
    EXPECT_EQ(3542, size_query(up.link, 0x40).result);
    EXPECT_EQ(1, up.given(0x40));
  });
}

}  // namespace
}  // namespace d4_test
