#include "provider/result_queue.h"

#include "include/vlpbidi.h"

namespace vlp {
namespace {

// The event keeps one signal for several adds, so a wait may miss some. The limit is
// what bounds the delay then.
constexpr DWORD kLookAgainMs = 500;

}  // namespace

ResultQueue::ResultQueue(ResultList* list)
    : event_(CreateEventA(nullptr, FALSE, FALSE, nullptr)), list_(list) {}

ResultQueue::~ResultQueue() {
  if (running_.load() != 0) Stop();
}

void ResultQueue::Signal() { SetEvent(event_.Get()); }

void ResultQueue::Stop() {
  running_.store(0);
  Signal();
}

std::int32_t ResultQueue::Take(std::uint32_t* requestId, std::uint8_t* buffer,
                               std::uint32_t* size) {
  if (requestId == nullptr || size == nullptr) return VLPER_PARAM;
  const std::int32_t rc = TakeOrWait(requestId, buffer, size);
  // A record copied out in the moment of the stop counts as not delivered.
  return running_.load() != 0 ? rc : VLPER_TERMINATE;
}

std::int32_t ResultQueue::TakeOrWait(std::uint32_t* requestId, std::uint8_t* buffer,
                                     std::uint32_t* size) {
  while (running_.load() != 0) {
    std::unique_ptr<ResultRecord> record;
    switch (list_->TakeFirst(*size, buffer != nullptr, &record, size)) {
      case ResultList::Front::kTaken:
        return CopyOut(*record, requestId, buffer, size);
      case ResultList::Front::kTooSmall:
        return VLPER_BUFFERSIZE;
      case ResultList::Front::kNoBuffer:
        return VLPER_PARAM;
      case ResultList::Front::kNone:
        // Without an event, for want of memory at the start, the limit alone paces.
        if (WaitForSingleObject(event_.Get(), kLookAgainMs) == WAIT_FAILED) Sleep(kLookAgainMs);
    }
  }
  return VLPER_TERMINATE;
}

}  // namespace vlp
