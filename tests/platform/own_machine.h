#pragma once

// A machine of its own for each test of calls that look at one: natively an empty one,
// under Wine the prefix as it is, so tests make what they need and use names of their own.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace own_machine {

void make();

// Whether the calls are the layer's. Tests ask where Wine is known to differ from what
// Windows documents; each such place says how, and fails when the difference goes.
bool is_layer();

// Makes the ANSI code page this one; false where the system can't change it.
bool use_code_page(UINT number);

// Sets values below HKEY_LOCAL_MACHINE in the 64-bit view, making the keys.
void set_value(const std::string& key, const std::string& name, DWORD type,
               const std::string& bytes);
void set_text(const std::string& key, const std::string& name, const std::string& text);
void set_number(const std::string& key, const std::string& name, DWORD number);

void write_file(const std::string& path, const std::string& bytes);
std::string read_file(const std::string& path);

// The bytes as hexadecimal text, for failures that show them.
std::string hex(std::string_view bytes);

class MachineTest : public ::testing::Test {
 protected:
  MachineTest() { make(); }
};

inline constexpr DWORD untouched = 0xBEEF;

}  // namespace own_machine
