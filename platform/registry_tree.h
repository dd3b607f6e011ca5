#pragma once

// The machine's registry as plain data. Whoever touches a tree that the calls can reach
// holds the layer's lock.

#include <windows.h>

#include "platform/reg_file.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct RegistryValue {
  std::u16string name;
  DWORD type = REG_NONE;
  std::vector<uint8_t> data;  // texts in UTF-16, little endian
};

// Names compare without case and are listed in that order. An open key handle keeps its
// key alive after deletion; `deleted` then tells.
struct RegistryKey {
  std::u16string name;
  std::weak_ptr<RegistryKey> parent;
  std::map<std::u16string, std::shared_ptr<RegistryKey>> keys;
  std::map<std::u16string, RegistryValue> values;
  bool deleted = false;

  const RegistryValue* value(std::u16string_view value_name) const;
};

using KeyRef = std::shared_ptr<RegistryKey>;

class RegistryTree {
 public:
  RegistryTree();

  const KeyRef& local_machine() const { return local_machine_; }
  const KeyRef& current_user() const { return current_user_; }

  // `view_32` turns the way below HKEY_LOCAL_MACHINE\Software into its 32-bit view.
  KeyRef find(const KeyRef& from, std::u16string_view path, bool view_32 = false) const;
  // `made` tells whether the last key is new. Null when a name is too long.
  KeyRef create(const KeyRef& from, std::u16string_view path, bool view_32, bool& made);
  void set(const KeyRef& key, std::u16string_view name, DWORD type, std::vector<uint8_t> data);
  void remove(const KeyRef& key);  // with all below it

  void apply(const std::vector<RegEntry>& entries);

 private:
  // Parts of the way from a root, and which root.
  std::vector<std::u16string> full_path(const KeyRef& from, std::u16string_view path, bool view_32,
                                        KeyRef& root) const;

  KeyRef local_machine_;
  KeyRef current_user_;
};

// Text of a value in the registry's form and back; back stops at nothing, so terminators
// and inner NULs stay.
std::vector<uint8_t> registry_text(std::u16string_view text);
std::u16string registry_units(const std::vector<uint8_t>& data);
// Up to the first NUL; empty for a value that is absent or no text.
std::u16string text_of(const RegistryValue* value);
// The number of a REG_DWORD value, or `fallback`.
DWORD number_of(const RegistryValue* value, DWORD fallback);
bool is_text(DWORD type);

}  // namespace platform
