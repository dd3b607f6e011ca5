// The registry as ordinary SDK code meets it.

#include "tests/platform/own_machine.h"

namespace {

using own_machine::hex;
using own_machine::untouched;

constexpr const char* root = "Software\\VlpRegistryCalls";

// An open key that closes itself.
class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (handle_ != nullptr) {
      EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(handle_));
    }
  }
  HKEY get() const { return handle_; }
  PHKEY out() { return &handle_; }

 private:
  HKEY handle_ = nullptr;
};

LONG open_at(const std::string& path, REGSAM access, Key& key) {
  return RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, access, key.out());
}

LONG create_at(const std::string& path, REGSAM view, Key& key) {
  return RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view,
                         nullptr, key.out(), nullptr);
}

LONG set(const Key& key, const char* name, DWORD type, const std::string& bytes) {
  return RegSetValueExA(key.get(), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                        static_cast<DWORD>(bytes.size()));
}

struct Answer {
  LONG result;
  DWORD type;
  DWORD size;
  std::string bytes;  // 16 of them, "#" where the call wrote nothing
};

Answer query(const Key& key, const char* name, DWORD capacity) {
  Answer answer = {0, 77, capacity, std::string(16, '#')};
  answer.result = RegQueryValueExA(key.get(), name, nullptr, &answer.type,
                                   reinterpret_cast<LPBYTE>(answer.bytes.data()), &answer.size);
  return answer;
}

void expect_bytes(const std::string& wanted, const Answer& answer) {
  EXPECT_EQ(ERROR_SUCCESS, answer.result);
  EXPECT_EQ(wanted.size(), answer.size);
  EXPECT_EQ(hex(wanted + std::string(16 - wanted.size(), '#')), hex(answer.bytes));
}

class RegistryCalls : public own_machine::MachineTest {
 protected:
  RegistryCalls() {
    clear(0);
    clear(KEY_WOW64_32KEY);
  }

  static void clear(REGSAM view) {
    Key software;
    EXPECT_EQ(ERROR_SUCCESS, open_at("Software", KEY_ALL_ACCESS | view, software));
    RegDeleteTreeA(software.get(), "VlpRegistryCalls");
  }
};

TEST_F(RegistryCalls, ThirtyTwoBitViewIsATreeOfItsOwn) {
  Key made, found, missing, direct;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, KEY_WOW64_32KEY, made));
  EXPECT_EQ(ERROR_SUCCESS, open_at(root, KEY_READ | KEY_WOW64_32KEY, found));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, open_at(root, KEY_READ, missing));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, open_at(root, KEY_READ | KEY_WOW64_64KEY, missing));
  EXPECT_EQ(ERROR_SUCCESS, open_at("Software\\Wow6432Node\\VlpRegistryCalls", KEY_READ, direct));
}

TEST_F(RegistryCalls, KeyOfThe64BitViewIsNotSeenInThe32BitView) {
  Key made, missing;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, made));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, open_at(root, KEY_READ | KEY_WOW64_32KEY, missing));
}

TEST_F(RegistryCalls, SystemIsOneTreeForBothViews) {
  Key made, found;
  const std::string path = "SYSTEM\\CurrentControlSet\\VlpRegistryCalls";
  ASSERT_EQ(ERROR_SUCCESS, create_at(path, KEY_WOW64_32KEY, made));
  EXPECT_EQ(ERROR_SUCCESS, open_at(path, KEY_READ | KEY_WOW64_64KEY, found));
  EXPECT_EQ(ERROR_SUCCESS, RegDeleteKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, 0));
}

TEST_F(RegistryCalls, KeyNamesCompareWithoutCase) {
  Key made, found;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, made));
  EXPECT_EQ(ERROR_SUCCESS, open_at("SOFTWARE\\vlpregistrycalls", KEY_READ, found));
}

TEST_F(RegistryCalls, FailedOpenSetsTheHandleToNullAndLeavesTheLastError) {
  HKEY key = HKEY_LOCAL_MACHINE;
  SetLastError(untouched);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND,
            RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\VlpNoSuchKey", 0, KEY_READ, &key));
  EXPECT_EQ(nullptr, key);
  EXPECT_EQ(untouched, GetLastError());
}

