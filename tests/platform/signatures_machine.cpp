// Compiled against the SDK's headers and against the layer's: both must mean the same.

#include <gtest/gtest.h>

#include <windows.h>

#include <winnetwk.h>
#include <winspool.h>

#include <stddef.h>

#include <type_traits>

namespace {

template <class Call, class Type>
constexpr bool is = std::is_same_v<Call, Type>;

// Registry.
static_assert(is<decltype(&RegOpenKeyExA), LONG(WINAPI*)(HKEY, LPCSTR, DWORD, REGSAM, PHKEY)>);
static_assert(is<decltype(&RegCloseKey), LONG(WINAPI*)(HKEY)>);
static_assert(is<decltype(&RegQueryValueExA),
                 LONG(WINAPI*)(HKEY, LPCSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD)>);
static_assert(is<decltype(&RegEnumKeyExA),
                 LONG(WINAPI*)(HKEY, DWORD, LPSTR, LPDWORD, LPDWORD, LPSTR, LPDWORD, FILETIME*)>);
static_assert(
    is<decltype(&RegCreateKeyExA), LONG(WINAPI*)(HKEY, LPCSTR, DWORD, LPSTR, DWORD, REGSAM,
                                                 LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD)>);
static_assert(
    is<decltype(&RegSetValueExA), LONG(WINAPI*)(HKEY, LPCSTR, DWORD, DWORD, const BYTE*, DWORD)>);
static_assert(is<decltype(&RegDeleteValueA), LONG(WINAPI*)(HKEY, LPCSTR)>);
static_assert(is<decltype(&RegDeleteKeyExA), LONG(WINAPI*)(HKEY, LPCSTR, REGSAM, DWORD)>);
static_assert(is<decltype(&RegDeleteTreeA), LONG(WINAPI*)(HKEY, LPCSTR)>);

// Profiles.
static_assert(is<decltype(&GetPrivateProfileIntA), UINT(WINAPI*)(LPCSTR, LPCSTR, INT, LPCSTR)>);
static_assert(is<decltype(&GetPrivateProfileStringA),
                 DWORD(WINAPI*)(LPCSTR, LPCSTR, LPCSTR, LPSTR, DWORD, LPCSTR)>);

// Files.
static_assert(
    is<decltype(&CreateFileA),
       HANDLE(WINAPI*)(LPCSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)>);
static_assert(is<decltype(&ReadFile), BOOL(WINAPI*)(HANDLE, LPVOID, DWORD, LPDWORD, LPOVERLAPPED)>);
static_assert(
    is<decltype(&WriteFile), BOOL(WINAPI*)(HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED)>);
static_assert(is<decltype(&SetFilePointer), DWORD(WINAPI*)(HANDLE, LONG, PLONG, DWORD)>);
static_assert(is<decltype(&SetEndOfFile), BOOL(WINAPI*)(HANDLE)>);
static_assert(
    is<decltype(&GetFileInformationByHandle), BOOL(WINAPI*)(HANDLE, LPBY_HANDLE_FILE_INFORMATION)>);
static_assert(is<decltype(&GetFileSize), DWORD(WINAPI*)(HANDLE, LPDWORD)>);
static_assert(is<decltype(&GetFileSizeEx), BOOL(WINAPI*)(HANDLE, LARGE_INTEGER*)>);
static_assert(is<decltype(&DeleteFileA), BOOL(WINAPI*)(LPCSTR)>);
static_assert(is<decltype(&MoveFileA), BOOL(WINAPI*)(LPCSTR, LPCSTR)>);
static_assert(is<decltype(&CreateDirectoryA), BOOL(WINAPI*)(LPCSTR, LPSECURITY_ATTRIBUTES)>);
static_assert(is<decltype(&RemoveDirectoryA), BOOL(WINAPI*)(LPCSTR)>);
static_assert(is<decltype(&GetFileAttributesA), DWORD(WINAPI*)(LPCSTR)>);

// Text.
static_assert(
    is<decltype(&MultiByteToWideChar), int(WINAPI*)(UINT, DWORD, LPCCH, int, LPWSTR, int)>);
static_assert(is<decltype(&WideCharToMultiByte),
                 int(WINAPI*)(UINT, DWORD, LPCWCH, int, LPSTR, int, LPCCH, LPBOOL)>);
static_assert(is<decltype(&GetACP), UINT(WINAPI*)()>);
static_assert(is<decltype(&IsDBCSLeadByte), BOOL(WINAPI*)(BYTE)>);
static_assert(is<decltype(&CharUpperA), LPSTR(WINAPI*)(LPSTR)>);

// Spooler and redirector.
static_assert(is<decltype(&EnumPrintersA),
                 BOOL(WINAPI*)(DWORD, LPSTR, DWORD, LPBYTE, DWORD, LPDWORD, LPDWORD)>);
static_assert(is<decltype(&OpenPrinterA), BOOL(WINAPI*)(LPSTR, LPHANDLE, LPPRINTER_DEFAULTSA)>);
static_assert(is<decltype(&ClosePrinter), BOOL(WINAPI*)(HANDLE)>);
static_assert(is<decltype(&GetPrinterA), BOOL(WINAPI*)(HANDLE, DWORD, LPBYTE, DWORD, LPDWORD)>);
static_assert(
    is<decltype(&GetPrinterDriverA), BOOL(WINAPI*)(HANDLE, LPSTR, DWORD, LPBYTE, DWORD, LPDWORD)>);
static_assert(is<decltype(&GetPrinterDataExA),
                 DWORD(WINAPI*)(HANDLE, LPCSTR, LPCSTR, LPDWORD, LPBYTE, DWORD, LPDWORD)>);
static_assert(is<decltype(&WNetGetConnectionA), DWORD(WINAPI*)(LPCSTR, LPSTR, LPDWORD)>);

// Records.
static_assert(sizeof(PRINTER_INFO_2A) == 136);
static_assert(offsetof(PRINTER_INFO_2A, pPrinterName) == 8);
static_assert(offsetof(PRINTER_INFO_2A, pPortName) == 24);
static_assert(offsetof(PRINTER_INFO_2A, pDriverName) == 32);
static_assert(offsetof(PRINTER_INFO_2A, Attributes) == 104);
static_assert(offsetof(PRINTER_INFO_2A, AveragePPM) == 132);
static_assert(sizeof(PRINTER_INFO_4A) == 24);
static_assert(offsetof(PRINTER_INFO_4A, Attributes) == 16);
static_assert(sizeof(PRINTER_DEFAULTSA) == 24);
static_assert(sizeof(DRIVER_INFO_6A) == 136);
static_assert(offsetof(DRIVER_INFO_6A, pName) == 8);
static_assert(offsetof(DRIVER_INFO_6A, pDriverPath) == 24);
static_assert(offsetof(DRIVER_INFO_6A, pDependentFiles) == 56);
static_assert(offsetof(DRIVER_INFO_6A, ftDriverDate) == 88);
static_assert(offsetof(DRIVER_INFO_6A, dwlDriverVersion) == 96);
static_assert(sizeof(BY_HANDLE_FILE_INFORMATION) == 52);
static_assert(offsetof(BY_HANDLE_FILE_INFORMATION, nFileSizeHigh) == 32);
static_assert(offsetof(BY_HANDLE_FILE_INFORMATION, nFileSizeLow) == 36);

// Constants.
static_assert(KEY_READ == 0x20019 && KEY_WRITE == 0x20006 && KEY_ALL_ACCESS == 0xF003F);
static_assert(KEY_WOW64_32KEY == 0x200 && KEY_WOW64_64KEY == 0x100);
static_assert(REG_SZ == 1 && REG_EXPAND_SZ == 2 && REG_BINARY == 3 && REG_DWORD == 4);
static_assert(REG_MULTI_SZ == 7 && REG_QWORD == 11 && REG_NONE == 0);
static_assert(REG_CREATED_NEW_KEY == 1 && REG_OPENED_EXISTING_KEY == 2);
static_assert(CREATE_NEW == 1 && CREATE_ALWAYS == 2 && OPEN_EXISTING == 3 && OPEN_ALWAYS == 4);
static_assert(TRUNCATE_EXISTING == 5);
static_assert(FILE_SHARE_READ == 1 && FILE_SHARE_WRITE == 2 && FILE_SHARE_DELETE == 4);
static_assert(FILE_BEGIN == 0 && FILE_CURRENT == 1 && FILE_END == 2);
static_assert(FILE_ATTRIBUTE_READONLY == 1 && FILE_ATTRIBUTE_DIRECTORY == 0x10);
static_assert(FILE_ATTRIBUTE_ARCHIVE == 0x20 && FILE_ATTRIBUTE_NORMAL == 0x80);
static_assert(FILE_FLAG_OVERLAPPED == 0x40000000);
static_assert(CP_ACP == 0 && CP_UTF8 == 65001);
static_assert(MB_ERR_INVALID_CHARS == 8 && WC_ERR_INVALID_CHARS == 0x80);
static_assert(WC_NO_BEST_FIT_CHARS == 0x400);
static_assert(PRINTER_ENUM_LOCAL == 2 && PRINTER_ENUM_CONNECTIONS == 4);
static_assert(PRINTER_ATTRIBUTE_NETWORK == 0x10 && PRINTER_ATTRIBUTE_LOCAL == 0x40);
static_assert(PRINTER_ATTRIBUTE_SHARED == 8 && PRINTER_ALL_ACCESS == 0xF000C);
static_assert(BIDI_NULL == 0 && BIDI_STRING == 4 && BIDI_TEXT == 5 && BIDI_BLOB == 7);
static_assert(BIDI_ACCESS_ADMINISTRATOR == 1 && BIDI_ACCESS_USER == 2);
static_assert(ERROR_BIDI_SERVER_OFFLINE == 13003 && ERROR_BIDI_DEVICE_OFFLINE == 13004);
static_assert(ERROR_BIDI_SCHEMA_NOT_SUPPORTED == 13005 && ERROR_BIDI_NOT_SUPPORTED == 50);

// The predefined keys are sign-extended 32-bit values.
TEST(MachineSignatures, PredefinedKeysHaveTheirValues) {
  EXPECT_EQ(static_cast<ULONG_PTR>(0xFFFFFFFF80000002),
            reinterpret_cast<ULONG_PTR>(HKEY_LOCAL_MACHINE));
  EXPECT_EQ(static_cast<ULONG_PTR>(0xFFFFFFFF80000001),
            reinterpret_cast<ULONG_PTR>(HKEY_CURRENT_USER));
}

}  // namespace
