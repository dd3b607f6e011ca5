#pragma once

// Stands between the device layer and the system: tells every call on a device as one text,
// answers in the system's place where a test says so, and spoils the last error behind each
// call that only cleans up. The program is linked with --wrap for each call.

#include <windows.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pipes_test {

using Bytes = std::vector<std::uint8_t>;

// What a pipe call does instead of the device's transfer.
struct PipeAnswer {
  bool success = true;
  Bytes bytes = {};                      // of a read
  ULONG count = 0;                       // of a write
  std::optional<ULONG> told_count = {};  // of a read that lies
  DWORD error = 0;
  std::uint32_t takes_ms = 0;
};

struct PipeCall {
  UCHAR pipe = 0;
  ULONG size = 0;
  bool overlapped = false;
  bool clean = false;  // a read's room, all zero
  ULONG count_before = 0;
  Bytes bytes = {};  // of a write
};

struct Spy {
  std::vector<std::string> calls = {};
  std::vector<PipeCall> reads = {};
  std::vector<PipeCall> writes = {};
  std::deque<PipeAnswer> read_answers = {};  // none: the device's own
  std::deque<PipeAnswer> write_answers = {};

  bool null_set = false;                        // SetupDiGetClassDevsA gives null
  std::optional<DWORD> detail_size = {};        // what is told without a buffer
  std::optional<std::string> detail_text = {};  // as it stands, with no terminator of its own
  bool initialize_leaves_rubbish = false;       // and fails

  HANDLE file = nullptr;
  HANDLE interface = nullptr;
};
Spy& spy();

// What the cleaning calls leave as the last error.
inline constexpr DWORD kSpoiled = 0xC1EA;

}  // namespace pipes_test
