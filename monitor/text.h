#pragma once

// Texts on their way between the person, the machine and the terminal.

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace monitor {

using WideText = std::basic_string<WCHAR>;

WideText WidenUtf8(std::string_view text);
std::string NarrowUtf8(const WideText& text);

// From the machine's ANSI code page. Bytes that mean nothing there become signs that say so.
std::string Utf8FromAnsi(std::string_view text);

// Into the machine's ANSI code page; nothing if `text` isn't UTF-8 or has a character that
// the code page lacks.
std::optional<std::string> AnsiFromUtf8(std::string_view text);

// The same text with each control character written as \xHH, so that what a printer sends
// can't steer the terminal.
std::string Harmless(std::string_view utf8);

// Columns that the text takes on a terminal; East Asian characters take two.
std::size_t Columns(std::string_view utf8);

// As much of the text's beginning as fits into so many columns.
std::string FirstColumns(std::string_view utf8, std::size_t columns);

}  // namespace monitor
