#include "tests/windows/registry_reader.h"

#include <algorithm>

namespace doubles {

Key::Key(HKEY root, const std::string& path) {
  if (RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &key_) != ERROR_SUCCESS) {
    key_ = nullptr;
  }
}

Key::~Key() {
  if (key_ != nullptr) {
    RegCloseKey(key_);
  }
}

std::optional<std::string> Key::raw(const char* name) const {
  DWORD size = 0;
  if (key_ == nullptr ||
      RegQueryValueExA(key_, name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  std::string value(size, '\0');
  if (RegQueryValueExA(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value.data()),
                       &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  value.resize(size);
  return value;
}

std::optional<std::string> Key::text(const char* name) const {
  std::optional<std::string> value = raw(name);
  if (value) {
    value->resize(std::min(value->find('\0'), value->size()));
  }
  return value;
}

std::vector<std::string> Key::texts(const char* name) const {
  std::vector<std::string> list;
  const std::string value = raw(name).value_or(std::string());
  for (size_t start = 0; start < value.size() && value[start] != '\0';) {
    const size_t end = std::min(value.find('\0', start), value.size());
    list.push_back(value.substr(start, end - start));
    start = end + 1;
  }
  return list;
}

DWORD Key::number(const char* name) const {
  DWORD value = 0;
  DWORD size = sizeof value;
  if (key_ == nullptr ||
      RegQueryValueExA(key_, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size) !=
          ERROR_SUCCESS) {
    return 0;
  }
  return value;
}

std::vector<std::string> Key::subkeys() const {
  std::vector<std::string> names;
  char name[260];
  DWORD length = sizeof name;
  for (DWORD index = 0;
       key_ != nullptr && RegEnumKeyExA(key_, index, name, &length, nullptr, nullptr, nullptr,
                                        nullptr) == ERROR_SUCCESS;
       ++index, length = sizeof name) {
    names.emplace_back(name, length);
  }
  return names;
}

}  // namespace doubles
