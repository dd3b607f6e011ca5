#pragma once

// The engine as a test uses it: its life, its trace, its calls on this thread and on
// others, each with what it took. Links are opened over a ScriptedPort.

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "d4/xdlt.h"
#include "diag/dbg_log.h"
#include "tests/d4/scripted_port.h"
#include "tests/support/far_side.h"
#include "tests/support/log_lines.h"
#include "tests/support/virtual_time.h"

namespace d4_test {

// One user of the engine, for a scope. Give it to a scenario behind its ports.
class Engine {
 public:
  explicit Engine(vlp::DbgLog* log = nullptr) { EXPECT_EQ(1, vlp::XdltInitialize(log)); }
  ~Engine() { end(); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  void end() {
    if (std::exchange(ended_, true)) return;
    vlp::XdltUninitialize();
  }

 private:
  bool ended_ = false;
};

// What a call gave and how long it took.
struct Called {
  std::int32_t result = 0;
  std::uint64_t ms = 0;
  std::uint32_t count = 0;  // `countInOut` after a write, a size query or a fetch
  Bytes bytes;              // fetched
};

// Runs the call on this thread.
template <typename Call>
Called timed(Call call) {
  const std::uint64_t began = test::elapsed_ms();
  Called called;
  if constexpr (std::is_same_v<decltype(call()), Called>) {
    called = call();
  } else if constexpr (std::is_void_v<decltype(call())>) {
    call();
  } else {
    called.result = call();
  }
  called.ms = test::elapsed_ms() - began;
  return called;
}

// A call that runs on a thread of its own.
class Transaction {
 public:
  template <typename Call>
  Transaction(std::string name, Call call)
      : called_(std::make_unique<Called>()),
        thread_(
            test::spawn(std::move(name), [into = called_.get(), call] { *into = timed(call); })) {}

  bool ended() const { return thread_.ended(); }
  // Waits for its end.
  const Called& get() {
    thread_.join();
    return *called_;
  }
  DWORD thread() const { return thread_.id(); }

