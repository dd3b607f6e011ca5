#include "support/module_reference.h"

namespace vlp {

HMODULE AddModuleReference() {
  HMODULE module = nullptr;
  const auto* const here = reinterpret_cast<LPCSTR>(&AddModuleReference);
  if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, here, &module) == FALSE) {
    return nullptr;
  }
  return module;
}

}  // namespace vlp
