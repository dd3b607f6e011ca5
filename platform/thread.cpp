// Threads: their start, their two ends, suspension, priority.

#include <libloaderapi.h>
#include <processthreadsapi.h>
#include <pthread.h>
#include <setjmp.h>
#include <synchapi.h>
#include <sys/resource.h>
#include <winbase.h>
#include <winerror.h>

#include <memory>

#include "platform/fault_points.h"
#include "platform/kernel/thread_start.h"
#include "platform/loader.h"

namespace platform {
namespace {

struct Start {
  Thread* thread;
  LPTHREAD_START_ROUTINE routine;
  LPVOID parameter;
  bool tested;
};

// Where a thread goes back to when it leaves from amid other code.
struct WayOut {
  jmp_buf place;
  HMODULE module = nullptr;  // given back before the thread's end shows
  DWORD exit_code = 0;
};

thread_local WayOut* way_out = nullptr;

DWORD run(const Start& start, WayOut& out) {
  // Nothing that lives in this frame changes between the two returns of setjmp.
  if (setjmp(out.place) != 0) return out.exit_code;
  return start.routine(start.parameter);
}

void say(Thread& thread, const char* call) { thread.call.store(call, std::memory_order_relaxed); }

bool is_terminated(const Thread& thread) {
  const StateGuard guard;
  return thread.terminated;
}

// Threads pass through the loader's lock when they start and when they end.
void pass_loader(Thread& thread, const char* call) {
  say(thread, call);
  if (!is_terminated(thread)) const LoaderLock lock;
  say(thread, nullptr);
}

void end(Thread& thread, DWORD exit_code) {
  pass_loader(thread, "its end");
  happens_before(&thread);
  const StateGuard guard;
  set_current(nullptr);
  finish_thread(thread, exit_code);
  retire(thread);
}

void* thread_main(void* parameter) {
  std::unique_ptr<Start> start(static_cast<Start*>(parameter));
  Thread& thread = *start->thread;
  set_current(&thread);
  {
    const StateGuard guard;
    await_turn(thread);
  }
  happens_after(&thread);
  WayOut out;
  way_out = &out;
  DWORD exit_code = 0;
  if (!is_terminated(thread)) {
    pass_loader(thread, "its start");
    set_under_test(start->tested);
    exit_code = run(*start, out);
  }
  set_under_test(false);
  way_out = nullptr;
  if (out.module != nullptr && !is_terminated(thread)) {
    say(thread, "FreeLibraryAndExitThread");
    free_module(out.module);
    say(thread, nullptr);
  }
  end(thread, exit_code);
  dereference(&thread);
  return nullptr;
}

bool start_system_thread(Start* start, SIZE_T stack_size) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  // A size below the default is the SDK's commit size and means nothing here.
  size_t standard = 0;
  pthread_attr_getstacksize(&attributes, &standard);
  if (stack_size > standard)
    pthread_attr_setstacksize(&attributes, (stack_size + 4095) & ~SIZE_T{4095});
  pthread_t thread;
  const int error = pthread_create(&thread, &attributes, thread_main, start);
  pthread_attr_destroy(&attributes);
  return error == 0;
}

// The thread of a handle, the calling one's own included. With the lock.
Thread* find_thread(HANDLE handle) {
  if (handle == GetCurrentThread()) return &self();
  Object* object = lookup(handle);
  return object != nullptr && object->kind() == Thread::kKind ? static_cast<Thread*>(object)
                                                              : nullptr;
}

HANDLE create(const Start& prepared, SIZE_T stack_size, DWORD flags, LPDWORD thread_id) {
  auto start = std::make_unique<Start>(prepared);
  Thread& thread = *start->thread;
  HANDLE handle = nullptr;
  happens_before(&thread);
  {
    const StateGuard guard;
    thread.creator = "CreateThread";
    introduce(thread);
    handle = add_handle_locked(&thread, "CreateThread");
    if ((flags & CREATE_SUSPENDED) != 0) {
      thread.go = false;
      thread.phase = Thread::Phase::suspended;
      thread.suspend_count = 1;
    } else {
      // Counted before it exists, or the clock could move on without it.
      enter_schedule(thread);
    }
    if (thread_id != nullptr) *thread_id = thread.id;
  }
  if (start_system_thread(start.get(), stack_size)) {
    start.release();
    return handle;
  }
  {
    const StateGuard guard;
    withdraw(thread);
  }
  drop_handle(handle);
  dereference(&thread);
  fail_with(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

bool is_priority(int priority) {
  return (priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST) ||
         priority == THREAD_PRIORITY_IDLE || priority == THREAD_PRIORITY_TIME_CRITICAL;
}

void terminate(Thread& thread, DWORD exit_code) {
  thread.terminated = true;
  if (thread.phase == Thread::Phase::suspended) {
    enter_schedule(thread);
  } else if (thread.phase == Thread::Phase::blocked) {
    wake(thread, WAIT_FAILED);
  }
  finish_thread(thread, exit_code);
  update_attention();
}

}  // namespace

void leave_thread(DWORD exit_code) {
  if (way_out == nullptr) stop("a thread that the layer didn't start is to end from within");
  self().call.store(nullptr, std::memory_order_relaxed);
  way_out->exit_code = exit_code;
  longjmp(way_out->place, 1);
}

}  // namespace platform

using platform::Call;
using platform::fail_with;
using platform::Fails;
using platform::StateGuard;
using platform::Thread;

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stack_size, LPTHREAD_START_ROUTINE start,
                           LPVOID parameter, DWORD flags, LPDWORD thread_id) {
  const Call call("CreateThread");
  if (call.fault()) return fail_with(*call.fault()), nullptr;
  Thread* thread = nullptr;
  {
    const platform::Unseen unseen;
    thread = new Thread;
  }
  return platform::create({thread, start, parameter, platform::under_test()}, stack_size, flags,
                          thread_id);
}

