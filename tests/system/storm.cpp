// Everything at once, with truly concurrent threads and in many replayed orders.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <map>
#include <set>

#include "platform/kernel/scenario.h"
#include "tests/support/virtual_time.h"
#include "tests/system/fixture.h"
#include "tests/system/session.h"

namespace system_test {
namespace {

using test::TestThread;

constexpr const char* kSeedVariable = "VLPBIDI_SEED";
constexpr unsigned kSeeds = 110;

// All of them, or the one that is to be seen again.
std::vector<std::uint64_t> Seeds() {
  if (const char* seed = std::getenv(kSeedVariable); seed != nullptr) {
    return {std::strtoull(seed, nullptr, 0)};
  }
  std::vector<std::uint64_t> seeds;
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) seeds.push_back(seed);
  return seeds;
}

// A printer whose device ID keeps changing between two whole values. Each brings channels
// of its own, so that a mixture of both shows.
struct Face {
  std::string device_id;
  std::vector<Entry> entries;
};

const Face kFaces[] = {
    {"MFG:V;CMD:GENVL,BDC;MDL:" + std::string(200, 'a') + ";",
     {{ChnlKindD4, 0xE007}, {ChnlKindBdc, 7}}},
    {"MFG:V;CMD:QPL,BDC,END4;MDL:" + std::string(500, 'b') + ";",
     {{ChnlKindQpl, 3}, {ChnlKindBdc, 7}, {ChnlKindEnd4, 7}}},
};
const std::vector<Channel> kChannels = {{ChnlKindD4}, {ChnlKindQpl}, {ChnlKindBdc}, {ChnlKindEnd4}};

bool IsFace(const Bytes& device_id) {
  for (const Face& face : kFaces) {
    if (device_id == bytes_of(face.device_id)) return true;
  }
  return false;
}

bool IsFace(const std::vector<Entry>& entries) {
  for (const Face& face : kFaces) {
    if (entries == face.entries) return true;
  }
  return false;
}

class Storm : public SystemTest {
 protected:
  void SetUp() override {}
  void TearDown() override {}

  void Run(const platform::ScenarioOptions& options, int rounds) {
    platform::begin_scenario(options);
    far_side::reset();
    Prepare();
    Load();
    Blow(rounds);
    CheckResults();
    SystemTest::TearDown();
    accepted_.clear();
    taken_.clear();
  }

 private:
  static constexpr std::size_t kPrinters = 3;

  static std::string NameOf(std::size_t number) { return "Printer " + std::to_string(number); }
  static std::string PortOf(std::size_t number) { return "USB00" + std::to_string(number); }

  void Prepare() {
    // One is asked anew each time, one always from the cache, one now and then.
    const char* const ages[] = {"LPT_UniversalDriver=1\n", "", "LPT_DevIDNoChkTime=3\n"};
    for (std::size_t number = 0; number < kPrinters; ++number) {
      AddPrinter(NameOf(number), PortOf(number), "", kChannels, ages[number]);
      far_side::set_attributes(NameOf(number), 0x50);
      Turn(number, 0);
    }
    LogTo(0xFFFFFFFF);
  }

  void Turn(std::size_t number, int face) {
    far_side::plug({.port = PortOf(number),
                    .device_id = bytes_of(kFaces[face].device_id),
                    .latency_ms = static_cast<std::uint32_t>(number)});
  }

  void Blow(int rounds) {
    std::vector<TestThread> threads;
    threads.push_back(test::spawn("taker", [this] { TakeAll(); }));
    for (std::size_t number = 0; number < kPrinters; ++number) {
      threads.push_back(test::spawn("connector", [=, this] { ConnectAll(number, rounds); }));
      for (std::uint32_t lane = 0; lane < 2; ++lane) {
        threads.push_back(test::spawn("asker", [=, this] { AskAll(number, lane, rounds); }));
      }
    }
    threads.push_back(test::spawn("turner", [=, this] { TurnAll(rounds); }));
    threads.push_back(test::spawn("newcomer", [=, this] { NameAll(rounds); }));
    test::sleep_ms(static_cast<std::uint32_t>(rounds));
    stopping_ = true;
    EXPECT_EQ(provider().Terminate(), 0);
    for (TestThread& thread : threads) thread.join();
    stopping_ = false;
  }

  // What an operation may say at that time.
  void ExpectCode(std::int32_t code, bool good) {
    if (good) return;
    const bool terminated = code == VLPER_TERMINATE;
    const bool port_refused = code == VLPER_NOTSUPPORT;
    // The port was changed behind the check, and nobody is at the new one.
    const bool port_gone = code == VLPER_NOTCONNECT;
    // The device ID grew between the two calls of the length protocol.
    const bool size_changed = code == VLPER_BUFFERSIZE;
    EXPECT_TRUE(terminated || port_refused || port_gone || size_changed) << "code " << code;
    EXPECT_TRUE(!terminated || stopping_.load()) << "terminated before Terminate";
  }

