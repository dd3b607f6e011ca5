#include "support/wide_text.h"

#include <new>

namespace vlp {

std::basic_string<WCHAR> ToWide(std::string_view text) {
  // A double-byte text only gets shorter, so one unit per byte is room enough.
  std::basic_string<WCHAR> wide(text.size(), 0);
  if (text.empty()) return wide;
  const int units = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                        wide.data(), static_cast<int>(wide.size()));
  if (units <= 0) throw std::bad_alloc();
  wide.resize(static_cast<std::size_t>(units));
  return wide;
}

}  // namespace vlp
