// A second process that logs as a printer's object does.
//
//   log_writer DIRECTORY put          logs one line; ends with what the call gave, or with
//                                     100 if it changed the last error
//   log_writer DIRECTORY mutex        ends as it found the log's mutex, and with it
//   log_writer DIRECTORY many LETTER  logs lines and stamps with rotation; ends with 0

#include <windows.h>

#include <cstring>
#include <string>

#include "diag/dbg_log.h"
#include "tests/diag/log_writer.h"

namespace {

using diag_test::kLinesOfAWriter;
using diag_test::kSharedLimit;

int put(vlp::DbgLog& log) {
  SetLastError(5);
  const int result = vlp::DbgLogPut(&log, 1, 0, "of another process");
  return GetLastError() == 5 ? result : 100;
}

// Ends with the mutex in its hands if it gets it.
[[noreturn]] void look_at_mutex(const vlp::DbgLog& log) {
  switch (WaitForSingleObject(log.mutex.Get(), 0)) {
    case WAIT_OBJECT_0:
      ExitProcess(diag_test::kMutexFree);
    case WAIT_TIMEOUT:
      ExitProcess(diag_test::kMutexHeld);
    case WAIT_ABANDONED:
      ExitProcess(diag_test::kMutexAbandoned);
    default:
      ExitProcess(99);
  }
}

int put_many(vlp::DbgLog& log, char letter) {
  const std::string text(60, letter);
  for (int i = 0; i < kLinesOfAWriter; ++i) {
    SetLastError(5);
    vlp::DbgLogPut(&log, 1, 0, text.c_str());
    if (i % 8 == 7) vlp::DbgStampLimit(&log);
    if (GetLastError() != 5) return 100;
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 99;
  vlp::DbgLog log("printer", arguments[1], 1, kSharedLimit);
  if (std::strcmp(arguments[2], "put") == 0) return put(log);
  if (std::strcmp(arguments[2], "mutex") == 0) look_at_mutex(log);
  if (std::strcmp(arguments[2], "many") == 0 && count == 4) return put_many(log, *arguments[3]);
  return 99;
}
