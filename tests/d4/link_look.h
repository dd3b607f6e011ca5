#pragma once

// A look at the engine's records, past its operations. Only while an Engine lives.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "d4/link.h"
#include "d4/state.h"
#include "support/waits.h"
#include "tests/d4/engine_fixture.h"

namespace d4_test {

inline vlp::Engine& the_engine() { return *vlp::EngineUse().Get(); }

// The record that a first link gets, the one behind it, ... As seen after all that has been
// done to it so far.
inline vlp::XdltLink& record(std::size_t index) {
  vlp::Engine& engine = the_engine();
  const vlp::LockGuard table(engine.tableLock);
  return engine.links[index];
}

// While others are at work on the link.
inline HANDLE control_gate_of(std::size_t index) {
  vlp::Engine& engine = the_engine();
  const vlp::LockGuard table(engine.tableLock);
  return engine.links[index].controlEvent.Get();
}

inline bool gate_is_open(vlp::XdltLink& link) {
  if (!vlp::IsSignalled(link.gateEvent.Get(), 0)) return false;
  vlp::Signal(link.gateEvent.Get());
  return true;
}

inline std::size_t channel_count(vlp::XdltLink& link) {
  const vlp::LockGuard list(link.channelsLock);
  return link.channels.size();
}

// From here on a reply is read at the very moment at which it comes. Only for one transaction at
// a time: the read thread may look once more behind one, and holds the port then.
inline void block_reads(ScriptedPort& port) {
  test::settle();
  port.reads_block();
}
inline void free_reads(ScriptedPort& port) {
  test::settle();
  port.reads_return_at_once();
}

// For openings, which are two transactions: the ten reads that are made without a pause last
// longer than a reply is waited for.
inline constexpr std::uint32_t kLongReadMs = 1'200;

// Nothing of a former link is left in it, and the next one can have it.
inline void expect_free(vlp::XdltLink& link) {
  EXPECT_EQ(0u, link.portHandle.load());
  EXPECT_EQ(nullptr, link.portOps);
  EXPECT_EQ(vlp::kLinkFree, link.state.load());
  EXPECT_EQ(0u, link.callers.load());
  EXPECT_EQ(0, link.awaitedReply.load());
  EXPECT_EQ(0, link.waitSocket.load());
  EXPECT_FALSE(link.readThread);
  for (const vlp::KernelHandle* const event :
       {&link.wakeEvent, &link.controlEvent, &link.replyEvent, &link.dataEvent, &link.spareEvent}) {
    EXPECT_FALSE(*event);
  }
  EXPECT_EQ(0u, channel_count(link));
  EXPECT_TRUE(gate_is_open(link));
}

// Every operation that takes a link, made so that only the link can be wrong.
struct NamedCall {
  std::string name;
  std::function<std::int32_t(vlp::XdltLink*)> call;
};
inline std::vector<NamedCall> calls_on_a_link() {
  return {
      {"open channel", [](vlp::XdltLink* link) { return open_channel_on(link, 0x02).result; }},
      {"close channel", [](vlp::XdltLink* link) { return close_channel_on(link, 0x02).result; }},
      {"write",
       [](vlp::XdltLink* link) {
         return write(link, 0x02, {1, 2, 3}).result;
       }},
      {"size query", [](vlp::XdltLink* link) { return size_query(link, 0x02).result; }},
      {"fetch", [](vlp::XdltLink* link) { return fetch(link, 0x02, 8).result; }},
      {"close", [](vlp::XdltLink* link) { return close_link(link).result; }}};
}

inline void expect_all_refused(vlp::XdltLink* link, std::int32_t result) {
  for (const NamedCall& named : calls_on_a_link()) {
    const Called called = timed([&] { return named.call(link); });
    EXPECT_EQ(result, called.result) << named.name;
    EXPECT_EQ(0u, called.ms) << named.name;
  }
}

}  // namespace d4_test
