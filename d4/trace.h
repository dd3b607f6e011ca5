#pragma once

// What the engine tells of itself in the log of the first printer that uses it.

#include <array>
#include <cstdint>

#include "d4/state.h"

namespace vlp {

// Takes the log unless there is one already.
void StartTracing(Engine& engine, DbgLog* log);
void StopTracing(Engine& engine);

// The same without a lock, when the lock may never come free.
void SilenceTracing();

// One look: whether a line would be written.
bool TraceIsOn() noexcept;

// Microseconds within the present minute; 0 without a performance counter.
std::uint32_t XdltTimestamp() noexcept;

// Writes one line of up to three texts, the last two may be null. With time the first
// is put in 26 columns with the time behind; without, one of more than 128 bytes is
// dropped. Keeps the thread's last error.
void XdltTrace(std::uint32_t withTime, const char* text, const char* more = nullptr,
               const char* evenMore = nullptr) noexcept;

// With time: a text with a socket behind it, and with a count behind that.
void TraceSocket(const char* text, std::uint8_t socket) noexcept;
void TraceSocketCount(const char* text, std::uint8_t socket, std::int32_t count) noexcept;

// A text of any length with the time behind it.
void TraceThenTime(const char* text) noexcept;

// Times one transfer of the port, and traces it.
class TransferTrace {
 public:
  TransferTrace() noexcept : on_(TraceIsOn()), start_(on_ ? XdltTimestamp() : 0) {}

  // `heading` takes the count asked for and the count done; `before` stands in front of
  // the times. The first 16 of `bytes` are shown.
  void End(const char* heading, std::uint32_t asked, std::uint32_t done, Bytes bytes,
           const char* before = "") const noexcept;

 private:
  bool on_;
  std::uint32_t start_;
};

// The first 16 bytes in hexadecimal, or `none`.
inline constexpr std::size_t kTracedBytes = 16;
std::array<char, kTracedBytes * 3 + 1> TracedBytes(Bytes bytes, const char* none) noexcept;

}  // namespace vlp
