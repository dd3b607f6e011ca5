#pragma once

// The library's context, for tests that look into it.

#include "provider/provider_context.h"

namespace provider_test {

// Null unless attached. Nothing keeps it alive: only for a test that knows that it is.
inline vlp::ProviderContext* Context() {
  const vlp::ContextUse use;
  return use.Get();
}

}  // namespace provider_test
