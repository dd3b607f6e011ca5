// Status, commands and through commands of one printer on several threads.

#include "platform/kernel/scenario.h"
#include "tests/operations/exchange_fixture.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using operations_test::BdcProbe;
using operations_test::ExchangeTest;
using operations_test::Lanes;
using operations_test::TextItem;

constexpr std::uint8_t kCommand[] = {'c', 'm', 'd'};

class ExchangeThreads : public ExchangeTest {
 protected:
  void OpenSlow(const Lanes& lanes = {{ChnlKindBdc}}, const std::string& setting = "") {
    Open(lanes, setting);
    Answer("GetStatus", TextItem("1"));
    Answer("SendCommand", "reply" + BdcProbe());
    far_side::plug(
        {.port = "USB001", .device_id = far_side::bytes_of("CMD:BDC;"), .latency_ms = 500});
  }

  // Each with a room of its own.
  std::int32_t AskNow() {
    std::uint8_t room[64];
    std::uint32_t length = sizeof(room);
    return printer_->GetStatus(ChnlKindBdc, room, &length);
  }
  std::int32_t SendNow() {
    std::uint8_t room[64];
    std::uint32_t length = sizeof(room);
    return printer_->SendCommand(ChnlKindBdc, kCommand, sizeof(kCommand), room, &length);
  }
  std::int32_t SendThroughNow() {
    return printer_->SendThroughCommand(ChnlKindBdc, kCommand, sizeof(kCommand));
  }
};

// The locks are the provider's to take; no operation waits for one by itself.
TEST_F(ExchangeThreads, NeitherPrinterLockIsTaken) {
  test::run_virtual_parallel([&] {
    OpenSlow();
    {
      const LockGuard send(printer_->sendLock);
      const LockGuard status(printer_->statusLock);
      auto other = test::spawn("other", [&] {
        EXPECT_EQ(0, AskNow());
        EXPECT_EQ(0, SendNow());
        EXPECT_EQ(0, SendThroughNow());
        EXPECT_EQ(1500u, test::elapsed_ms());
      });
      other.join();
    }
    printer_.reset();
  });
}

// While the spooler works, a thread holds the lock of the exchange and none besides.
TEST_F(ExchangeThreads, OneLockIsHeldAcrossTheExchange) {
  test::run_virtual_parallel([&] {
    OpenSlow();
    for (const auto& work : {std::function<std::int32_t()>([&] { return AskNow(); }),
                             std::function<std::int32_t()>([&] { return SendNow(); }),
                             std::function<std::int32_t()>([&] { return SendThroughNow(); })}) {
      auto other = test::spawn("other", [&] { EXPECT_EQ(0, work()); });
      test::settle();
      EXPECT_EQ(1u, platform::locks_held_by(other.id()).size());
      other.join();
      EXPECT_FALSE(platform::any_lock_held());
    }
    printer_.reset();
  });
}

TEST_F(ExchangeThreads, ThroughCommandDoesntWaitForTheLockOfAnother) {
  test::run_virtual_parallel([&] {
    OpenSlow();
    auto send = test::spawn("send", [&] {
      const LockGuard held(printer_->sendLock);
      EXPECT_EQ(0, SendNow());
      test::sleep_ms(5000);
    });
    test::settle();
    // Behind the exchange under way, not behind what its caller does with the lock.
    EXPECT_EQ(0, SendThroughNow());
    EXPECT_EQ(1000u, test::elapsed_ms());
    send.join();
    printer_.reset();
  });
}

TEST_F(ExchangeThreads, YoungStatusIsGivenBesideACommandUnderWay) {
  test::run_virtual_parallel([&] {
    OpenSlow();
    EXPECT_EQ(0, AskNow());
    auto send = test::spawn("send", [&] {
      const LockGuard held(printer_->sendLock);
      EXPECT_EQ(0, SendNow());
      EXPECT_EQ(1000u, test::elapsed_ms());
    });
    test::settle();
    {
      const LockGuard held(printer_->statusLock);
      EXPECT_EQ(0, AskNow());
      EXPECT_EQ(500u, test::elapsed_ms());
    }
    EXPECT_FALSE(send.ended());
    send.join();
    printer_.reset();
  });
}

