// Waiters and their releases by themselves, without a port or a read thread.

#include <gtest/gtest.h>

#include "d4/waiters.h"
#include "support/waits.h"
#include "tests/d4/control_forms.h"

namespace d4_test {
namespace {

using test::elapsed_ms;
using test::run_virtual_parallel;
using test::run_virtual_schedules;
using vlp::ControlPacket;

struct Waiters {
  Waiters() {
    for (vlp::KernelHandle* const event : {&link.wakeEvent, &link.replyEvent, &link.dataEvent}) {
      *event = vlp::CreateAutoResetEvent();
    }
  }
  bool reply_is_signalled() { return vlp::IsSignalled(link.replyEvent.Get(), 0); }
  bool data_is_signalled() { return vlp::IsSignalled(link.dataEvent.Get(), 0); }
  bool wake_is_signalled() { return vlp::IsSignalled(link.wakeEvent.Get(), 0); }

  vlp::XdltLink link;
};

ControlPacket granted(std::uint16_t credit) {
  const Bytes bytes = credit_request_reply(0x02, credit);
  return ControlPacket(vlp::Bytes(bytes));
}

TEST(Waiters, AReplyGoesToItsWaiterOnly) {
  run_virtual_parallel([] {
    Waiters all;
    EXPECT_FALSE(DeliverReply(all.link, granted(1)));
    all.link.awaitedReply.store(0x83);
    EXPECT_FALSE(DeliverReply(all.link, granted(1)));
    EXPECT_EQ(0x83, all.link.awaitedReply.load());
    EXPECT_EQ(0u, all.link.reply.Size());
    EXPECT_FALSE(all.reply_is_signalled());
    all.link.awaitedReply.store(0x84);
    EXPECT_TRUE(DeliverReply(all.link, granted(1)));
    EXPECT_EQ(0, all.link.awaitedReply.load());
    EXPECT_EQ(1, all.link.reply.Big16At(10));
    EXPECT_TRUE(all.reply_is_signalled());
    EXPECT_FALSE(DeliverReply(all.link, granted(2))) << "once";
    EXPECT_EQ(1, all.link.reply.Big16At(10));
  });
}

TEST(Waiters, AReplyIsAwaitedToItsLimit) {
  struct Case {
    std::uint32_t comes;
    bool taken;
  };
  for (const Case& one : {Case{0, true}, Case{10'999, true}, Case{11'001, false}}) {
    run_virtual_parallel([&one] {
      Waiters all;
      all.link.awaitedReply.store(0x84);
      auto device = test::spawn("device", [&] {
        test::sleep_ms(one.comes);
        EXPECT_EQ(one.taken, DeliverReply(all.link, granted(5)));
      });
      ControlPacket got;
      EXPECT_EQ(one.taken ? 0 : -55, AwaitReply(all.link, 0x84, &got));
      EXPECT_EQ(std::min(one.comes, 11'000u), elapsed_ms());
      EXPECT_EQ(one.taken ? 12u : 0u, got.Size());
      EXPECT_EQ(0, all.link.awaitedReply.load());
      EXPECT_TRUE(all.wake_is_signalled());
      device.join();
      EXPECT_FALSE(all.reply_is_signalled()) << "nothing is left for the next";
    });
  }
}

TEST(Waiters, AReplyAtTheVeryLimitIsTakenOrDropped) {
  run_virtual_schedules(100, [] {
    Waiters all;
    all.link.awaitedReply.store(0x84);
    bool delivered = false;
    auto device = test::spawn("device", [&] {
      test::sleep_ms(11'000);
      delivered = DeliverReply(all.link, granted(5));
    });
    ControlPacket got;
    const std::int32_t result = AwaitReply(all.link, 0x84, &got);
    device.join();
    EXPECT_EQ(delivered ? 0 : -55, result);
    EXPECT_EQ(delivered ? 5 : 0, got.Big16At(10));
    EXPECT_EQ(0, all.link.awaitedReply.load());
    EXPECT_FALSE(all.reply_is_signalled());
  });
}

TEST(Waiters, AReplyBetweenTheTimeOutAndItsNoticeIsTaken) {
  run_virtual_parallel([] {
    Waiters all;
    all.link.awaitedReply.store(0x84);
    auto device = test::spawn("device", [&] {
      test::sleep_ms(10'999);
      // The waiter's time runs out, and it can't give up before the reply is there.
      const vlp::LockGuard held_up(all.link.waitersLock);
      test::sleep_ms(2);
      EXPECT_TRUE(DeliverReply(all.link, granted(5)));
    });
    ControlPacket got;
    EXPECT_EQ(0, AwaitReply(all.link, 0x84, &got));
    EXPECT_EQ(11'001u, elapsed_ms());
    EXPECT_EQ(5, got.Big16At(10));
    device.join();
    EXPECT_FALSE(all.reply_is_signalled()) << "nothing is left for the next";
  });
}

TEST(Waiters, ExpectingAReplyForgetsEarlierSignals) {
  run_virtual_parallel([] {
    Waiters all;
    vlp::Signal(all.link.replyEvent.Get());
    ExpectReply(all.link);
    EXPECT_FALSE(all.reply_is_signalled());
  });
}

TEST(Waiters, TheEndOfReadingReleasesBothAndTellsWhy) {
  run_virtual_parallel([] {
    Waiters all;
    all.link.awaitedReply.store(0x84);
    auto data_waiter = test::spawn("data", [&] {
      AwaitData(all.link, 0x02);
      EXPECT_EQ(100u, elapsed_ms());
    });
    auto reader = test::spawn("reader", [&] {
      test::sleep_ms(100);
      ReleaseAllWaiters(all.link, -51);
    });
    ControlPacket got;
    EXPECT_EQ(-51, AwaitReply(all.link, 0x84, &got));
    EXPECT_EQ(100u, elapsed_ms());
    data_waiter.join();
    reader.join();
    EXPECT_EQ(0, all.link.waitSocket.load());
    EXPECT_EQ(-51, all.link.readStatus.load());
  });
}

TEST(Waiters, TheEndOfReadingSignalsNobodyWhoDoesNotWait) {
  run_virtual_parallel([] {
    Waiters all;
    ReleaseAllWaiters(all.link, -80);
    EXPECT_FALSE(all.reply_is_signalled());
    EXPECT_FALSE(all.data_is_signalled());
    EXPECT_EQ(-80, all.link.readStatus.load());
  });
}

TEST(Waiters, DataIsAwaitedToItsLimit) {
  for (const std::uint32_t comes : {0u, 1u, 10'999u, 11'001u}) {
    run_virtual_parallel([comes] {
      Waiters all;
      auto reader = test::spawn("reader", [&] {
        test::sleep_ms(comes);
        test::settle();
        EXPECT_EQ(comes < 11'000 ? 0x02 : 0, all.link.waitSocket.load());
        ReleaseDataWaiter(all.link, 0x02);
      });
      AwaitData(all.link, 0x02);
      EXPECT_EQ(std::min(comes, 11'000u), elapsed_ms());
      EXPECT_EQ(0, all.link.waitSocket.load());
      EXPECT_TRUE(all.wake_is_signalled());
      reader.join();
      EXPECT_FALSE(all.data_is_signalled());
    });
  }
}

TEST(Waiters, DataOfAnotherSocketReleasesNobody) {
  run_virtual_parallel([] {
    Waiters all;
    all.link.waitSocket.store(0x02);
    ReleaseDataWaiter(all.link, 0x50);
    EXPECT_EQ(0x02, all.link.waitSocket.load());
    EXPECT_FALSE(all.data_is_signalled());
    DropDataWait(all.link, 0x50);
    EXPECT_EQ(0x02, all.link.waitSocket.load());
    DropDataWait(all.link, 0x02);
    EXPECT_EQ(0, all.link.waitSocket.load());
    EXPECT_FALSE(all.data_is_signalled()) << "dropped without being told";
  });
}

TEST(Waiters, AnOldSignalOfDataIsForgotten) {
  run_virtual_parallel([] {
    Waiters all;
    vlp::Signal(all.link.dataEvent.Get());
    AwaitData(all.link, 0x02);
    EXPECT_EQ(11'000u, elapsed_ms());
  });
}

}  // namespace
}  // namespace d4_test
