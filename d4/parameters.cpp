// XDLT_SetParameters. Takes no gate: a link's waits may change while one is slept.

#include <cstdio>

#include "d4/state.h"
#include "d4/trace.h"

namespace vlp {
namespace {

constexpr std::uint32_t kLongestWaitMs = 1000;
constexpr std::uint32_t kPlainWaitMs = 50;
constexpr std::uint32_t kFirstBackoffMs = 1;
constexpr std::uint32_t kLastBackoffMs = 25;

std::uint32_t Limited(std::uint32_t wait, std::uint32_t otherwise) {
  if (wait == 0) return otherwise;
  return wait >= kLongestWaitMs ? kLongestWaitMs : wait;
}

void SetWaits(XdltLink& link, std::uint32_t base, std::uint32_t maximum, std::uint32_t backoff) {
  link.creditWait.store(base);
  link.creditWaitBase.store(base);
  link.creditWaitMax.store(maximum);
  link.creditBackoff.store(backoff);
}

void SetPlainWait(XdltLink& link, const XdltParameters& asked) {
  const std::uint32_t wait = Limited(asked.timing, kPlainWaitMs);
  SetWaits(link, wait, wait, 0);
  char text[64];
  std::snprintf(text, sizeof(text), "XDLT_SetParameters1 (%04d) ", static_cast<int>(asked.timing));
  TraceThenTime(text);
}

void SetRetryTiming(XdltLink& link, const XdltParameters& asked) {
  if (asked.mode != 0) {
    SetWaits(link, Limited(asked.timing, kFirstBackoffMs), Limited(asked.maximum, kLastBackoffMs),
             1);
  } else {
    const std::uint32_t wait = Limited(asked.timing, kPlainWaitMs);
    SetWaits(link, wait, wait, 0);
  }
  char text[96];
  std::snprintf(text, sizeof(text), "XDLT_SetParameters (%02d %04d %02d %04d) ",
                static_cast<int>(asked.kind), static_cast<int>(asked.timing),
                static_cast<int>(asked.mode), static_cast<int>(asked.maximum));
  TraceThenTime(text);
  std::snprintf(text, sizeof(text), "     Timing(%04d) Max(%04d)          ",
                static_cast<int>(link.creditWait.load()),
                static_cast<int>(link.creditWaitMax.load()));
  TraceThenTime(text);
}

void AskPacketSizes(XdltLink& link, XdltParameters& asked) {
  const ChannelPointer channel = FindChannel(link, asked.socket);
  asked.writePacketSize = channel != nullptr ? channel->writePacketSize : std::uint16_t{0};
  asked.readPacketSize = channel != nullptr ? channel->readPacketSize : std::uint16_t{0};
}

}  // namespace

void XDLT_SetParameters(XdltLink* link, XdltParameters* parameters) noexcept {
  const EngineUse use;
  if (XdltCheckLink(use.Get(), link) < 0 || parameters == nullptr) return;
  switch (parameters->kind) {
    case kSetPlainWait:
      SetPlainWait(*link, *parameters);
      break;
    case kSetRetryTiming:
      SetRetryTiming(*link, *parameters);
      break;
    case kAskPacketSizes:
      AskPacketSizes(*link, *parameters);
      break;
    default:
      break;
  }
}

}  // namespace vlp
