#pragma once

// The one process-wide object behind the seven operations.

#include <memory>

#include "include/vlpbidi.h"
#include "provider/printer_registry.h"
#include "provider/result_list.h"
#include "provider/result_queue.h"
#include "support/log_settings.h"

namespace vlp {

struct ProviderContext {
  ProviderContext();
  // Queue, list, registry, settings, in this order.
  ~ProviderContext();
  ProviderContext(const ProviderContext&) = delete;
  ProviderContext& operator=(const ProviderContext&) = delete;

  std::unique_ptr<PrinterRegistry> registry;
  std::unique_ptr<ResultList> results;
  std::unique_ptr<ResultQueue> queue;
  std::unique_ptr<LogSettings> settings;
  ProviderTable table{};
};

// Builds the context, publishes it and starts the D4 engine. Without memory for it the
// library is loaded all the same and its operations give VLPER_NOTSUPPORT. Called by the
// module's entry; a second call does nothing.
void ProviderAttach() noexcept;

// Ends the engine as far as no printer uses it, stops the queue, waits at most five
// seconds for callers that are still inside, and destroys the context; with a caller left
// it is leaked instead of freed under it. At the end of the process nothing is touched:
// other threads are gone, wherever they were. A second call does nothing.
void ProviderDetach(bool process_ends) noexcept;

// Keeps the context alive for one operation.
class ContextUse {
 public:
  ContextUse() noexcept;
  ~ContextUse();
  ContextUse(const ContextUse&) = delete;
  ContextUse& operator=(const ContextUse&) = delete;

  // The context from attach to detach, else null.
  ProviderContext* Get() const noexcept { return context_; }

 private:
  ProviderContext* context_;
};

}  // namespace vlp
