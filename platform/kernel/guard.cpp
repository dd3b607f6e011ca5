// The one lock, hidden from ThreadSanitizer, and the ordering edges stated to it.

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/kernel/state.h"

#if defined(__SANITIZE_THREAD__)
#define VLP_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VLP_TSAN 1
#endif
#endif

#if defined(VLP_TSAN)
extern "C" {
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}
#endif

namespace platform {
namespace {

thread_local int hidden = 0;     // nesting of Unseen and StateGuard
thread_local bool held = false;  // this thread holds the state lock

void hide() {
#if defined(VLP_TSAN)
  AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
  AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
  AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
#endif
}

void show() {
#if defined(VLP_TSAN)
  AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
  AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
  AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
#endif
}

}  // namespace

Unseen::Unseen() {
  hide();
  ++hidden;
}

Unseen::~Unseen() {
  --hidden;
  show();
}

StateGuard::StateGuard() {
  if (held) stop("the state lock is taken twice by one thread");
  hide();
  ++hidden;
  pthread_mutex_lock(&state().lock);
  held = true;
}

StateGuard::~StateGuard() {
  held = false;
  pthread_mutex_unlock(&state().lock);
  --hidden;
  show();
}

bool holds_state_lock() { return held; }

void happens_before([[maybe_unused]] const void* object) {
#if defined(VLP_TSAN)
  for (int i = 0; i < hidden; ++i) show();
  __tsan_release(const_cast<void*>(object));
  for (int i = 0; i < hidden; ++i) hide();
#endif
}

void happens_after([[maybe_unused]] const void* object) {
#if defined(VLP_TSAN)
  for (int i = 0; i < hidden; ++i) show();
  __tsan_acquire(const_cast<void*>(object));
  for (int i = 0; i < hidden; ++i) hide();
#endif
}

void stop(const char* text) {
  // Other threads may hold stdio's locks for ever: write past them.
  std::string line = std::string("VlpPlatform: ") + text + "\n";
  size_t sent = 0;
  while (sent < line.size()) {
    const ssize_t step = write(STDERR_FILENO, line.data() + sent, line.size() - sent);
    if (step <= 0) break;
    sent += static_cast<size_t>(step);
  }
  abort();
}

}  // namespace platform
