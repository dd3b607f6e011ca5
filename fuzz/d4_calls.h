#pragma once

// The calls of the D4 engine and of the command layer above it that its targets make. Every
// result, count, buffer and duration is looked at, and that nothing is left.

#include <array>
#include <cstdint>
#include <functional>

#include "d4/xdlt.h"
#include "fuzz/choices.h"
#include "support/gen_vl_settings.h"

namespace fuzz {

// More than this many calls of the port in one run are a loop without end.
inline constexpr unsigned kMostPortCalls = 40'000;
// What a read without bytes takes at least; shorter ones would make a run slow.
inline constexpr std::uint32_t kEmptyReadMs = 500;
// And any transfer at most.
inline constexpr std::uint32_t kLongestTransferMs = 1500;

// How the calls are made.
struct CallPlan {
  bool stopsWhenLost = false;  // as the engine's users do; else it is called on and on
  std::uint8_t rounds = 1;     // of open, use, close
  std::uint8_t polls = 1;      // size queries that a read makes until something waits
  std::uint32_t message = 16;  // bytes of a write
  std::uint32_t capacity = 0;  // of a fetch; 0: as much as waits
  vlp::GenVlSettings settings{};
};
CallPlan MakeCallPlan(Choices& choices);

// Runs the body as a scenario in virtual time, one thread at a time, by the seed.
void RunScenario(std::uint8_t seed, const std::function<void()>& body);

// In a scenario: opens, uses and closes over this port.
void CallEngine(vlp::XdltPortHandle port, vlp::XdltPortOps& ops, const CallPlan& plan);
void CallCommandLayer(vlp::XdltPortHandle port, vlp::XdltPortOps& ops, const CallPlan& plan);

}  // namespace fuzz
