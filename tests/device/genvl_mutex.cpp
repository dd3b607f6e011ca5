// Other processes at the same device.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlMutex : public VendorDevice {
 protected:
  static std::string name_of(vlp::GenVlAccess& access) { return Private(access).MutexName(); }

  // The result of a command while somebody else has the device until then.
  static std::int32_t sent_while_held_until(std::uint64_t ms) {
    const Access access = make();
    Holder holder(name_of(*access));
    std::int32_t sent = 0;
    TestThread sender = spawn("sender", [&] { sent = send(*access, status_request()); });
    holder.let_go_at_ms(ms);
    sender.join();
    return sent;
  }
};

TEST_F(GenVlMutex, HeldBeyondTheWaitIsBusyAndALaterCallNeedsNoSearch) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    {
      const Holder holder(name_of(*access));
      platform::watch_calls();
      EXPECT_EQ(vlp::GENVL_E_MUTEX_TIMEOUT, send(*access, status_request()));
      EXPECT_EQ(20'000u, elapsed_ms());
      EXPECT_EQ(0u, device_calls());
      EXPECT_EQ(0u, Private(*access).OpenCount());
      EXPECT_EQ(0u, Private(*access).Fatal());
      EXPECT_EQ(0u, platform::calls_of("ReleaseMutex"));
    }
    platform::clear_faults();
    platform::watch_calls();
    EXPECT_EQ(status_item(), ask(*access, status_request()));
    EXPECT_EQ(0u, platform::calls_of("SetupDiGetClassDevsA"));
    expect_closed(*access);
  });
}

TEST_F(GenVlMutex, LetGoInTheLastMillisecondOfTheWaitIsInTime) {
  plug();
  run_virtual_serial(1, [] {
    EXPECT_EQ(5, sent_while_held_until(19'999));
    EXPECT_EQ(19'999u, elapsed_ms());
  });
}

TEST_F(GenVlMutex, LetGoBehindTheWaitIsTooLate) {
  plug();
  run_virtual_serial(1,
                     [] { EXPECT_EQ(vlp::GENVL_E_MUTEX_TIMEOUT, sent_while_held_until(20'001)); });
}

TEST_F(GenVlMutex, WaitIsThatOfTheSettings) {
  plug();
  const vlp::GenVlSettings settings = {1, 1, 50, 77, 5000};
  run_virtual_serial(1, [&] {
    const Access access = make(nullptr, &settings);
    const Holder holder(name_of(*access));
    EXPECT_EQ(vlp::GENVL_E_MUTEX_TIMEOUT, send(*access, status_request()));
    EXPECT_EQ(77u, elapsed_ms());
  });
}

// The largest number would be a wait without end.
TEST_F(GenVlMutex, LongestWaitOfAllEnds) {
  plug();
  const vlp::GenVlSettings settings = {1, 1, 50, 0xFFFFFFFF, 5000};
  run_virtual_serial(1, [&] {
    const Access access = make(nullptr, &settings);
    const Holder holder(name_of(*access));
    EXPECT_EQ(vlp::GENVL_E_MUTEX_TIMEOUT, send(*access, status_request()));
    EXPECT_EQ(0xFFFFFFFEu, elapsed_ms());
  });
}

TEST_F(GenVlMutex, HolderThatDiedLeavesTheDeviceUsable) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Holder holder(name_of(*access));
    holder.die();
    EXPECT_EQ(status_item(), ask(*access, status_request()));
    expect_closed(*access);
  });
}

TEST_F(GenVlMutex, HolderThatDiesUnderTheWaitLeavesTheDeviceUsable) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Holder holder(name_of(*access));
    std::int32_t sent = 0;
    TestThread sender = spawn("sender", [&] { sent = send(*access, status_request()); });
    sleep_ms(500);
    holder.die();
    sender.join();
    EXPECT_EQ(5, sent);
    EXPECT_EQ(500u, elapsed_ms());
    expect_closed(*access);
  });
}

TEST_F(GenVlMutex, FailedWaitIsBusy) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    platform::fail_call("WaitForSingleObject", 1, ERROR_INVALID_HANDLE);
    EXPECT_EQ(vlp::GENVL_E_MUTEX_TIMEOUT, send(*access, status_request()));
    EXPECT_EQ(1u, platform::faults_met());
    expect_closed(*access);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

TEST_F(GenVlMutex, BusyDeviceStillServesAYoungStatus) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    const Holder holder(name_of(*access));
    EXPECT_EQ(status_item(), get_status(*access).bytes);
    EXPECT_EQ(0u, elapsed_ms());
    sleep_ms(2501);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, get_status(*access).code);
  });
}

// One process has the device from its opening to its closing, and no longer.
TEST_F(GenVlMutex, TwoObjectsTakeTurns) {
  plug(kFirst, {.latency_ms = 10});
  test::run_virtual_schedules(8, [] {
    EXPECT_TRUE(platform::replug_usb_device(kFirst));
    const Access one = make();
    const Access other = make();
    ASSERT_TRUE(one->IsInitialized() && other->IsInitialized());
    Bytes first;
    Bytes second;
    TestThread a = spawn("one", [&] { first = ask(*one, echo_command("one")); });
    TestThread b = spawn("other", [&] { second = ask(*other, echo_command("other")); });
    a.join();
    b.join();
    EXPECT_EQ(text("one"), first);
    EXPECT_EQ(text("other"), second);
    expect_closed(*one);
    expect_closed(*other);
  });
}

TEST_F(GenVlMutex, ReleaseThatFailsIsLogged) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    lines();
    platform::fail_call("ReleaseMutex", 1, ERROR_NOT_OWNER);
    EXPECT_EQ(5, send(*access, status_request()));
    EXPECT_EQ(1u, platform::faults_met());
    EXPECT_THAT(lines(), ElementsAre("### GenVlAccess::GiveMutexBack - ReleaseMutex"));
  });
}

}  // namespace
}  // namespace device_test
