// Everything at once: all seven operations at printers that change meanwhile, ended at some
// moment, with truly concurrent threads and in many replayed orders.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <map>

#include "platform/kernel/scenario.h"
#include "tests/support/seeds.h"
#include "tests/support/virtual_time.h"
#include "tests/system/fixture.h"
#include "tests/system/storm_world.h"

namespace system_test {
namespace {

using test::TestThread;

constexpr unsigned kSeeds = 60;
constexpr std::uint32_t kLanes = 2;  // asking threads of each printer

// How a storm ends: when all has been taken that was asked for, or in the middle of it.
enum class End { drained, cut };

struct Taken {
  std::uint32_t id;
  Bytes data;
};

class Storm : public SystemTest {
 protected:
  void SetUp() override {}
  void TearDown() override {}

  void Run(const platform::ScenarioOptions& options, std::uint32_t rounds, End end) {
    platform::begin_scenario(options);
    far_side::reset();
    for (std::size_t printer = 0; printer < kStormPrinters; ++printer) AddStormPrinter(printer);
    far_side::set_log({.flag = kLogOperations, .path = "C:\\"});
    Load();
    // Their channels are known from the start.
    for (std::size_t printer = 0; printer < kStormPrinters; ++printer) {
      EXPECT_GE(provider().Connect(StormName(printer)).code, 1);
    }
    requests_ = {};
    taken_.clear();
    Blow(rounds, end, options.seed);
    CheckRequests();
    CheckResults(end);
    SystemTest::TearDown();
  }

  void ExpectAllSeen() {
    std::printf("storm: successes by wish:");
    for (const unsigned count : good_) std::printf(" %u", count);
    std::printf("\n");
    for (std::size_t wish = 0; wish < kWishes; ++wish) {
      if (static_cast<Wish>(wish) == Wish::too_large) continue;
      EXPECT_GT(good_[wish], 20U) << "hardly any success of wish " << wish;
    }
  }

 private:
  void Blow(std::uint32_t rounds, End end, std::uint64_t seed) {
    TestThread taker = test::spawn("taker", [this] { TakeAll(); });
    std::vector<TestThread> threads;
    for (std::size_t printer = 0; printer < kStormPrinters; ++printer) {
      threads.push_back(test::spawn("connector", [=, this] { ConnectAll(printer, rounds); }));
      for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
        threads.push_back(test::spawn("asker", [=, this] { AskAll(printer, lane, rounds); }));
      }
    }
    threads.push_back(test::spawn("turner", [=, this] { TurnAll(rounds); }));
    threads.push_back(test::spawn("newcomer", [=, this] { NameAll(rounds); }));
    if (end == End::drained) {
      for (TestThread& thread : threads) thread.join();
      test::sleep_ms(1200);
    } else {
      test::sleep_ms(static_cast<std::uint32_t>(seed * 7919 % (rounds * 4)));
    }
    stopping_ = true;
    EXPECT_EQ(provider().Terminate(), 0);
    for (TestThread& thread : threads) thread.join();
    taker.join();
    EXPECT_FALSE(platform::any_lock_held());
    stopping_ = false;
  }

  void ConnectAll(std::size_t printer, std::uint32_t rounds) {
    for (std::uint32_t round = 0; round < rounds; ++round) {
      const Connection answer = provider().Connect(StormName(printer));
      if (answer.code >= 1) {
        EXPECT_EQ(answer.code, static_cast<std::int32_t>(answer.entries.size()));
        EXPECT_TRUE(IsFace(printer, answer.entries)) << "a mixture of two readings";
        EXPECT_EQ(answer.name, StormName(printer));
      } else {
        EXPECT_TRUE(MayRefuse(Wish::device_id, answer.code) || IsEnd(answer.code)) << answer.code;
      }
      if (round % 4 == 0) test::sleep_ms(1);
    }
  }

  void AskAll(std::size_t printer, std::uint32_t lane, std::uint32_t rounds) {
    std::vector<Request>& own = requests_[printer * kLanes + lane];
    for (std::uint32_t round = 0; round < rounds; ++round) {
      Request request;
      request.wish = WishOf(printer, round + lane * 3);
      request.printer = printer;
      request.id = static_cast<std::uint32_t>(printer + 1) << 24 | lane << 20 | (round + 1);
      const bool before = !stopping_.load();
      Ask(provider(), request);
      request.wholly_before = before && !stopping_.load();
      own.push_back(request);
    }
  }

  static Wish WishOf(std::size_t printer, std::uint32_t number) {
    const auto wish = static_cast<Wish>(number % kWishes);
    // A printer that is replaced while it answers loses its place in the page language.
    if (wish == Wish::job_status && printer != 0) return Wish::bdc_status;
    // Its items of its own accord would stand in the fax unit's replies.
    if (wish == Wish::fax_echo && printer == 1) return Wish::short_echo;
    return wish;
  }

