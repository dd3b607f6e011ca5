#include "monitor/watch_log.h"

#include "monitor/data_view.h"

namespace monitor {
namespace {

constexpr std::size_t kFailuresKept = 5;

void NoteFailure(WatchLog& log, std::int32_t result, const SYSTEMTIME& time, bool in_a_row) {
  ++log.failures;
  if (in_a_row && !log.recent_failures.empty() && log.recent_failures.back().result == result) {
    ++log.recent_failures.back().times;
    log.recent_failures.back().time = time;
    return;
  }
  log.recent_failures.push_back({time, result, 1});
  if (log.recent_failures.size() > kFailuresKept) log.recent_failures.pop_front();
}

}  // namespace

Moment Now() {
  Moment now;
  now.tick = GetTickCount64();
  GetLocalTime(&now.time);
  return now;
}

void NoteRequest(WatchLog& log, const Moment& now) {
  ++log.requests;
  log.asking = true;
  log.asked_tick = now.tick;
}

Step NoteReading(WatchLog& log, const StatusReading& reading, const Moment& now) {
  const bool failed_before = log.latest.answer.result < 0;
  log.asking = false;
  log.latest = reading;
  if (reading.kind) log.kind = reading.kind;
  if (reading.answer.result < 0) {
    NoteFailure(log, reading.answer.result, now.time, failed_before);
    return Step::kFailed;
  }
  log.status_tick = now.tick;
  if (log.status && *log.status == reading.answer.data) return Step::kUnchanged;
  const bool first = !log.status;
  if (!first) {
    log.changes = Differences(*log.status, reading.answer.data);
    log.changed_time = now.time;
  }
  log.status = reading.answer.data;
  log.same_since_tick = now.tick;
  return first ? Step::kFirst : Step::kChanged;
}

}  // namespace monitor
