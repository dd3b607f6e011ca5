// The module's entry and its one export.

#include <windows.h>

#include "include/vlpbidi.h"
#include "provider/provider_context.h"

extern "C" std::int32_t VLPGetProviderInfo(const ProviderTable** table) {
  if (table == nullptr) return VLPER_PARAM;
  const vlp::ContextUse use;
  if (use.Get() == nullptr) return VLPER_NOTSUPPORT;
  *table = &use.Get()->table;
  return 0;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      vlp::ProviderAttach();
      break;
    case DLL_PROCESS_DETACH:
      // A reserved argument means that the process ends.
      vlp::ProviderDetach(reserved != nullptr);
      break;
    default:
      break;
  }
  return TRUE;
}
