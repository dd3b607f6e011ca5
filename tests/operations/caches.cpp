// How long a device ID is good, to the millisecond.

#include "platform/faults.h"
#include "tests/operations/operations_fixture.h"
#include "tests/support/virtual_time.h"

namespace vlp {
namespace {

using operations_test::kThreeChannels;
using operations_test::OperationsTest;
using operations_test::ProfileOf;

class DeviceIdAge : public OperationsTest {
 protected:
  // One reading, and then one more look after `age` milliseconds; gives the queries.
  std::uint32_t QueriesAfter(std::uint32_t age, bool by_connection_info,
                             const test::VirtualOptions& options = {}) {
    std::uint32_t queries = 0;
    test::run_virtual_parallel(
        [&] {
          Make("Printer", 0);
          const std::uint32_t before = Queries();
          EXPECT_EQ(3, GetConnectInf());
          test::sleep_ms(age);
          if (by_connection_info) {
            EXPECT_EQ(3, GetConnectInf());
          } else {
            EXPECT_EQ(0, GetDeviceID());
          }
          queries = Queries() - before;
          printer_.reset();
        },
        options);
    return queries;
  }

  void ExpectLimit(std::uint32_t limit, const test::VirtualOptions& options = {}) {
    for (const bool by_connection_info : {true, false}) {
      EXPECT_EQ(1u, QueriesAfter(limit - 1, by_connection_info, options));
      EXPECT_EQ(2u, QueriesAfter(limit, by_connection_info, options));
      EXPECT_EQ(2u, QueriesAfter(limit + 1, by_connection_info, options));
    }
  }
};

TEST_F(DeviceIdAge, IsHalfAMinuteByDefault) {
  Describe(ProfileOf(kThreeChannels));
  ExpectLimit(30000);
}

TEST_F(DeviceIdAge, IsWhatTheProfileSays) {
  Describe("LPT_DevIDNoChkTime=1234\n" + ProfileOf(kThreeChannels));
  ExpectLimit(1234);
}

TEST_F(DeviceIdAge, BearsTheWrapOfTheTickCount) {
  Describe(ProfileOf(kThreeChannels));
  for (const std::uint64_t before_wrap : {1ULL, 100ULL, 29999ULL, 30000ULL}) {
    test::VirtualOptions options;
    options.tick_start_ms = (1ULL << 32) - before_wrap;
    ExpectLimit(30000, options);
  }
}

// The largest limit spans the whole count but its last millisecond.
TEST_F(DeviceIdAge, CanBeAsLongAsTheTickCount) {
  Describe("LPT_DevIDNoChkTime=-1\n" + ProfileOf(kThreeChannels));
  EXPECT_EQ(1u, QueriesAfter(0xFFFFFFFE, true));
  EXPECT_EQ(1u, QueriesAfter(0xFFFFFFFE, false));
}

TEST_F(DeviceIdAge, CountsFromTheEndOfTheReading) {
  Describe(ProfileOf(kThreeChannels));
  far_side::plug({.port = "USB001",
                  .device_id = far_side::bytes_of(operations_test::kDeviceId),
                  .latency_ms = 5000});
  test::run_virtual_parallel([&] {
    Make("Printer", 0);
    EXPECT_EQ(3, GetConnectInf());
    EXPECT_EQ(5000u, test::elapsed_ms());
    test::sleep_ms(29999);
    EXPECT_EQ(3, GetConnectInf());
    EXPECT_EQ(34999u, test::elapsed_ms());
    test::sleep_ms(1);
    EXPECT_EQ(3, GetConnectInf());
    EXPECT_EQ(40000u, test::elapsed_ms());
    printer_.reset();
  });
}

TEST_F(DeviceIdAge, DoesntGrowByLooking) {
  Describe(ProfileOf(kThreeChannels));
  test::run_virtual_parallel([&] {
    Make("Printer", 0);
    for (int look = 0; look < 30; ++look) {
      EXPECT_EQ(3, GetConnectInf());
      test::sleep_ms(1000);
    }
    EXPECT_EQ(1u, Queries());
    EXPECT_EQ(3, GetConnectInf());
    EXPECT_EQ(2u, Queries());
    printer_.reset();
  });
}

// The age may pass between the two calls of the length protocol: then both ask.
TEST_F(DeviceIdAge, MayPassBetweenTheTwoCalls) {
  Describe("LPT_DevIDNoChkTime=1000\n" + ProfileOf(kThreeChannels));
  test::run_virtual_parallel([&] {
    Make("Printer", 0);
    std::uint32_t length = 0;
    EXPECT_EQ(VLPER_BUFFERSIZE, printer_->GetDeviceID(nullptr, &length));
    test::sleep_ms(1000);
    std::vector<std::uint8_t> buffer(length);
    EXPECT_EQ(0, printer_->GetDeviceID(buffer.data(), &length));
    EXPECT_EQ(2u, Queries());
    printer_.reset();
  });
}

}  // namespace
}  // namespace vlp
