#include "provider/provider_context.h"

#include <atomic>

#include "provider/log_settings_reader.h"
#include "provider/operations.h"

namespace vlp {
namespace {

// The pointer is never cleared; the flag says whether it may be used.
std::atomic<ProviderContext*> g_context{nullptr};
std::atomic<bool> g_attached{false};

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
  } catch (...) {
    // The operations find no context and say so.
  }
}

void ProviderDetach(bool process_ends) noexcept {
  if (process_ends || !g_attached.exchange(false)) return;
  const std::unique_ptr<ProviderContext> context(g_context.load());
}

ProviderContext* CurrentContext() noexcept {
  return g_attached.load() ? g_context.load() : nullptr;
}

}  // namespace vlp
