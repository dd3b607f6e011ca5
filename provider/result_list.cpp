#include "provider/result_list.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "include/vlpbidi.h"

namespace vlp {

std::int32_t CopyOut(const ResultRecord& record, std::uint32_t* requestId, std::uint8_t* buffer,
                     std::uint32_t* size) {
  if (requestId == nullptr) return VLPER_PARAM;
  const bool fits = *size >= record.length;
  *size = record.length;
  if (!fits) return VLPER_BUFFERSIZE;
  if (buffer == nullptr && record.data != nullptr && record.length != 0) return VLPER_PARAM;
  *requestId = record.requestId;
  if (record.data != nullptr && record.length != 0) {
    std::memcpy(buffer, record.data.get(), record.length);
  }
  return static_cast<std::int32_t>(record.length);
}

const ResultRecord* ResultList::Add(std::uint32_t requestId, const std::uint8_t* data,
                                    std::uint32_t length) noexcept {
  // A record's length comes back as a positive result.
  if (length > static_cast<std::uint32_t>(INT32_MAX)) return nullptr;
  try {
    // All of the making lies outside of the lock, the list's node too.
    Records made;
    made.push_back(std::make_unique<ResultRecord>());
    ResultRecord& record = *made.front();
    record.requestId = requestId;
    record.data = std::make_unique_for_overwrite<std::uint8_t[]>(length);
    if (length != 0) std::memcpy(record.data.get(), data, length);
    record.length = length;

    const LockGuard guard(lock_);
    records_.splice(records_.end(), made);
    ++count_;
    return &record;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

bool ResultList::Remove(const ResultRecord* record) {
  Records removed;
  const LockGuard guard(lock_);
  const auto found = std::find_if(records_.begin(), records_.end(),
                                  [record](const auto& each) { return each.get() == record; });
  if (found == records_.end()) return true;
  removed.splice(removed.end(), records_, found);
  --count_;
  return true;
}

void ResultList::Clear() {
  Records removed;
  const LockGuard guard(lock_);
  removed.swap(records_);
  count_ = 0;
}

std::uint32_t ResultList::Count() const {
  const LockGuard guard(lock_);
  return count_;
}

ResultList::Front ResultList::TakeFirst(std::uint32_t capacity, bool has_buffer,
                                        std::unique_ptr<ResultRecord>* taken,
                                        std::uint32_t* needed) {
  const LockGuard guard(lock_);
  if (count_ == 0) return Front::kNone;
  const ResultRecord& first = *records_.front();
  if (capacity < first.length) {
    *needed = first.length;
    return Front::kTooSmall;
  }
  if (!has_buffer && first.length != 0) return Front::kNoBuffer;
  *taken = std::move(records_.front());
  records_.pop_front();
  --count_;
  return Front::kTaken;
}

}  // namespace vlp
