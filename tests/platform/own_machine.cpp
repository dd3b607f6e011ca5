#include "tests/platform/own_machine.h"

namespace own_machine {

void set_value(const std::string& key, const std::string& name, DWORD type,
               const std::string& bytes) {
  HKEY handle = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0,
                                           KEY_ALL_ACCESS, nullptr, &handle, nullptr));
  EXPECT_EQ(ERROR_SUCCESS, RegSetValueExA(handle, name.c_str(), 0, type,
                                          reinterpret_cast<const BYTE*>(bytes.data()),
                                          static_cast<DWORD>(bytes.size())));
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(handle));
}

void set_text(const std::string& key, const std::string& name, const std::string& text) {
  set_value(key, name, REG_SZ, text + '\0');
}

void set_number(const std::string& key, const std::string& name, DWORD number) {
  std::string bytes(4, '\0');
  for (size_t i = 0; i < 4; ++i) {
    bytes[i] = static_cast<char>(number >> (8 * i));
  }
  set_value(key, name, REG_DWORD, bytes);
}

void write_file(const std::string& path, const std::string& bytes) {
  const HANDLE file =
      CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(INVALID_HANDLE_VALUE, file) << path;
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
  EXPECT_EQ(bytes.size(), written);
  EXPECT_TRUE(CloseHandle(file));
}

std::string read_file(const std::string& path) {
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(INVALID_HANDLE_VALUE, file) << path;
  std::string bytes(GetFileSize(file, nullptr), '\0');
  DWORD read = 0;
  EXPECT_TRUE(ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr));
  EXPECT_EQ(bytes.size(), read);
  EXPECT_TRUE(CloseHandle(file));
  return bytes;
}

std::string hex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += "0123456789ABCDEF"[value / 16];
    text += "0123456789ABCDEF"[value % 16];
    text += ' ';
  }
  return text;
}

}  // namespace own_machine