// Only the exchanges with the spooler come one after the other.
TEST_F(ExchangeThreads, StatusThatMustBeAskedForWaitsForTheExchangeUnderWay) {
  test::run_virtual_parallel([&] {
    OpenSlow();
    auto send = test::spawn("send", [&] {
      const LockGuard held(printer_->sendLock);
      EXPECT_EQ(0, SendNow());
      EXPECT_EQ(500u, test::elapsed_ms());
    });
    test::settle();
    EXPECT_EQ(0, AskNow());
    EXPECT_EQ(1000u, test::elapsed_ms());
    send.join();
    EXPECT_EQ(2u, Batches());
    printer_.reset();
  });
}

// Two commands under the lock: each gets its own reply by the length protocol.
TEST_F(ExchangeThreads, CommandsUnderTheLockKeepTheirReplies) {
  test::run_virtual_schedules(10, [&] {
    Open({{0x100, 0x0003}});
    Answer("SendCommand", "reply");
    const auto both_calls = [&](const std::string& command) {
      const LockGuard held(printer_->sendLock);
      const far_side::Bytes bytes = far_side::bytes_of(command);
      const auto size = static_cast<std::uint32_t>(bytes.size());
      std::uint32_t length = 0;
      EXPECT_EQ(VLPER_BUFFERSIZE,
                printer_->SendCommand(0x100, bytes.data(), size, nullptr, &length));
      std::vector<std::uint8_t> room(length);
      EXPECT_EQ(0, printer_->SendCommand(0x100, bytes.data(), size, room.data(), &length));
      EXPECT_EQ(far_side::bytes_of("reply"), room);
    };
    auto other = test::spawn("other", [&] { both_calls("one"); });
    both_calls("two");
    other.join();
    EXPECT_EQ(2u, Batches());
    printer_.reset();
  });
}

// Each item is whole, whatever is read meanwhile.
TEST_F(ExchangeThreads, StatusIsWholeBesideOtherReadings) {
  const std::string items[] = {TextItem("1"), TextItem(std::string(300, 'x'))};
  test::run_virtual_schedules(20, [&] {
    Open({{ChnlKindBdc}}, "LPT_StatusNoChkTime=0");
    Answer("GetStatus", items[0]);
    std::vector<test::TestThread> threads;
    threads.reserve(3);
    for (int number = 0; number < 3; ++number) {
      threads.push_back(test::spawn("status", [&] {
        for (int turn = 0; turn < 5; ++turn) {
          std::uint8_t room[512];
          std::uint32_t length = sizeof(room);
          EXPECT_EQ(0, printer_->GetStatus(ChnlKindBdc, room, &length));
          const std::string item(room, room + length);
          EXPECT_TRUE(item == items[0] || item == items[1]) << item;
        }
      }));
    }
    for (int turn = 0; turn < 10; ++turn) {
      Answer("GetStatus", items[turn % 2]);
      Sleep(0);
    }
    for (test::TestThread& thread : threads) thread.join();
    printer_.reset();
  });
}

TEST_F(ExchangeThreads, StopWaitsForTheCommandUnderWay) {
  test::run_virtual_parallel([&] {
    OpenSlow();
    auto send = test::spawn("send", [&] { EXPECT_EQ(0, SendNow()); });
    test::settle();
    printer_->StopBidiWorker();
    EXPECT_EQ(500u, test::elapsed_ms());
    send.join();
    EXPECT_EQ(VLPER_TERMINATE, SendNow());
    EXPECT_EQ(VLPER_TERMINATE, AskNow());
    EXPECT_EQ(VLPER_TERMINATE, SendThroughNow());
    printer_.reset();
  });
}

}  // namespace
}  // namespace vlp
