#pragma once

// How a caller gets into a link and out of it, and how a link ends.

#include <cstdint>
#include <optional>

#include "d4/state.h"

namespace vlp {

// One public operation's stay in a link: counted, through the gate, alone inside. The
// scope's end lets the next one in.
class LinkStay {
 public:
  // Waits for the gate. Of use only if Result() is 0; XDLT_ERR_NOLINK for a link that is
  // closing or gone by then, XDLT_ERR_GATE_TIMEOUT.
  LinkStay(Engine& engine, XdltLink& link) noexcept;
  // Takes over a count and a gate that the caller has got already.
  struct Taken {};
  LinkStay(Engine& engine, XdltLink& link, Taken) noexcept;
  ~LinkStay();
  LinkStay(const LinkStay&) = delete;
  LinkStay& operator=(const LinkStay&) = delete;

  std::int32_t Result() const { return result_; }

  // The same end of the stay with an end of the link, if this result asks for it or the
  // link is closed. The last one out frees it.
  void LeaveTerminating(std::int32_t result);

  // Refuses newcomers, and lets every call that is counted already through and out.
  void LetOthersOut();

 private:
  void Leave();

  Engine& engine_;
  XdltLink& link_;
  std::int32_t result_ = 0;
  std::optional<LockGuard> inside_;
  bool counted_ = true;
  bool gated_ = true;
};

// What begins each operation on a channel, when the link was checked: XDLT_ERR_NOT_READY
// unless it is open, XDLT_ERR_NOLINK for one without a gate.
std::int32_t CheckReady(const XdltLink& link);

// Ends the link if `result` is fatal or the link is closed, and nobody is inside any more.
// A breach by the device is told to it. Always 0. `timeout` in ms for the read thread's
// end, which is then forced and nothing freed; -1 waits without limit.
std::int32_t XdltTerminate(Engine& engine, XdltLink& link, std::int32_t result,
                           std::int32_t timeout) noexcept;
inline constexpr std::int32_t kWithoutLimit = -1;

// Starts the read thread. XDLT_ERR_RESOURCE if there is none.
std::int32_t StartReadThread(XdltLink& link);

// Tells the read thread to end and waits; INFINITE for no limit. When the time is over the
// thread is killed and the engine's memory left alone for good.
void StopReadThread(Engine& engine, XdltLink& link, DWORD limit_ms);

}  // namespace vlp