TEST_F(RegistryCalls, LeadingBackslashIsRefusedAndATrailingOneIsNot) {
  Key made, bad, good;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, made));
  EXPECT_EQ(ERROR_BAD_PATHNAME, open_at("\\Software", KEY_READ, bad));
  EXPECT_EQ(ERROR_SUCCESS, open_at(std::string(root) + "\\", KEY_READ, good));
}

TEST_F(RegistryCalls, EmptyNameOpensTheKeyItself) {
  Key made, again;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, made));
  ASSERT_EQ(ERROR_SUCCESS, set(made, "x", REG_BINARY, "1"));
  EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExA(made.get(), "", 0, KEY_READ, again.out()));
  expect_bytes("1", query(again, "x", 16));
}

TEST_F(RegistryCalls, ClosingANullKeyIsAnErrorAndClosingAPredefinedOneIsNot) {
  EXPECT_EQ(ERROR_INVALID_HANDLE, RegCloseKey(nullptr));
  EXPECT_EQ(ERROR_SUCCESS, RegCloseKey(HKEY_LOCAL_MACHINE));
}

TEST_F(RegistryCalls, CreationTellsNewFromExisting) {
  Key first, second;
  DWORD disposition = 0;
  EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_LOCAL_MACHINE, root, 0, nullptr, 0, KEY_ALL_ACCESS,
                                           nullptr, first.out(), &disposition));
  EXPECT_EQ(DWORD{REG_CREATED_NEW_KEY}, disposition);
  EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExA(HKEY_LOCAL_MACHINE, root, 0, nullptr, 0, KEY_ALL_ACCESS,
                                           nullptr, second.out(), &disposition));
  EXPECT_EQ(DWORD{REG_OPENED_EXISTING_KEY}, disposition);
}

TEST_F(RegistryCalls, QueryWithoutABufferGivesTypeAndSize) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "text", REG_SZ, std::string("abcdef", 7)));
  DWORD type = 77;
  DWORD size = 0;
  SetLastError(untouched);
  EXPECT_EQ(ERROR_SUCCESS, RegQueryValueExA(key.get(), "text", nullptr, &type, nullptr, &size));
  EXPECT_EQ(DWORD{REG_SZ}, type);
  EXPECT_EQ(7U, size);
  EXPECT_EQ(untouched, GetLastError());
}

TEST_F(RegistryCalls, BufferOfTheExactSizeIsEnoughAndOneByteLessIsNot) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "text", REG_SZ, std::string("abcdef", 7)));
  expect_bytes(std::string("abcdef", 7), query(key, "text", 7));
  const Answer small = query(key, "text", 6);
  EXPECT_EQ(ERROR_MORE_DATA, small.result);
  EXPECT_EQ(7U, small.size);
  EXPECT_EQ(ERROR_MORE_DATA, query(key, "text", 0).result);
}

TEST_F(RegistryCalls, AbsentValueIsNotFound) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, query(key, "absent", 16).result);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, query(key, nullptr, 16).result);
}

TEST_F(RegistryCalls, UnnamedValueIsReachedByNullAndByTheEmptyName) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, nullptr, REG_BINARY, "u"));
  expect_bytes("u", query(key, nullptr, 16));
  expect_bytes("u", query(key, "", 16));
}

TEST_F(RegistryCalls, ValueNamesCompareWithoutCase) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "Bidi_LogPath", REG_BINARY, "p"));
  expect_bytes("p", query(key, "BIDI_logpath", 16));
}

TEST_F(RegistryCalls, TypesAndBytesComeBackAsTheyWereSet) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  struct Row {
    const char* name;
    DWORD type;
    std::string bytes;
  };
  const std::vector<Row> rows = {{"number", REG_DWORD, "\x78\x56\x34\x12"},
                                 {"bytes", REG_BINARY, std::string("\1\0\3", 3)},
                                 {"long", REG_QWORD, std::string("\1\0\0\0\0\0\0\2", 8)},
                                 {"list", REG_MULTI_SZ, std::string("a\0bc\0\0", 6)},
                                 {"accents", REG_SZ, std::string("\xE9\xE8", 3)},
                                 {"empty text", REG_SZ, std::string(1, '\0')},
                                 {"none", REG_BINARY, ""}};
  for (const Row& row : rows) {
    ASSERT_EQ(ERROR_SUCCESS, set(key, row.name, row.type, row.bytes)) << row.name;
    const Answer answer = query(key, row.name, 16);
    EXPECT_EQ(row.type, answer.type) << row.name;
    expect_bytes(row.bytes, answer);
  }
}

