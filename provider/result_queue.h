#pragma once

// The waiting side over the list of results.

#include <atomic>
#include <cstdint>

#include "provider/result_list.h"
#include "support/handles.h"

namespace vlp {

class ResultQueue {
 public:
  // The list isn't owned and must outlive the queue.
  explicit ResultQueue(ResultList* list);
  ~ResultQueue();
  ResultQueue(const ResultQueue&) = delete;
  ResultQueue& operator=(const ResultQueue&) = delete;

  // The operation GetResult: waits for the first record and hands it out. Returns the
  // number of bytes, VLPER_BUFFERSIZE with the size needed in `*size` (the record stays),
  // VLPER_TERMINATE once stopped, VLPER_PARAM for a null argument that is needed. Meant
  // for one thread; several share the records without harm.
  std::int32_t Take(std::uint32_t* requestId, std::uint8_t* buffer, std::uint32_t* size);

  // Wakes the taker; called behind each add.
  void Signal();

  // For good. Records stay where they are, and new ones can still be added.
  void Stop();

 private:
  std::int32_t TakeOrWait(std::uint32_t* requestId, std::uint8_t* buffer, std::uint32_t* size);

  KernelHandle event_;  // auto-reset
  ResultList* list_;
  std::atomic<std::uint32_t> running_{1};
};

}  // namespace vlp