 private:
  std::unique_ptr<Called> called_;
  test::TestThread thread_;
};

// auto reading = transact("reader", [&] { return size_query(link, 0x02); });
template <typename Call>
[[nodiscard]] Transaction transact(std::string name, Call call) {
  return Transaction(std::move(name), std::move(call));
}

// --- The engine's calls, told as Called ---

struct Opened : Called {
  vlp::XdltLink* link = nullptr;
};
// Over a ScriptedPort, a DevicePort or anything else with a handle and ops.
template <typename Port>
Opened open_link(Port& port) {
  Opened opened;
  const std::uint64_t began = test::elapsed_ms();
  opened.result = vlp::XDLT_Open(port.handle(), port.ops(), &opened.link);
  opened.ms = test::elapsed_ms() - began;
  return opened;
}

inline Called write(vlp::XdltLink* link, std::uint8_t socket, const Bytes& bytes) {
  return timed([&] {
    Called called;
    called.count = static_cast<std::uint32_t>(bytes.size());
    // Never null, though there may be no bytes.
    const std::uint8_t none = 0;
    called.result =
        vlp::XDLT_Write(link, socket, bytes.empty() ? &none : bytes.data(), &called.count);
    return called;
  });
}

inline Called size_query(vlp::XdltLink* link, std::uint8_t socket) {
  return timed([&] {
    Called called;
    called.result = vlp::XDLT_Read(link, socket, nullptr, &called.count);
    return called;
  });
}

// `bytes` are as many as the count says; a write beyond the capacity fails the test.
inline Called fetch(vlp::XdltLink* link, std::uint8_t socket, std::uint32_t capacity) {
  return timed([&] {
    constexpr std::uint8_t kUntouched = 0xA5;
    Called called;
    called.count = capacity;
    called.bytes.assign(capacity + std::size_t{4}, kUntouched);
    called.result = vlp::XDLT_Read(link, socket, called.bytes.data(), &called.count);
    for (std::size_t at = capacity; at < called.bytes.size(); ++at) {
      EXPECT_EQ(kUntouched, called.bytes[at]) << "behind the buffer, at " << at;
    }
    EXPECT_LE(called.count, capacity);
    called.bytes.resize(called.result < 0 ? 0 : std::min(called.count, capacity));
    return called;
  });
}

inline Called open_channel_on(vlp::XdltLink* link, std::uint8_t socket) {
  return timed([&] { return vlp::XDLT_OpenChannel(link, socket); });
}
inline Called close_channel_on(vlp::XdltLink* link, std::uint8_t socket) {
  return timed([&] { return vlp::XDLT_CloseChannel(link, socket); });
}
inline Called close_link(vlp::XdltLink* link) {
  return timed([&] { return vlp::XDLT_Close(link); });
}

inline vlp::XdltParameters packet_sizes(vlp::XdltLink* link, std::uint8_t socket) {
  vlp::XdltParameters parameters{.kind = vlp::kAskPacketSizes, .socket = socket};
  vlp::XDLT_SetParameters(link, &parameters);
  return parameters;
}
inline void set_plain_wait(vlp::XdltLink* link, std::uint32_t timing) {
  vlp::XdltParameters parameters{.kind = vlp::kSetPlainWait, .timing = timing};
  vlp::XDLT_SetParameters(link, &parameters);
}
inline void set_retry_timing(vlp::XdltLink* link, std::uint32_t mode, std::uint32_t timing,
                             std::uint32_t maximum) {
  vlp::XdltParameters parameters{
      .kind = vlp::kSetRetryTiming, .timing = timing, .mode = mode, .maximum = maximum};
  vlp::XDLT_SetParameters(link, &parameters);
}

// --- Usual beginnings and ends: script, call, and check that it went well ---

inline vlp::XdltLink* opened_link(ScriptedPort& port) {
  port.opens();
  const Opened opened = open_link(port);
  EXPECT_EQ(0, opened.result);
  EXPECT_NE(nullptr, opened.link);
  return opened.link;
}

inline void opened_channel(ScriptedPort& port, vlp::XdltLink* link, std::uint8_t socket,
                           const Agreed& agreed = {}) {
  port.opens_channel(socket, agreed);
  EXPECT_EQ(0, vlp::XDLT_OpenChannel(link, socket));
}

inline void closed_channel(ScriptedPort& port, vlp::XdltLink* link, std::uint8_t socket) {
  port.closes_channel(socket);
  EXPECT_EQ(0, vlp::XDLT_CloseChannel(link, socket));
}

inline void closed_link(ScriptedPort& port, vlp::XdltLink* link) {
  port.exits();
  EXPECT_EQ(0, vlp::XDLT_Close(link));
}

// --- The trace ---

// A folder and a log for each test; made before a scenario, used in it.
class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    far_side::reset();
    directory_ = far_side::fresh_log_directory();
  }

  // The mask needs one bit only for the engine to trace.
  vlp::DbgLog& log(std::uint32_t mask = vlp::kLogObjects) {
    if (log_ == nullptr) log_ = std::make_unique<vlp::DbgLog>("D4", directory_.c_str(), mask, 0);
    return *log_;
  }
  std::string log_path() const { return directory_ + "D4.dat"; }

  // Each line of the engine without "  [D4] ", in order. Times ("12.345.678") become "<time>".
  std::vector<std::string> trace() const;
  // The same, times kept.
  std::vector<std::string> trace_with_times() const;
  // The lines that begin with the text.
  std::vector<std::string> trace_of(const std::string& beginning) const;

  std::string directory_;
  std::unique_ptr<vlp::DbgLog> log_;
};

// "XDLT_Open(S)" as the trace shows it when a time stands behind: filled up or cut to 26
// characters, a blank, "<time>".
std::string stamped(const std::string& text);

}  // namespace d4_test