  void TurnAll(std::uint32_t rounds) {
    constexpr far_side::PushPlace kPlaces[] = {
        far_side::PushPlace::before, far_side::PushPlace::inside, far_side::PushPlace::behind};
    for (std::uint32_t round = 0; round < rounds; ++round) {
      for (std::size_t printer = 0; printer < kStormPrinters; ++printer) {
        if (round % (2 * printer + 2) == 0) TurnStormPrinter(printer, round / (printer + 1) % 2);
      }
      far_side::push_status(StormPort(1), {.place = kPlaces[round % 3]});
      far_side::set_port(StormName(2), round % 5 == 0 ? "COM1:" : StormPort(2));
      test::sleep_ms(3);
    }
    far_side::set_port(StormName(2), StormPort(2));
  }

  void NameAll(std::uint32_t rounds) {
    for (std::uint32_t round = 0; round < rounds; round += 4) {
      EXPECT_EQ(provider().DeviceId(1, "Nobody " + std::to_string(round)), VLPER_NOTSUPPORT);
      EXPECT_EQ(provider().Status(1, "Nobody at all", ChnlKindBdc), VLPER_NOTSUPPORT);
      test::sleep_ms(1);
    }
  }

  void TakeAll() {
    for (;;) {
      Result result = provider().Take();
      if (result.code == VLPER_TERMINATE) return;
      ASSERT_GT(result.code, 0);
      taken_.push_back({result.request_id, std::move(result.data)});
    }
  }

  // Whether it is the code of a printer whose worker was stopped.
  bool IsEnd(std::int32_t code) const { return code == VLPER_TERMINATE && stopping_.load(); }

  void CheckRequests() {
    for (const std::vector<Request>& lane : requests_) {
      for (const Request& request : lane) {
        const bool good = request.code == GoodCode(request);
        const bool ended = request.code == VLPER_TERMINATE && !request.wholly_before;
        EXPECT_TRUE(good || ended || MayRefuse(request.wish, request.code)) << Text(request);
        EXPECT_FALSE(good && request.wish == Wish::too_large) << Text(request);
        if (good) ++good_[static_cast<std::size_t>(request.wish)];
        if (IsNumbered(request.wish)) ExpectSent(request, good);
      }
    }
  }

  // A command is sent once, however often its reply is asked for.
  void ExpectSent(const Request& request, bool good) const {
    const std::size_t times = TimesOnWire(request);
    EXPECT_LE(times, 1U) << Text(request);
    EXPECT_TRUE(!good || times == 1) << Text(request);
  }

  // Each success has one result, its own, and nothing else has any. At Terminate the rest of
  // the queue is lost, from some point on.
  void CheckResults(End end) {
    std::map<std::uint32_t, const Bytes*> results;
    for (const Taken& taken : taken_) {
      EXPECT_TRUE(results.emplace(taken.id, &taken.data).second) << "twice: " << taken.id;
    }
    for (const std::vector<Request>& lane : requests_) {
      bool missing = false;
      for (const Request& request : lane) {
        const auto found = results.find(request.id);
        const bool taken = found != results.end();
        const bool due = request.code == GoodCode(request) && HasResult(request.wish);
        EXPECT_TRUE(!taken || due) << "of no success: " << Text(request);
        EXPECT_TRUE(!taken || IsAnswer(request, *found->second)) << Text(request);
        EXPECT_FALSE(taken && missing) << "one was lost before: " << Text(request);
        EXPECT_FALSE(due && !taken && end == End::drained) << "lost: " << Text(request);
        missing = missing || (due && !taken);
        if (taken) results.erase(found);
      }
    }
    EXPECT_TRUE(results.empty()) << "results that nobody asked for";
  }

  static std::string Text(const Request& request) {
    return "wish " + std::to_string(static_cast<int>(request.wish)) + " at " +
           StormName(request.printer) + ", request " + std::to_string(request.id) + ", code " +
           std::to_string(request.code);
  }

  // Each lane is written by its thread alone, and read when that has ended.
  std::array<std::vector<Request>, kStormPrinters * kLanes> requests_;
  std::vector<Taken> taken_;
  std::atomic<bool> stopping_{false};
  std::array<unsigned, kWishes> good_{};  // successes of all storms of the test
};

TEST_F(Storm, OfTrulyConcurrentThreadsLeavesWholeAnswers) {
  for (std::uint64_t run = 0; run < 6; ++run) {
    Run({.mode = platform::Mode::parallel, .seed = run}, 40,
        run % 2 == 0 ? End::drained : End::cut);
  }
  ExpectAllSeen();
}

TEST_F(Storm, InManyOrdersLeavesWholeAnswers) {
  test::for_each_seed(kSeeds, [this](std::uint64_t seed) {
    Run({.mode = platform::Mode::serial, .seed = seed}, 20,
        seed % 3 == 0 ? End::cut : End::drained);
  });
  if (!test::given_seed()) ExpectAllSeen();
}

}  // namespace
}  // namespace system_test