  void ConnectAll(std::size_t number, int rounds) {
    for (int round = 0; round < rounds; ++round) {
      const Connection answer = provider().Connect(NameOf(number));
      ExpectCode(answer.code, answer.code >= 1);
      if (answer.code < 1) continue;
      EXPECT_EQ(answer.code, static_cast<std::int32_t>(answer.entries.size()));
      EXPECT_TRUE(IsFace(answer.entries)) << "a mixture of two readings";
      EXPECT_EQ(answer.name, NameOf(number));
    }
  }

  void AskAll(std::size_t number, std::uint32_t lane, int rounds) {
    for (int round = 0; round < rounds; ++round) {
      const std::uint32_t id = static_cast<std::uint32_t>(number + 1) << 24 | lane << 20 |
                               static_cast<std::uint32_t>(round + 1);
      const bool before = !stopping_.load();
      const std::int32_t code = provider().DeviceId(id, NameOf(number));
      ExpectCode(code, code == 0);
      const bool wholly_before = before && !stopping_.load();
      if (code == 0 && !wholly_before) continue;
      Exclusive([&] { (code == 0 ? accepted_ : refused_).insert(id); });
    }
  }

  void TurnAll(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      for (std::size_t number = 0; number < kPrinters; ++number) Turn(number, round % 2);
      far_side::set_port(NameOf(2), round % 3 == 0 ? "COM1:" : PortOf(2));
      test::sleep_ms(1);
    }
    far_side::set_port(NameOf(2), PortOf(2));
  }

  void NameAll(int rounds) {
    for (int round = 0; round < rounds; ++round) {
      EXPECT_EQ(provider().DeviceId(1, "Nobody " + std::to_string(round)), VLPER_NOTSUPPORT);
      EXPECT_EQ(provider().Status(1, NameOf(0), ChnlKindBdc), VLPER_NOCHANNEL);
      EXPECT_EQ(provider().Command(1, NameOf(1), ChnlKindBdc, {1, 2}), VLPER_NOCHANNEL);
    }
  }

  void TakeAll() {
    for (;;) {
      const Result result = provider().Take();
      if (result.code == VLPER_TERMINATE) return;
      ASSERT_GT(result.code, 0);
      EXPECT_TRUE(IsFace(result.data)) << "not a whole device ID";
      Exclusive([&] { ++taken_[result.request_id]; });
    }
  }

  // What was accepted wholly before Terminate and taken before it came exactly once; the
  // rest may have stayed in the queue, from some point on.
  void CheckResults() {
    for (const auto& [id, times] : taken_) {
      EXPECT_EQ(times, 1) << "result " << std::hex << id;
      EXPECT_EQ(refused_.count(id), 0U) << "a refused request has a result";
    }
    CheckOrder();
    refused_.clear();
  }

  // Of one asking thread, what is missing is missing at the end.
  void CheckOrder() {
    std::map<std::uint32_t, bool> missing;
    for (const std::uint32_t id : accepted_) {
      const std::uint32_t lane = id >> 20;
      const bool taken = taken_.count(id) != 0;
      EXPECT_FALSE(taken && missing[lane]) << "a result was lost before " << std::hex << id;
      missing[lane] = missing[lane] || !taken;
    }
  }

  template <typename Work>
  void Exclusive(Work work) {
    EnterCriticalSection(&books_);
    work();
    LeaveCriticalSection(&books_);
  }

  struct Section : CRITICAL_SECTION {
    Section() { InitializeCriticalSection(this); }
    ~Section() { DeleteCriticalSection(this); }
  };

  Section books_;
  std::set<std::uint32_t> accepted_;
  std::set<std::uint32_t> refused_;
  std::map<std::uint32_t, int> taken_;
  std::atomic<bool> stopping_{false};
};

TEST_F(Storm, OfTrulyConcurrentThreadsLeavesWholeAnswers) {
  for (int run = 0; run < 3; ++run) Run({.mode = platform::Mode::parallel}, 40);
}

TEST_F(Storm, InManyOrdersLeavesWholeAnswers) {
  for (const std::uint64_t seed : Seeds()) {
    SCOPED_TRACE(std::string(kSeedVariable) + "=" + std::to_string(seed));
    Run({.mode = platform::Mode::serial, .seed = seed}, 8);
    if (HasFailure()) break;
  }
}

// The simplest of the promises, where nothing else goes on: each 0 is one result.
class OneResultEach : public SystemTest {
 protected:
  void SetUp() override {}
  void TearDown() override {}
};

TEST_F(OneResultEach, InManyOrders) {
  for (const std::uint64_t seed : Seeds()) {
    SCOPED_TRACE(std::string(kSeedVariable) + "=" + std::to_string(seed));
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
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace system_test
