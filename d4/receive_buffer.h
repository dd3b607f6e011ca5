#pragma once

// A channel's receive buffer: filled by the read thread, emptied by callers.

#include <cstdint>

#include "d4/state.h"

namespace vlp {

// Holds the buffer to the end of the scope; not held if that took kBufferLimitMs.
class BufferHold {
 public:
  explicit BufferHold(const XdltChannel& channel);
  ~BufferHold();
  BufferHold(const BufferHold&) = delete;
  BufferHold& operator=(const BufferHold&) = delete;

  explicit operator bool() const { return held_; }

 private:
  HANDLE event_;
  bool held_;
};

// Bytes that wait. Needs no hold; may be outdated at once.
std::uint32_t WaitingBytes(const XdltChannel& channel);

// Both under the hold.

// Appends a payload. False if it doesn't fit, whatever credit the device had for it.
bool StorePayload(XdltChannel& channel, Bytes payload);

// Moves at most `capacity` bytes out, and on a flag socket puts one byte behind them:
// `capacity` must be 1 at least then. The count stored.
std::uint32_t FetchBytes(XdltChannel& channel, std::uint8_t* to, std::uint32_t capacity);

}  // namespace vlp
