#include "monitor/watch.h"

#include <windows.h>

#include <algorithm>
#include <exception>

#include "monitor/live_screen.h"
#include "monitor/lock.h"
#include "monitor/report_exchange.h"
#include "monitor/screen_text.h"
#include "monitor/system.h"
#include "monitor/watch_log.h"

namespace monitor {
namespace {

// How often the screen is drawn while nothing arrives: ages run on.
constexpr DWORD kRedrawMs = 200;

// Until the next reading is due, counted from the start of the last one.
void WaitForTurn(const WatchLog& log, std::uint32_t every_ms) {
  const ULONGLONG passed = GetTickCount64() - log.asked_tick;
  if (passed < every_ms) Sleep(static_cast<DWORD>(every_ms - passed));
}

bool IsLast(const WatchLog& log, const WatchOrder& order) {
  return order.count && log.requests >= *order.count;
}

// A watch whose readings are made by a thread of its own.
class ScreenWatch {
 public:
  ScreenWatch(StatusReader& reader, const WatchOrder& order) : reader_(reader), order_(order) {
    InitializeCriticalSection(&lock_);
  }
  ~ScreenWatch() {
    if (thread_ != nullptr) CloseHandle(thread_);
    if (news_ != nullptr) CloseHandle(news_);
    DeleteCriticalSection(&lock_);
  }
  ScreenWatch(const ScreenWatch&) = delete;
  ScreenWatch& operator=(const ScreenWatch&) = delete;

  bool Start() {
    news_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (news_ != nullptr) thread_ = CreateThread(nullptr, 0, &Entry, this, 0, nullptr);
    return thread_ != nullptr;
  }

  // False once the readings are over.
  bool WaitForNews() {
    const HANDLE either[] = {thread_, news_};
    return WaitForMultipleObjects(2, either, FALSE, kRedrawMs) != WAIT_OBJECT_0;
  }

  WatchLog Log() {
    const Lock lock(lock_);
    return log_;
  }

 private:
  static DWORD WINAPI Entry(void* self) {
    try {
      static_cast<ScreenWatch*>(self)->ReadOn();
    } catch (const std::exception&) {
      // Out of memory: the readings are over.
    }
    return 0;
  }

  void ReadOn() {
    for (;;) {
      Note([&] { NoteRequest(log_, Now()); });
      const StatusReading reading = reader_.Read();
      Note([&] { NoteReading(log_, reading, Now()); });
      // This thread alone changes the log.
      if (IsLast(log_, order_)) return;
      WaitForTurn(log_, order_.every_ms);
    }
  }

  template <typename Change>
  void Note(Change change) {
    const Lock lock(lock_);
    change();
    SetEvent(news_);
  }

  StatusReader& reader_;
  const WatchOrder& order_;
  HANDLE news_ = nullptr;  // auto-reset
  HANDLE thread_ = nullptr;

  CRITICAL_SECTION lock_;
  WatchLog log_;  // under lock_
};

}  // namespace

bool WatchInLines(StatusReader& reader, const WatchOrder& order, const Style& style) {
  WatchLog log;
  for (;;) {
    NoteRequest(log, Now());
    const StatusReading reading = reader.Read();
    const Moment now = Now();
    const Step step = NoteReading(log, reading, now);
    const bool taken = WriteOutput(ReportReading(order.printer, reading, step, now.time, style));
    if (!taken || IsLast(log, order)) return log.failures == 0;
    WaitForTurn(log, order.every_ms);
  }
}

bool WatchOnScreen(StatusReader& reader, const WatchOrder& order, const Style& style) {
  ScreenWatch watch(reader, order);
  if (!watch.Start()) return WatchInLines(reader, order, style);
  OpenLiveScreen();
  bool reading = true;
  while (reading) {
    reading = watch.WaitForNews();
    // Also once more behind the last reading.
    DrawLiveScreen(ScreenText(ScreenLines(order, watch.Log(), Now(), TerminalSize(), style)));
  }
  CloseLiveScreen();
  const WatchLog log = watch.Log();
  WriteOutput(ReportStatus(order.printer, log.latest, style));
  return log.failures == 0;
}

}  // namespace monitor
