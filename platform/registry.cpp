// The registry's calls. Each gives its error as the result; none touches the last error.

#include <windows.h>

#include "platform/kernel/object.h"
#include "platform/machine_state.h"

#include <string.h>

namespace platform {
namespace {

constexpr REGSAM maximum_allowed = 0x02000000;
constexpr size_t longest_value_name = 16383;

// An open key.
class KeyObject final : public Object {
 public:
  static constexpr char kKind[] = "key";
  KeyObject(KeyRef key, REGSAM access) : Object(kKind), key_(std::move(key)), access_(access) {}

  const KeyRef& key() const { return key_; }
  REGSAM access() const { return access_; }

 private:
  KeyRef key_;
  REGSAM access_;
};

REGSAM granted(REGSAM wanted) {
  REGSAM rights = wanted & KEY_ALL_ACCESS;
  if ((wanted & (GENERIC_ALL | maximum_allowed)) != 0) {
    rights |= KEY_ALL_ACCESS;
  }
  if ((wanted & GENERIC_READ) != 0) {
    rights |= KEY_READ;
  }
  if ((wanted & GENERIC_WRITE) != 0) {
    rights |= KEY_WRITE;
  }
  return rights;
}

bool is_predefined(HKEY handle) {
  return handle == HKEY_LOCAL_MACHINE || handle == HKEY_CURRENT_USER;
}

// A key for the length of a call, whether its handle is predefined or opened.
class UsedKey {
 public:
  explicit UsedKey(HKEY handle) : handle_(handle), object_(handle) {}

  // Under the lock: the key, or null with the error that says why. `rights` are those that
  // the call needs.
  KeyRef get(REGSAM rights, LONG& error) const {
    const RegistryTree& tree = machine().registry;
    error = ERROR_SUCCESS;
    if (handle_ == HKEY_LOCAL_MACHINE) {
      return tree.local_machine();
    }
    if (handle_ == HKEY_CURRENT_USER) {
      return tree.current_user();
    }
    if (!object_) {
      error = ERROR_INVALID_HANDLE;
      return nullptr;
    }
    if (object_->key()->deleted) {
      error = ERROR_KEY_DELETED;
      return nullptr;
    }
    if ((object_->access() & rights) != rights) {
      error = ERROR_ACCESS_DENIED;
      return nullptr;
    }
    return object_->key();
  }

