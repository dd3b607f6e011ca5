#include "platform/registry_tree.h"

#include "platform/code_page.h"

#include <algorithm>

namespace platform {
namespace {

constexpr size_t longest_name = 255;

std::vector<std::u16string> parts_of(std::u16string_view path) {
  std::vector<std::u16string> parts;
  for (size_t start = 0; start < path.size();) {
    const size_t end = std::min(path.find(u'\\', start), path.size());
    if (end > start) {
      parts.emplace_back(path.substr(start, end - start));
    }
    start = end + 1;
  }
  return parts;
}

bool same(std::u16string_view left, std::u16string_view right) { return upper(left) == right; }

void mark_deleted(const KeyRef& key) {
  key->deleted = true;
  for (const auto& [name, child] : key->keys) {
    mark_deleted(child);
  }
}

}  // namespace

const RegistryValue* RegistryKey::value(std::u16string_view value_name) const {
  const auto found = values.find(upper(value_name));
  return found == values.end() ? nullptr : &found->second;
}

RegistryTree::RegistryTree()
    : local_machine_(std::make_shared<RegistryKey>()),
      current_user_(std::make_shared<RegistryKey>()) {
  bool made = false;
  create(local_machine_, u"Software\\Wow6432Node", false, made);
  create(local_machine_, u"SYSTEM\\CurrentControlSet", false, made);
  create(current_user_, u"Software", false, made);
}

std::vector<std::u16string> RegistryTree::full_path(const KeyRef& from, std::u16string_view path,
                                                    bool view_32, KeyRef& root) const {
  std::vector<std::u16string> parts;
  KeyRef at = from;
  while (at != local_machine_ && at != current_user_) {
    parts.insert(parts.begin(), at->name);
    at = at->parent.lock();
    if (at == nullptr) {
      return {};
    }
  }
  root = at;
  for (std::u16string& part : parts_of(path)) {
    parts.push_back(std::move(part));
  }
  if (view_32 && root == local_machine_ && !parts.empty() && same(parts[0], u"SOFTWARE") &&
      (parts.size() < 2 || !same(parts[1], u"WOW6432NODE"))) {
    parts.insert(parts.begin() + 1, u"Wow6432Node");
  }
  return parts;
}

KeyRef RegistryTree::find(const KeyRef& from, std::u16string_view path, bool view_32) const {
  KeyRef at;
  for (const std::u16string& part : full_path(from, path, view_32, at)) {
    const auto found = at->keys.find(upper(part));
    if (found == at->keys.end()) {
      return nullptr;
    }
    at = found->second;
  }
  return at;
}

KeyRef RegistryTree::create(const KeyRef& from, std::u16string_view path, bool view_32,
                            bool& made) {
  KeyRef at;
  made = false;
  const std::vector<std::u16string> parts = full_path(from, path, view_32, at);
  for (const std::u16string& part : parts) {
    if (part.size() > longest_name) {
      return nullptr;
    }
  }
  for (const std::u16string& part : parts) {
    KeyRef& child = at->keys[upper(part)];
    made = child == nullptr;
    if (made) {
      child = std::make_shared<RegistryKey>();
      child->name = part;
      child->parent = at;
    }
    at = KeyRef(child);
  }
  return at;
}

void RegistryTree::set(const KeyRef& key, std::u16string_view name, DWORD type,
                       std::vector<uint8_t> data) {
  RegistryValue& value = key->values[upper(name)];
  if (value.name.empty()) {
    value.name = name;
  }
  value.type = type;
  value.data = std::move(data);
}

void RegistryTree::remove(const KeyRef& key) {
  const KeyRef parent = key->parent.lock();
  if (parent != nullptr) {
    mark_deleted(key);
    parent->keys.erase(upper(key->name));
  }
}

void RegistryTree::apply(const std::vector<RegEntry>& entries) {
  for (const RegEntry& entry : entries) {
    const size_t slash = std::min(entry.key.find(u'\\'), entry.key.size());
    const std::u16string root = entry.key.substr(0, slash);
    std::u16string path = entry.key.substr(slash);
    if (root == u"HKEY_CLASSES_ROOT") {
      path.insert(0, u"Software\\Classes\\");
    }
    const KeyRef& from = root == u"HKEY_CURRENT_USER" ? current_user_ : local_machine_;
    bool made = false;
    if (entry.kind == RegEntry::Kind::deleted_key) {
      const KeyRef key = find(from, path);
      if (key != nullptr) {
        remove(key);
      }
      continue;
    }
    const KeyRef key = create(from, path, false, made);
    if (entry.kind == RegEntry::Kind::value) {
      set(key, entry.name, entry.type, entry.data);
    } else if (entry.kind == RegEntry::Kind::deleted_value) {
      key->values.erase(upper(entry.name));
    }
  }
}

std::vector<uint8_t> registry_text(std::u16string_view text) {
  std::vector<uint8_t> data;
  data.reserve(text.size() * 2);
  for (const char16_t unit : text) {
    data.push_back(static_cast<uint8_t>(unit & 0xFF));
    data.push_back(static_cast<uint8_t>(unit >> 8));
  }
  return data;
}

std::u16string registry_units(const std::vector<uint8_t>& data) {
  std::u16string text;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    text += static_cast<char16_t>(data[i] | data[i + 1] << 8);
  }
  return text;
}

bool is_text(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

std::u16string text_of(const RegistryValue* value) {
  if (value == nullptr || !is_text(value->type)) {
    return {};
  }
  const std::u16string text = registry_units(value->data);
  return text.substr(0, text.find(u'\0'));
}

DWORD number_of(const RegistryValue* value, DWORD fallback) {
  if (value == nullptr || value->type != REG_DWORD || value->data.size() != 4) {
    return fallback;
  }
  const std::vector<uint8_t>& data = value->data;
  return data[0] | static_cast<DWORD>(data[1]) << 8 | static_cast<DWORD>(data[2]) << 16 |
         static_cast<DWORD>(data[3]) << 24;
}

}  // namespace platform