DWORD WINAPI ResumeThread(HANDLE handle) {
  const Call call("ResumeThread");
  constexpr DWORD kFailed = 0xffffffff;
  if (call.fault()) return fail_with(*call.fault()), kFailed;
  const StateGuard guard;
  Thread* thread = platform::find_thread(handle);
  if (thread == nullptr) return fail_with(ERROR_INVALID_HANDLE), kFailed;
  const int count = thread->suspend_count;
  if (count == 1) {
    platform::happens_before(thread);
    thread->suspend_count = 0;
    platform::enter_schedule(*thread);
  }
  return static_cast<DWORD>(count);
}

BOOL WINAPI TerminateThread(HANDLE handle, DWORD exit_code) {
  const Call call("TerminateThread");
  if (call.fault()) return fail_with(*call.fault());
  Thread& self = platform::self();
  const StateGuard guard;
  Thread* thread = platform::find_thread(handle);
  if (thread == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  if (thread->ended) return TRUE;
  if (thread == &self) platform::stop("TerminateThread by a thread on itself is not supplied");
  platform::terminate(*thread, exit_code);
  return TRUE;
}

BOOL WINAPI GetExitCodeThread(HANDLE handle, LPDWORD exit_code) {
  const Call call("GetExitCodeThread");
  if (call.fault()) return fail_with(*call.fault());
  const StateGuard guard;
  const Thread* thread = platform::find_thread(handle);
  if (thread == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  *exit_code = thread->exit_code;
  return TRUE;
}

BOOL WINAPI SetThreadPriority(HANDLE handle, int priority) {
  const Call call("SetThreadPriority");
  if (call.fault()) return fail_with(*call.fault());
  const StateGuard guard;
  Thread* thread = platform::find_thread(handle);
  if (thread == nullptr) return fail_with(ERROR_INVALID_HANDLE);
  if (!platform::is_priority(priority)) return fail_with(ERROR_INVALID_PARAMETER);
  thread->priority = priority;
  return TRUE;
}

int WINAPI GetThreadPriority(HANDLE handle) {
  const Call call("GetThreadPriority");
  if (call.fault()) return fail_with(*call.fault()), THREAD_PRIORITY_ERROR_RETURN;
  const StateGuard guard;
  const Thread* thread = platform::find_thread(handle);
  if (thread == nullptr) return fail_with(ERROR_INVALID_HANDLE), THREAD_PRIORITY_ERROR_RETURN;
  return thread->priority;
}

HANDLE WINAPI GetCurrentThread(VOID) { return reinterpret_cast<HANDLE>(LONG_PTR{-2}); }

DWORD WINAPI GetCurrentThreadId(VOID) {
  const Call call("GetCurrentThreadId", Fails::never);
  return platform::self().id;
}

VOID WINAPI FreeLibraryAndExitThread(HMODULE module, DWORD exit_code) {
  // No Call: it would be left without its end.
  platform::Thread& thread = platform::self();
  platform::say(thread, "FreeLibraryAndExitThread");
  if (platform::way_out != nullptr) platform::way_out->module = module;
  platform::leave_thread(exit_code);
}
