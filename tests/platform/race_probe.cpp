// Two threads that call the layer a lot and then write one plain integer. Without an
// order between them ThreadSanitizer must say so; with one of the documented orders it must not.

#include <windows.h>

#include <cstdio>
#include <cstring>

namespace {

int plain = 0;

// What would order the two threads if the layer's own lock did.
void call_the_layer() {
  HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  for (int i = 0; i < 50; ++i) {
    EnterCriticalSection(&section);
    SetEvent(event);
    WaitForSingleObject(event, 10);
    LeaveCriticalSection(&section);
    GetTickCount();
  }
  DeleteCriticalSection(&section);
  CloseHandle(event);
}

struct Meeting {
  HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  HANDLE mutex = CreateMutexA(nullptr, FALSE, nullptr);
  CRITICAL_SECTION section;
};

DWORD WINAPI write_alone(LPVOID) {
  call_the_layer();
  ++plain;
  call_the_layer();
  return 0;
}

DWORD WINAPI write_then_set(LPVOID parameter) {
  call_the_layer();
  ++plain;
  SetEvent(static_cast<Meeting*>(parameter)->event);
  return 0;
}

DWORD WINAPI write_in_mutex(LPVOID parameter) {
  const HANDLE mutex = static_cast<Meeting*>(parameter)->mutex;
  WaitForSingleObject(mutex, INFINITE);
  ++plain;
  ReleaseMutex(mutex);
  return 0;
}

DWORD WINAPI write_in_section(LPVOID parameter) {
  CRITICAL_SECTION& section = static_cast<Meeting*>(parameter)->section;
  EnterCriticalSection(&section);
  ++plain;
  LeaveCriticalSection(&section);
  return 0;
}

HANDLE start(LPTHREAD_START_ROUTINE routine, LPVOID parameter, DWORD flags = 0) {
  return CreateThread(nullptr, 0, routine, parameter, flags, nullptr);
}

void join(HANDLE thread) {
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

// Both at once: no call orders their writes.
void unordered() {
  const HANDLE first = start(write_alone, nullptr);
  const HANDLE second = start(write_alone, nullptr);
  join(first);
  join(second);
}

void ordered_by_event(Meeting& meeting) {
  const HANDLE other = start(write_then_set, &meeting);
  call_the_layer();
  WaitForSingleObject(meeting.event, INFINITE);
  ++plain;
  join(other);
}

void ordered_by_mutex(Meeting& meeting) {
  const HANDLE first = start(write_in_mutex, &meeting);
  const HANDLE second = start(write_in_mutex, &meeting);
  join(first);
  join(second);
}

void ordered_by_section(Meeting& meeting) {
  const HANDLE first = start(write_in_section, &meeting);
  const HANDLE second = start(write_in_section, &meeting);
  join(first);
  join(second);
}

void ordered_by_start() {
  ++plain;
  join(start(write_alone, nullptr));
}

void ordered_by_end() {
  join(start(write_alone, nullptr));
  ++plain;
}

void ordered_by_resume() {
  const HANDLE thread = start(write_alone, nullptr, CREATE_SUSPENDED);
  ++plain;
  ResumeThread(thread);
  join(thread);
}

}  // namespace

int main(int count, char** arguments) {
  Meeting meeting;
  InitializeCriticalSection(&meeting.section);
  const char* way = count > 1 ? arguments[1] : "";
  if (std::strcmp(way, "unordered") == 0) {
    unordered();
  } else if (std::strcmp(way, "event") == 0) {
    ordered_by_event(meeting);
  } else if (std::strcmp(way, "mutex") == 0) {
    ordered_by_mutex(meeting);
  } else if (std::strcmp(way, "section") == 0) {
    ordered_by_section(meeting);
  } else if (std::strcmp(way, "start") == 0) {
    ordered_by_start();
  } else if (std::strcmp(way, "end") == 0) {
    ordered_by_end();
  } else if (std::strcmp(way, "resume") == 0) {
    ordered_by_resume();
  } else {
    std::puts("which way?");
    return 2;
  }
  DeleteCriticalSection(&meeting.section);
  CloseHandle(meeting.event);
  CloseHandle(meeting.mutex);
  // Every way writes twice; only the unordered one may lose a write.
  return plain == 2 || std::strcmp(way, "unordered") == 0 ? 0 : 1;
}
