// The simplest of the promises, where nothing else goes on: each 0 is one result.

#include <gtest/gtest.h>

#include <set>

#include "platform/kernel/scenario.h"
#include "tests/support/seeds.h"
#include "tests/support/virtual_time.h"
#include "tests/system/fixture.h"

namespace system_test {
namespace {

using test::TestThread;

constexpr unsigned kSeeds = 110;

class OneResultEach : public SystemTest {
 protected:
  void SetUp() override {}
  void TearDown() override {}
};

TEST_F(OneResultEach, InManyOrders) {
  test::for_each_seed(kSeeds, [this](std::uint64_t seed) {
    platform::begin_scenario({.mode = platform::Mode::serial, .seed = seed});
    far_side::reset();
    AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc}}, "LPT_UniversalDriver=1\n");
    AddPrinter("Other", "USB002", kLaserId, {{ChnlKindBdc}});
    Load();
    std::multiset<std::uint32_t> taken;
    TestThread taker = test::spawn("taker", [&] {
      for (;;) {
        const Result result = provider().Take();
        if (result.code < 0) return;
        EXPECT_EQ(result.data, bytes_of(kLaserId));
        taken.insert(result.request_id);
      }
    });
    std::vector<TestThread> askers;
    for (std::uint32_t lane = 1; lane <= 4; ++lane) {
      askers.push_back(test::spawn("asker", [this, lane] {
        for (std::uint32_t n = 0; n < 5; ++n) {
          EXPECT_EQ(provider().DeviceId(lane * 16 + n, lane % 2 == 0 ? kLaser : "Other"), 0);
        }
      }));
    }
    for (TestThread& asker : askers) asker.join();
    test::sleep_ms(600);
    EXPECT_EQ(provider().Terminate(), 0);
    taker.join();
    std::multiset<std::uint32_t> all;
    for (std::uint32_t lane = 1; lane <= 4; ++lane) {
      for (std::uint32_t n = 0; n < 5; ++n) all.insert(lane * 16 + n);
    }
    EXPECT_EQ(taken, all);
    SystemTest::TearDown();
  });
}

}  // namespace
}  // namespace system_test
