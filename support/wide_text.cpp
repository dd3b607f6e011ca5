#include "support/wide_text.h"

namespace vlp {

std::basic_string<WCHAR> ToWide(std::string_view text) {
  // A double-byte text only gets shorter, so one unit per byte is room enough.
  std::basic_string<WCHAR> wide(text.size(), 0);
  if (text.empty()) return wide;
  const int units = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                        wide.data(), static_cast<int>(wide.size()));
  wide.resize(units > 0 ? static_cast<std::size_t>(units) : 0);
  return wide;
}

}  // namespace vlp
