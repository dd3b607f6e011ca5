#include "tests/d4/scripted_far.h"

#include <algorithm>
#include <utility>

#include "platform/faults.h"
#include "platform/kernel/scenario.h"
#include "tests/d4/wire_text.h"

namespace d4_test {
namespace {

using platform::elapsed_ms;

// Empty reads within one virtual ms: more are a loop that passes no time.
constexpr unsigned kSpinLimit = 1000;

std::uint64_t moment(When when) {
  const std::uint64_t now = elapsed_ms();
  return when.absolute ? std::max(when.ms, now) : now + when.ms;
}

std::optional<Failure> strike(std::vector<ScriptedPort::Far::Armed>& armed) {
  std::optional<Failure> failure;
  for (ScriptedPort::Far::Armed& one : armed) {
    const bool strikes = one.left == 0 ? one.from_then_on : --one.left == 0;
    if (strikes) failure = one.failure;
  }
  return failure;
}

}  // namespace

ScriptedPort::Far::Far(std::string port_name)
    : name(std::move(port_name)), news_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {}

void ScriptedPort::Far::say(const Bytes& bytes, When when, const Pieces& pieces) {
  queue({bytes, when, pieces}, false);
}

void ScriptedPort::Far::queue(const Answer& answer, bool asked) {
  const std::uint64_t due = moment(answer.when);
  const auto behind =
      std::upper_bound(coming.begin(), coming.end(), due,
                       [](std::uint64_t ms, const Coming& other) { return ms < other.due_ms; });
  coming.insert(behind, {due, answer.bytes, 0, {answer.pieces.begin(), answer.pieces.end()}});
  said_.push_back({++order_, due, answer.bytes, asked});
}

void ScriptedPort::Far::remove(When when) {
  const std::uint64_t at = moment(when);
  gone_ms_ = std::min(gone_ms_.value_or(at), at);
}

bool ScriptedPort::Far::is_gone() const { return gone_ms_ && *gone_ms_ <= elapsed_ms(); }

void ScriptedPort::Far::breach(const std::string& text) {
  breaches.push_back(std::to_string(elapsed_ms()) + " ms: " + text);
}

// A fault that a test has armed for the engine may strike here; these must not fail.
void ScriptedPort::Far::tell() {
  for (unsigned tries = 0; tries < 3 && SetEvent(news_.Get()) == FALSE; ++tries) {
  }
}

void ScriptedPort::Far::wait_for_news(std::optional<std::uint64_t> until_ms) {
  const std::uint64_t now = elapsed_ms();
  DWORD wait = INFINITE;
  if (until_ms) wait = *until_ms > now ? static_cast<DWORD>(*until_ms - now) : 0;
  lock_.Leave();
  // One that fails has the caller look again, and wait again.
  WaitForSingleObject(news_.Get(), wait);
  lock_.Enter();
}

bool ScriptedPort::Far::pass(std::uint64_t until_ms) {
  while (!is_gone() && elapsed_ms() < until_ms) {
    wait_for_news(gone_ms_ ? std::min(*gone_ms_, until_ms) : until_ms);
  }
  return !is_gone();
}

std::size_t ScriptedPort::Far::begin(std::vector<Transfer>& list, std::uint32_t asked) {
  if (inside_++ > 0) breach("a transfer began while another was inside");
  Transfer transfer;
  transfer.order = ++order_;
  transfer.began_ms = elapsed_ms();
  transfer.asked = asked;
  transfer.thread = GetCurrentThreadId();
  list.push_back(transfer);
  return list.size() - 1;
}

std::uint32_t ScriptedPort::Far::end(Transfer& transfer, bool success, DWORD error) {
  --inside_;
  transfer.ended_ms = elapsed_ms();
  transfer.success = success;
  transfer.ended = true;
  if (inside_ > 0) tell();  // the event releases one only
  SetLastError(error);
  return success ? 1 : 0;
}

// --- Writes ----------------------------------------------------------------------------------

std::uint32_t ScriptedPort::Far::write(const std::uint8_t* from, std::uint32_t count,
                                       std::uint32_t* written) {
  const platform::Exempt exempt;
  const DWORD kept = GetLastError();
  const vlp::LockGuard guard(lock_);
  const std::size_t index = begin(writes, count);
  if (from == nullptr || written == nullptr || count == 0) {
    breach("a write of nothing, or with a null pointer");
    return end(writes[index], false, kPortError);
  }
  const Bytes bytes(from, from + count);
  writes[index].bytes = bytes;
  *written = 0;
  if (is_gone()) return end(writes[index], false, kRemovedError);
  const Fate fate = meet(bytes);
  if (!pass(elapsed_ms() + fate.takes_ms)) return end(writes[index], false, kRemovedError);
  Transfer& transfer = writes[index];
  if (fate.failure) {
    *written = transfer.moved = std::min(fate.failure->bytes, count);
    return end(transfer, false, fate.failure->error);
  }
  *written = transfer.moved = count - std::min(fate.less, count);
  if (fate.less == 0) consequences(fate);
  return end(transfer, true, kept);
}

ScriptedPort::Far::Fate ScriptedPort::Far::meet(const Bytes& bytes) {
  Fate fate;
  fate.step = match(bytes);
  fate.takes_ms = writes_take_ms;
  fate.failure = strike(write_failures);
  if (const auto shorter = strike(short_writes)) fate.less = shorter->bytes;
  if (fate.step) {
    const Expected& step = script[*fate.step];
    if (step.takes_ms != 0) fate.takes_ms = step.takes_ms;
    if (step.failure) fate.failure = step.failure;
    if (step.less != 0) fate.less = step.less;
  }
  if (fate.failure && fate.failure->after_ms != 0) fate.takes_ms = fate.failure->after_ms;
  return fate;
}

// The step that this write is, which it uses up. The next one in order also if it is another than
// expected, so that the conversation goes on.
std::optional<std::size_t> ScriptedPort::Far::match(const Bytes& bytes) {
  std::optional<std::size_t> next;
  std::optional<std::size_t> loose;
  for (std::size_t at = 0; at < script.size(); ++at) {
    if (script[at].left == 0) continue;
    if (script[at].any_time) {
      if (!loose && script[at].bytes == bytes) loose = at;
    } else if (!next) {
      next = at;
    }
  }
  if (loose && !(next && script[*next].bytes == bytes)) next = loose;
  if (!next) {
    if (!ignores_the_rest) breach("unexpected: " + hex_text(bytes) + "  " + wire_text(bytes));
    return std::nullopt;
  }
  Expected& step = script[*next];
  --step.left;
  if (step.bytes != bytes) {
    breach("came: " + hex_text(bytes) + "  " + wire_text(bytes) +
           "\n      instead of: " + hex_text(step.bytes) + "  " + wire_text(step.bytes));
  }
  return next;
}

void ScriptedPort::Far::consequences(const Fate& fate) {
  if (!fate.step) return;
  const Expected& step = script[*fate.step];
  for (const Answer& answer : step.answers) queue(answer, true);
  if (step.removal) remove(*step.removal);
  tell();
}

// --- Reads -----------------------------------------------------------------------------------

std::uint32_t ScriptedPort::Far::read(std::uint8_t* buffer, std::uint32_t capacity,
                                      std::uint32_t* got) {
  const platform::Exempt exempt;
  const DWORD kept = GetLastError();
  const vlp::LockGuard guard(lock_);
  const std::size_t index = begin(reads, capacity);
  if (buffer == nullptr || got == nullptr || capacity == 0) {
    breach("a read of nothing, or with a null pointer");
    return end(reads[index], false, kPortError);
  }
  if (is_gone()) return end(reads[index], false, kRemovedError);
  if (const auto failure = strike(read_failures)) {
    return fail_this_read(index, *failure, buffer, got);
  }
  const std::uint64_t began = elapsed_ms();
  bool held_back = false;  // bytes are due, but this read is to bring none
  while (!is_gone()) {
    if (!held_back && is_due()) {
      const std::uint32_t limit = limit_of_front();
      if (limit > 0) {
        deliver(reads[index], buffer, std::min(limit, capacity));
        *got = reads[index].moved;
        return end(reads[index], true, kept);
      }
      if (idle == Idle::block) break;
      held_back = true;
    }
    if (idle == Idle::at_once || (idle == Idle::wait && elapsed_ms() >= began + idle_ms)) break;
    std::optional<std::uint64_t> until = gone_ms_;
    if (idle == Idle::wait) until = std::min(until.value_or(UINT64_MAX), began + idle_ms);
    if (!held_back && !coming.empty()) {
      until = std::min(until.value_or(UINT64_MAX), coming.front().due_ms);
    }
    wait_for_news(until);
  }
  if (is_gone()) return end(reads[index], false, kRemovedError);
  guard_against_spin();
  const std::uint32_t result = end_empty(reads[index], got);
  SetLastError(kept);
  return result;
}

std::uint32_t ScriptedPort::Far::fail_this_read(std::size_t index, const Failure& failure,
                                                std::uint8_t* buffer, std::uint32_t* got) {
  if (!pass(elapsed_ms() + failure.after_ms)) return end(reads[index], false, kRemovedError);
  if (failure.bytes > 0 && is_due()) {
    deliver(reads[index], buffer, std::min(failure.bytes, reads[index].asked));
    *got = reads[index].moved;
  }
  return end(reads[index], false, failure.error);
}

std::uint32_t ScriptedPort::Far::end_empty(Transfer& transfer, std::uint32_t* got) {
  if (stores_zero) *got = 0;
  return end(transfer, true, GetLastError());
}

bool ScriptedPort::Far::is_due() const {
  return !coming.empty() && coming.front().due_ms <= elapsed_ms();
}

// An answer of no bytes counts as one to deliver: the read that ends with it brings nothing.
std::uint32_t ScriptedPort::Far::limit_of_front() {
  std::uint32_t limit = most_per_read;
  std::deque<std::uint32_t>& pieces = coming.front().pieces;
  if (!pieces.empty()) {
    limit = std::min(limit, pieces.front());
    pieces.pop_front();
  }
  return limit;
}

void ScriptedPort::Far::deliver(Transfer& transfer, std::uint8_t* buffer, std::uint32_t limit) {
  do {
    Coming& front = coming.front();
    const std::size_t count =
        std::min<std::size_t>(limit - transfer.moved, front.bytes.size() - front.offset);
    const auto from = front.bytes.begin() + static_cast<std::ptrdiff_t>(front.offset);
    const auto to = from + static_cast<std::ptrdiff_t>(count);
    std::copy(from, to, buffer + transfer.moved);
    transfer.bytes.insert(transfer.bytes.end(), from, to);
    transfer.moved += static_cast<std::uint32_t>(count);
    front.offset += count;
    if (front.offset < front.bytes.size()) return;
    coming.pop_front();
  } while (spans_answers && transfer.moved < limit && is_due());
}

void ScriptedPort::Far::guard_against_spin() {
  if (spin_ms_ != elapsed_ms()) spin_reads_ = 0;
  spin_ms_ = elapsed_ms();
  if (++spin_reads_ <= kSpinLimit) return;
  if (!std::exchange(spin_told_, true)) {
    breach(std::to_string(kSpinLimit) + " empty reads at one moment");
  }
  pass(elapsed_ms() + 1);
}

}  // namespace d4_test
