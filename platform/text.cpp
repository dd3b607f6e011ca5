// Byte text and wide text.

#include <windows.h>

#include "platform/machine_state.h"

#include <optional>

namespace platform {
namespace {

constexpr DWORD c_1252 = 1252;
constexpr DWORD c_932 = 932;

// The page that a number asks for, UTF-8 apart; null for one that the layer doesn't have.
const CodePage* page_for(UINT number) {
  if (number == CP_ACP) {
    return &ansi();
  }
  return number == c_1252 || number == c_932 ? &code_page(number) : nullptr;
}

template <class Unit>
std::basic_string_view<Unit> source(const Unit* text, int length) {
  using View = std::basic_string_view<Unit>;
  if (length < 0) {
    const View whole(text);
    return View(text, whole.size() + 1);
  }
  return View(text, static_cast<size_t>(length));
}

// Gives the converted text to the caller: with no room asked for, its length alone.
template <class Unit>
int deliver(const std::basic_string<Unit>& text, Unit* out, int capacity) {
  if (capacity == 0) {
    return static_cast<int>(text.size());
  }
  const size_t fitting = std::min(text.size(), static_cast<size_t>(capacity));
  text.copy(out, fitting);
  if (fitting < text.size()) {
    return fail_with(ERROR_INSUFFICIENT_BUFFER);
  }
  return static_cast<int>(fitting);
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::CodePage;
using platform::fail_with;
using platform::Fails;

int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCCH lpMultiByteStr, int cbMultiByte,
                               LPWSTR lpWideCharStr, int cchWideChar) {
  Call call("MultiByteToWideChar");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  if (lpMultiByteStr == nullptr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
      (lpWideCharStr == nullptr && cchWideChar != 0)) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  const platform::CodePage* page = platform::page_for(CodePage);
  if (page == nullptr && CodePage != CP_UTF8) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  if ((dwFlags & ~DWORD{MB_ERR_INVALID_CHARS}) != 0) {
    return fail_with(ERROR_INVALID_FLAGS);
  }
  const std::string_view text = platform::source(lpMultiByteStr, cbMultiByte);
  bool bad = false;
  const std::u16string wide =
      page == nullptr ? platform::widen_utf8(text, &bad) : page->widen(text, &bad);
  if (bad && dwFlags != 0) {
    return fail_with(ERROR_NO_UNICODE_TRANSLATION);
  }
  return platform::deliver(wide, lpWideCharStr, cchWideChar);
}

int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWCH lpWideCharStr, int cchWideChar,
                               LPSTR lpMultiByteStr, int cbMultiByte, LPCCH lpDefaultChar,
                               LPBOOL lpUsedDefaultChar) {
  Call call("WideCharToMultiByte");
  if (const auto fault = call.fault()) {
    return fail_with(*fault);
  }
  if (lpWideCharStr == nullptr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
      (lpMultiByteStr == nullptr && cbMultiByte != 0)) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  const std::u16string_view text = platform::source(lpWideCharStr, cchWideChar);
  if (CodePage == CP_UTF8) {
    if (lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr) {
      return fail_with(ERROR_INVALID_PARAMETER);
    }
    if ((dwFlags & ~DWORD{WC_ERR_INVALID_CHARS}) != 0) {
      return fail_with(ERROR_INVALID_FLAGS);
    }
    bool bad = false;
    const std::string bytes = platform::narrow_utf8(text, &bad);
    if (bad && dwFlags != 0) {
      return fail_with(ERROR_NO_UNICODE_TRANSLATION);
    }
    return platform::deliver(bytes, lpMultiByteStr, cbMultiByte);
  }
  const platform::CodePage* page = platform::page_for(CodePage);
  if (page == nullptr) {
    return fail_with(ERROR_INVALID_PARAMETER);
  }
  // The layer never looks for a similar character, so asking it not to changes nothing.
  if ((dwFlags & ~DWORD{WC_NO_BEST_FIT_CHARS}) != 0) {
    return fail_with(ERROR_INVALID_FLAGS);
  }
  const char first = lpDefaultChar == nullptr ? '?' : *lpDefaultChar;
  std::string substitute(1, first);
  if (lpDefaultChar != nullptr && page->is_lead(static_cast<uint8_t>(first)) &&
      lpDefaultChar[1] != '\0') {
    substitute += lpDefaultChar[1];
  }
  bool lost = false;
  const std::string bytes = page->narrow(text, substitute, &lost);
  if (lpUsedDefaultChar != nullptr) {
    *lpUsedDefaultChar = lost ? TRUE : FALSE;
  }
  return platform::deliver(bytes, lpMultiByteStr, cbMultiByte);
}

UINT WINAPI GetACP(void) {
  Call call("GetACP", Fails::never);
  return platform::ansi().number();
}

BOOL WINAPI IsDBCSLeadByte(BYTE TestChar) {
  Call call("IsDBCSLeadByte", Fails::never);
  return platform::ansi().is_lead(TestChar) ? TRUE : FALSE;
}

LPSTR WINAPI CharUpperA(LPSTR lpsz) {
  Call call("CharUpperA", Fails::never);
  const auto value = reinterpret_cast<uintptr_t>(lpsz);
  if (value <= 0xFFFF) {  // one character by value
    char unit = static_cast<char>(value & 0xFF);
    platform::ansi().raise(&unit, 1);
    return reinterpret_cast<LPSTR>(static_cast<uintptr_t>(static_cast<uint8_t>(unit)));
  }
  platform::ansi().raise(lpsz, std::string_view(lpsz).size());
  return lpsz;
}
