// The debugger's output: standard error, when VLPBIDI_DEBUG is set.

#include <debugapi.h>

#include <cstdio>
#include <cstdlib>

#include "platform/kernel/call.h"

VOID WINAPI OutputDebugStringA(LPCSTR text) {
  const platform::Call call("OutputDebugStringA", platform::Fails::never);
  if (text != nullptr && std::getenv("VLPBIDI_DEBUG") != nullptr) std::fputs(text, stderr);
}
