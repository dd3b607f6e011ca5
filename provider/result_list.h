#pragma once

// Finished answers, first in, first out, whichever printer they came from.

#include <cstdint>
#include <list>
#include <memory>

#include "support/critical_section.h"

namespace vlp {

// One finished answer. The data is a copy of its own.
struct ResultRecord {
  std::uint32_t requestId = 0;
  std::unique_ptr<std::uint8_t[]> data;  // there even at length 0
  std::uint32_t length = 0;              // bytes
};

// Copies a record out without waiting. VLPER_PARAM for a null requestId, and for a null
// buffer with data to copy; VLPER_BUFFERSIZE if `*size` is below the length; else the
// number of bytes. But for a null requestId, `*size` becomes the length.
std::int32_t CopyOut(const ResultRecord& record, std::uint32_t* requestId, std::uint8_t* buffer,
                     std::uint32_t* size);

class ResultList {
 public:
  ResultList() = default;
  ~ResultList() { Clear(); }
  ResultList(const ResultList&) = delete;
  ResultList& operator=(const ResultList&) = delete;

  // Appends a copy of `length` bytes, 0 allowed. Any thread; signals nobody. Null if
  // memory runs out or the length is above INT32_MAX; the list is then as before. The
  // record is the list's and may be taken and gone at any moment.
  const ResultRecord* Add(std::uint32_t requestId, const std::uint8_t* data,
                          std::uint32_t length) noexcept;

  // Removes the record at this address. True also when it isn't there.
  bool Remove(const ResultRecord* record);

  void Clear();

  std::uint32_t Count() const;

  // What the taker finds at the front.
  enum class Front { kNone, kTaken, kTooSmall, kNoBuffer };

  // Takes the first record out if it fits into `capacity` bytes, and if there is a
  // buffer for what it holds. Too small: the record stays and `*needed` is its length.
  Front TakeFirst(std::uint32_t capacity, bool has_buffer, std::unique_ptr<ResultRecord>* taken,
                  std::uint32_t* needed);

 private:
  using Records = std::list<std::unique_ptr<ResultRecord>>;

  mutable CriticalSection lock_;
  Records records_ VLP_GUARDED_BY(lock_);
  std::uint32_t count_ VLP_GUARDED_BY(lock_) = 0;
};

}  // namespace vlp