TEST_F(RegistryCalls, TextSetWithoutItsTerminatorGetsOne) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "text", REG_SZ, "abcdef"));
  expect_bytes(std::string("abcdef", 7), query(key, "text", 16));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "nothing", REG_SZ, ""));
  expect_bytes("", query(key, "nothing", 16));
}

TEST_F(RegistryCalls, LongerNumberDoesNotFitIntoFourBytes) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "long", REG_QWORD, std::string(8, '\1')));
  const Answer answer = query(key, "long", 4);
  EXPECT_EQ(ERROR_MORE_DATA, answer.result);
  EXPECT_EQ(8U, answer.size);
}

TEST_F(RegistryCalls, KeyOpenedForReadingRefusesWrites) {
  Key made, read_only;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, made));
  ASSERT_EQ(ERROR_SUCCESS, open_at(root, KEY_READ, read_only));
  EXPECT_EQ(ERROR_ACCESS_DENIED, set(read_only, "x", REG_BINARY, "1"));
}

TEST_F(RegistryCalls, DeletedValueIsGone) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, set(key, "x", REG_BINARY, "1"));
  EXPECT_EQ(ERROR_SUCCESS, RegDeleteValueA(key.get(), "X"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, RegDeleteValueA(key.get(), "x"));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, query(key, "x", 16).result);
}

TEST_F(RegistryCalls, KeyWithChildrenIsOnlyDeletedAsATree) {
  Key parent, child, gone;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, parent));
  ASSERT_EQ(ERROR_SUCCESS, create_at(std::string(root) + "\\child", 0, child));
  EXPECT_EQ(ERROR_ACCESS_DENIED, RegDeleteKeyExA(HKEY_LOCAL_MACHINE, root, 0, 0));
  EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeA(HKEY_LOCAL_MACHINE, root));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, open_at(root, KEY_READ, gone));
  EXPECT_EQ(ERROR_KEY_DELETED, query(child, "x", 16).result);
}

std::vector<std::string> names_of(const Key& key) {
  std::vector<std::string> names;
  for (DWORD index = 0;; ++index) {
    std::string name(260, '#');
    DWORD length = 260;
    const LONG result =
        RegEnumKeyExA(key.get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
    if (result != ERROR_SUCCESS) {
      EXPECT_EQ(ERROR_NO_MORE_ITEMS, result);
      return names;
    }
    EXPECT_EQ('\0', name[length]);
    names.push_back(name.substr(0, length));
  }
}

TEST_F(RegistryCalls, ListedKeysAreSortedWithoutCase) {
  Key key;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  for (const char* name : {"zeta", "Alpha", "usb1", "x{1}", "Beta"}) {
    Key child;
    ASSERT_EQ(ERROR_SUCCESS, create_at(std::string(root) + "\\" + name, 0, child));
  }
  EXPECT_EQ((std::vector<std::string>{"Alpha", "Beta", "usb1", "x{1}", "zeta"}), names_of(key));
}

TEST_F(RegistryCalls, ListedNameNeedsRoomForItsTerminator) {
  Key key, child;
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, create_at(std::string(root) + "\\Alpha", 0, child));
  for (const DWORD capacity : {0U, 4U, 5U}) {
    char name[16] = "###############";
    DWORD length = static_cast<DWORD>(capacity);
    EXPECT_EQ(ERROR_MORE_DATA,
              RegEnumKeyExA(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ('#', name[0]);
  }
  char name[16] = "###############";
  DWORD length = 6;
  EXPECT_EQ(ERROR_SUCCESS,
            RegEnumKeyExA(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(5U, length);
  EXPECT_STREQ("Alpha", name);
}

TEST_F(RegistryCalls, KeyNameOf255CharactersIsListedInto260) {
  Key key, child;
  const std::string name(255, 'k');
  ASSERT_EQ(ERROR_SUCCESS, create_at(root, 0, key));
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExA(key.get(), name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                           nullptr, child.out(), nullptr));
  EXPECT_EQ(std::vector<std::string>{name}, names_of(key));
}

}  // namespace
