// Two queries that come to show what they know in the same moment.

#include "tests/operations/operations_fixture.h"
#include "tests/support/virtual_time.h"

namespace {

HANDLE gate = nullptr;  // where each caller of ClosePrinter waits, if there is one

}  // namespace

// The linker puts this in the place of the layer's. A query closes the printer
// when it has learned everything.
extern "C" BOOL WINAPI __real_ClosePrinter(HANDLE printer);
extern "C" BOOL WINAPI __wrap_ClosePrinter(HANDLE printer) {
  if (gate != nullptr) WaitForSingleObject(gate, INFINITE);
  return __real_ClosePrinter(printer);
}

namespace vlp {
namespace {

using operations_test::Channels;
using operations_test::kThreeChannels;
using operations_test::OperationsTest;
using operations_test::ProfileOf;

constexpr const char* kOne = "CMD:QPL;";
constexpr const char* kOther = "CMD:BDC,D4;";

class ShownTogether : public OperationsTest {
 protected:
  // Both have asked, the first for one device ID and the second for the other, when the
  // gate opens.
  void QueryTwiceAtOnce() {
    far_side::plug({.port = "USB001", .device_id = far_side::bytes_of(kOne), .latency_ms = 10});
    gate = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const auto query = [this] {
      std::uint64_t entries[kMaxConnectEntries] = {};
      EXPECT_LE(1, printer_->GetConnectInf(entries));
    };
    auto first = test::spawn("first", query);
    test::sleep_ms(1);
    auto second = test::spawn("second", query);
    test::sleep_ms(14);
    far_side::set_device_id("USB001", far_side::bytes_of(kOther));
    test::sleep_ms(10);
    EXPECT_FALSE(first.ended() || second.ended());
    SetEvent(gate);
    first.join();
    second.join();
    CloseHandle(gate);
    gate = nullptr;
  }
};

// A device ID of one answer beside the channels of the other would stay so for long.
TEST_F(ShownTogether, ChannelsAndDeviceIdAreOfOneAnswer) {
  Describe(ProfileOf(kThreeChannels), kOne);
  unsigned ones = 0;
  unsigned others = 0;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    test::run_virtual_serial(seed, [&] {
      Make("Printer", 0);
      EXPECT_LE(1, GetConnectInf());  // reads the profile
      test::sleep_ms(30000);
      QueryTwiceAtOnce();

      const std::uint32_t queries = Queries();
      GetConnectInf();
      EXPECT_EQ(0, GetDeviceID());
      EXPECT_EQ(queries, Queries()) << "not what stayed, but a new answer";
      ++(device_id_ == kOne ? ones : others);
      EXPECT_TRUE(device_id_ == kOne || device_id_ == kOther) << device_id_;
      const Channels expected = device_id_ == kOne
                                    ? Channels{{ChnlKindQpl, 0x0007}}
                                    : Channels{{ChnlKindBdc, 0x0007}, {ChnlKindD4, 0x0003}};
      EXPECT_EQ(expected, channels_) << device_id_;
      printer_.reset();
    });
  }
  EXPECT_GT(ones, 0u);
  EXPECT_GT(others, 0u);
}

}  // namespace
}  // namespace vlp
