#include "monitor/live_screen.h"

#include <windows.h>

#include <atomic>

#include "monitor/system.h"

namespace monitor {
namespace {

constexpr std::string_view kBorrow = "\x1b[?1049h\x1b[?25l\x1b[2J";
constexpr std::string_view kGiveBack = "\x1b[?25h\x1b[?1049l";
constexpr DWORD kStepMs = 10;
constexpr int kSteps = 50;
constexpr DWORD kGiveBackMs = 500;

// No lock: who ends the process must not wait for somebody who hangs in a write.
std::atomic<bool> g_open = false;
std::atomic<bool> g_writing = false;
std::atomic<bool> g_ending = false;

void WriteUnlessEnding(std::string_view text) {
  g_writing.store(true);
  if (!g_ending.load()) WriteOutput(text);
  g_writing.store(false);
}

DWORD WINAPI GiveBack(void*) {
  WriteOutput(kGiveBack);
  return 0;
}

}  // namespace

void OpenLiveScreen() {
  g_open.store(true);
  WriteUnlessEnding(kBorrow);
}

void DrawLiveScreen(std::string_view text) { WriteUnlessEnding(text); }

void CloseLiveScreen() {
  WriteUnlessEnding(kGiveBack);
  if (!g_ending.load()) g_open.store(false);
}

void EndLiveScreen() {
  if (g_ending.exchange(true) || !g_open.load()) return;
  // A picture that is being written would else come out behind the giving back.
  for (int step = 0; step < kSteps && g_writing.load(); ++step) Sleep(kStepMs);
  // On a thread of its own, because a terminal that is stopped holds up whoever writes.
  const HANDLE thread = CreateThread(nullptr, 0, &GiveBack, nullptr, 0, nullptr);
  if (thread == nullptr) return;
  WaitForSingleObject(thread, kGiveBackMs);
  CloseHandle(thread);
}

}  // namespace monitor
