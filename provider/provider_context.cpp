#include "provider/provider_context.h"

#include <atomic>

#include "d4/xdlt.h"
#include "provider/log_settings_reader.h"
#include "provider/operations.h"
#include "support/tick_age.h"

namespace vlp {
namespace {

// The pointer is never cleared; the flag says whether it may be used.
std::atomic<ProviderContext*> g_context{nullptr};
std::atomic<bool> g_attached{false};
std::atomic<std::uint32_t> g_users{0};

constexpr DWORD kLeaveWaitMs = 5000;
constexpr DWORD kLeaveLookMs = 10;

bool AllUsersLeave() {
  const DWORD began = GetTickCount();
  while (g_users.load() != 0) {
    if (TickAge(began) >= kLeaveWaitMs) return false;
    Sleep(kLeaveLookMs);
  }
  return true;
}

}  // namespace

ProviderContext::ProviderContext() : settings(std::make_unique<LogSettings>(ReadLogSettings())) {
  registry = std::make_unique<PrinterRegistry>(settings.get());
  results = std::make_unique<ResultList>();
  queue = std::make_unique<ResultQueue>(results.get());
  table = MakeProviderTable();
}

ProviderContext::~ProviderContext() {
  queue.reset();
  results.reset();
  registry.reset();
  settings.reset();
}

void ProviderAttach() noexcept {
  if (g_attached.load()) return;
  try {
    g_context.store(std::make_unique<ProviderContext>().release());
    g_attached.store(true);
    XdltInitialize(nullptr);
  } catch (...) {
    // The operations find no context and say so.
  }
}

void ProviderDetach(bool process_ends) noexcept {
  if (process_ends || !g_attached.exchange(false)) return;
  XdltUninitialize();
  ProviderContext* const context = g_context.load();
  context->queue->Stop();
  if (AllUsersLeave()) std::unique_ptr<ProviderContext>(context).reset();
}

// Counted before the look at the flag, and the flag falls before the count is looked at:
// so either the detach waits for this user or the user finds no context.
ContextUse::ContextUse() noexcept {
  ++g_users;
  context_ = g_attached.load() ? g_context.load() : nullptr;
}

ContextUse::~ContextUse() { --g_users; }

}  // namespace vlp
