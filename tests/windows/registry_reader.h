#pragma once

// What the doubles read from the registry.

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace doubles {

// Owner of an open key; null when it couldn't be opened.
class Key {
 public:
  Key(HKEY root, const std::string& path);
  ~Key();
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  explicit operator bool() const { return key_ != nullptr; }
  HKEY get() const { return key_; }

  std::optional<std::string> text(const char* name) const;
  std::vector<std::string> texts(const char* name) const;  // REG_MULTI_SZ
  DWORD number(const char* name) const;                    // 0 when absent
  std::vector<std::string> subkeys() const;

 private:
  std::optional<std::string> raw(const char* name) const;

  HKEY key_ = nullptr;
};

}  // namespace doubles