 private:
  HKEY handle_;
  Ref<KeyObject> object_;
};

std::u16string widened(LPCSTR text) { return text == nullptr ? u"" : ansi().widen(text); }

HKEY made_handle(const KeyRef& key, REGSAM access, const char* call) {
  return reinterpret_cast<HKEY>(add_handle(new KeyObject(key, granted(access)), call));
}

// The two ways to a handle. Counting references of keys must not order the caller's
// threads, hence Unseen.
LONG open_key(HKEY parent, const std::u16string& path, REGSAM access, HKEY& result) {
  const UsedKey used(parent);
  const Unseen unseen;
  KeyRef key;
  {
    StateGuard guard;
    LONG error = ERROR_SUCCESS;
    const KeyRef from = used.get(0, error);
    if (from == nullptr) {
      return error;
    }
    key = machine().registry.find(from, path, (access & KEY_WOW64_32KEY) != 0);
  }
  if (key == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  result = made_handle(key, access, "RegOpenKeyExA");
  return ERROR_SUCCESS;
}

LONG create_key(HKEY parent, const std::u16string& path, REGSAM access, HKEY& result, bool& made) {
  const UsedKey used(parent);
  const Unseen unseen;
  KeyRef key;
  {
    StateGuard guard;
    LONG error = ERROR_SUCCESS;
    const KeyRef from = used.get(0, error);
    if (from == nullptr) {
      return error;
    }
    key = machine().registry.create(from, path, (access & KEY_WOW64_32KEY) != 0, made);
  }
  if (key == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  result = made_handle(key, access, "RegCreateKeyExA");
  return ERROR_SUCCESS;
}

// What the caller gets of a value: texts in the ANSI code page.
std::string ansi_form(const CodePage& page, const RegistryValue& value) {
  if (is_text(value.type)) {
    return page.narrow(registry_units(value.data));
  }
  return std::string(value.data.begin(), value.data.end());
}

// The stored form of what a caller sets: texts get the terminator that they lack.
std::vector<uint8_t> stored_form(const CodePage& page, DWORD type, const BYTE* data, DWORD size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (!is_text(type)) {
    return {bytes.begin(), bytes.end()};
  }
  std::u16string text = page.widen(bytes);
  if (type != REG_MULTI_SZ && !text.empty() && text.back() != u'\0') {
    text += u'\0';
  }
  return registry_text(text);
}

LONG delete_key(HKEY handle, LPCSTR name, bool view_32, bool with_children) {
  const std::u16string path = widened(name);
  const UsedKey used(handle);
  const Unseen unseen;
  KeyRef victim;  // outlives the guard: it may be the last reference to many keys
  StateGuard guard;
  LONG error = ERROR_SUCCESS;
  const KeyRef from = used.get(0, error);
  if (from == nullptr) {
    return error;
  }
  victim = machine().registry.find(from, path, view_32);
  if (victim == nullptr) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (!with_children && !victim->keys.empty()) {
    return ERROR_ACCESS_DENIED;
  }
  machine().registry.remove(victim);
  return ERROR_SUCCESS;
}

}  // namespace
}  // namespace platform

using platform::Call;
using platform::Fails;
using platform::KeyRef;
using platform::StateGuard;
using platform::UsedKey;

LONG WINAPI RegOpenKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD, REGSAM samDesired, PHKEY phkResult) {
  Call call("RegOpenKeyExA");
  if (phkResult == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  if (const auto fault = call.fault()) {
    *phkResult = nullptr;
    return static_cast<LONG>(*fault);
  }
  const std::u16string path = platform::widened(lpSubKey);
  if (path.empty() && platform::is_predefined(hKey)) {
    *phkResult = hKey;
    return ERROR_SUCCESS;
  }
  *phkResult = nullptr;
  if (path.starts_with(u'\\')) {
    return ERROR_BAD_PATHNAME;
  }
  platform::ensure_machine();
  HKEY opened = nullptr;
  const LONG error = platform::open_key(hKey, path, samDesired, opened);
  *phkResult = opened;
  return error;
}

LONG WINAPI RegCreateKeyExA(HKEY hKey, LPCSTR lpSubKey, DWORD Reserved, LPSTR, DWORD,
                            REGSAM samDesired, LPSECURITY_ATTRIBUTES, PHKEY phkResult,
                            LPDWORD lpdwDisposition) {
  Call call("RegCreateKeyExA");
  if (phkResult == nullptr || Reserved != 0) {
    return ERROR_INVALID_PARAMETER;
  }
  *phkResult = nullptr;
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  const std::u16string path = platform::widened(lpSubKey);
  if (path.starts_with(u'\\')) {
    return ERROR_BAD_PATHNAME;
  }
  platform::ensure_machine();
  HKEY opened = nullptr;
  bool made = false;
  const LONG error = platform::create_key(hKey, path, samDesired, opened, made);
  *phkResult = opened;
  if (error == ERROR_SUCCESS && lpdwDisposition != nullptr) {
    *lpdwDisposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  return error;
}

LONG WINAPI RegCloseKey(HKEY hKey) {
  Call call("RegCloseKey");
  if (!platform::is_predefined(hKey)) {
    if (!platform::Ref<platform::KeyObject>(hKey)) {
      return ERROR_INVALID_HANDLE;
    }
    platform::drop_handle(hKey);
  }
  return static_cast<LONG>(call.fault().value_or(ERROR_SUCCESS));
}

LONG WINAPI RegQueryValueExA(HKEY hKey, LPCSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                             LPBYTE lpData, LPDWORD lpcbData) {
  Call call("RegQueryValueExA");
  if (lpReserved != nullptr || (lpData != nullptr && lpcbData == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  const std::u16string name = platform::widened(lpValueName);
  const platform::CodePage& page = platform::ansi();
  const UsedKey used(hKey);
  platform::RegistryValue value;
  {
    StateGuard guard;
    LONG error = ERROR_SUCCESS;
    const KeyRef key = used.get(KEY_QUERY_VALUE, error);
    if (key == nullptr) {
      return error;
    }
    const platform::RegistryValue* found = key->value(name);
    if (found == nullptr) {
      return ERROR_FILE_NOT_FOUND;
    }
    value = *found;
  }
  const std::string bytes = platform::ansi_form(page, value);
  if (lpType != nullptr) {
    *lpType = value.type;
  }
  if (lpcbData == nullptr) {
    return ERROR_SUCCESS;
  }
  const DWORD capacity = *lpcbData;
  *lpcbData = static_cast<DWORD>(bytes.size());
  if (lpData == nullptr) {
    return ERROR_SUCCESS;
  }
  if (capacity < bytes.size()) {
    return ERROR_MORE_DATA;
  }
  memcpy(lpData, bytes.data(), bytes.size());
  return ERROR_SUCCESS;
}

LONG WINAPI RegEnumKeyExA(HKEY hKey, DWORD dwIndex, LPSTR lpName, LPDWORD lpcchName, LPDWORD,
                          LPSTR lpClass, LPDWORD lpcchClass, FILETIME*) {
  Call call("RegEnumKeyExA");
  if (lpName == nullptr || lpcchName == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  const platform::CodePage& page = platform::ansi();
  const UsedKey used(hKey);
  std::u16string wide;
  {
    StateGuard guard;
    LONG error = ERROR_SUCCESS;
    const KeyRef key = used.get(KEY_ENUMERATE_SUB_KEYS, error);
    if (key == nullptr) {
      return error;
    }
    if (dwIndex >= key->keys.size()) {
      return ERROR_NO_MORE_ITEMS;
    }
    wide = std::next(key->keys.begin(), static_cast<ptrdiff_t>(dwIndex))->second->name;
  }
  const std::string name = page.narrow(wide);
  if (*lpcchName <= name.size()) {
    return ERROR_MORE_DATA;
  }
  memcpy(lpName, name.c_str(), name.size() + 1);
  *lpcchName = static_cast<DWORD>(name.size());
  if (lpClass != nullptr && lpcchClass != nullptr && *lpcchClass > 0) {
    *lpClass = '\0';
    *lpcchClass = 0;
  }
  return ERROR_SUCCESS;
}

LONG WINAPI RegSetValueExA(HKEY hKey, LPCSTR lpValueName, DWORD Reserved, DWORD dwType,
                           const BYTE* lpData, DWORD cbData) {
  Call call("RegSetValueExA");
  if (Reserved != 0 || (lpData == nullptr && cbData != 0)) {
    return ERROR_INVALID_PARAMETER;
  }
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  const std::u16string name = platform::widened(lpValueName);
  if (name.size() > platform::longest_value_name) {
    return ERROR_INVALID_PARAMETER;
  }
  std::vector<uint8_t> data = platform::stored_form(platform::ansi(), dwType, lpData, cbData);
  const UsedKey used(hKey);
  StateGuard guard;
  LONG error = ERROR_SUCCESS;
  const KeyRef key = used.get(KEY_SET_VALUE, error);
  if (key != nullptr) {
    platform::machine().registry.set(key, name, dwType, std::move(data));
  }
  return error;
}

LONG WINAPI RegDeleteValueA(HKEY hKey, LPCSTR lpValueName) {
  Call call("RegDeleteValueA");
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  const std::u16string name = platform::upper(platform::widened(lpValueName));
  platform::ensure_machine();
  const UsedKey used(hKey);
  StateGuard guard;
  LONG error = ERROR_SUCCESS;
  const KeyRef key = used.get(KEY_SET_VALUE, error);
  if (key != nullptr && key->values.erase(name) == 0) {
    error = ERROR_FILE_NOT_FOUND;
  }
  return error;
}

LONG WINAPI RegDeleteKeyExA(HKEY hKey, LPCSTR lpSubKey, REGSAM samDesired, DWORD Reserved) {
  Call call("RegDeleteKeyExA");
  if (lpSubKey == nullptr || Reserved != 0) {
    return ERROR_INVALID_PARAMETER;
  }
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  return platform::delete_key(hKey, lpSubKey, (samDesired & KEY_WOW64_32KEY) != 0, false);
}

LONG WINAPI RegDeleteTreeA(HKEY hKey, LPCSTR lpSubKey) {
  Call call("RegDeleteTreeA");
  // Emptying the key itself is not supplied.
  if (lpSubKey == nullptr || *lpSubKey == '\0') {
    return ERROR_INVALID_PARAMETER;
  }
  if (const auto fault = call.fault()) {
    return static_cast<LONG>(*fault);
  }
  return platform::delete_key(hKey, lpSubKey, false, true);
}
