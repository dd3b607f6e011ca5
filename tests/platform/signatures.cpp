// The header mirror: types of calls and layouts of records. The same lines compile
// against the SDK's headers and against the layer's; there is nothing to run.

#include <windows.h>

#include <mmsystem.h>

#include <cstddef>
#include <type_traits>

namespace {

template <class Call, class Signature>
constexpr bool is_call = std::is_same_v<Call, Signature>;

// Widths.
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(ULONG) == 4);
static_assert(sizeof(WORD) == 2 && sizeof(BYTE) == 1 && sizeof(BOOL) == 4 && sizeof(WCHAR) == 2);
static_assert(sizeof(ULONGLONG) == 8 && sizeof(SIZE_T) == 8 && sizeof(HANDLE) == 8);
static_assert(std::is_signed_v<LONG> && std::is_unsigned_v<DWORD> && std::is_signed_v<HRESULT>);

// Records.
static_assert(sizeof(CRITICAL_SECTION) == 40);
static_assert(offsetof(CRITICAL_SECTION, LockCount) == 8);
static_assert(offsetof(CRITICAL_SECTION, RecursionCount) == 12);
static_assert(offsetof(CRITICAL_SECTION, OwningThread) == 16);
static_assert(offsetof(CRITICAL_SECTION, LockSemaphore) == 24);
static_assert(offsetof(CRITICAL_SECTION, SpinCount) == 32);
static_assert(sizeof(OSVERSIONINFOA) == 148 && sizeof(OSVERSIONINFOEXA) == 156);
static_assert(offsetof(OSVERSIONINFOEXA, szCSDVersion) == 20);
static_assert(offsetof(OSVERSIONINFOEXA, wServicePackMajor) == 148);
static_assert(offsetof(OSVERSIONINFOEXA, wProductType) == 154);
static_assert(sizeof(SYSTEMTIME) == 16 && offsetof(SYSTEMTIME, wMilliseconds) == 14);
static_assert(sizeof(SECURITY_ATTRIBUTES) == 24 && sizeof(SECURITY_DESCRIPTOR) == 40);
static_assert(offsetof(SECURITY_DESCRIPTOR, Dacl) == 32);
static_assert(sizeof(STARTUPINFOA) == 104 && sizeof(PROCESS_INFORMATION) == 24);
static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(FILETIME) == 8 && sizeof(GUID) == 16);
static_assert(sizeof(TIMECAPS) == 8 && offsetof(TIMECAPS, wPeriodMax) == 4);

// Calls: types without the calling convention, which x64 doesn't distinguish.
static_assert(
    is_call<decltype(CreateEventA), HANDLE WINAPI(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCSTR)>);
static_assert(is_call<decltype(SetEvent), BOOL WINAPI(HANDLE)>);
static_assert(is_call<decltype(ResetEvent), BOOL WINAPI(HANDLE)>);
static_assert(is_call<decltype(CreateMutexA), HANDLE WINAPI(LPSECURITY_ATTRIBUTES, BOOL, LPCSTR)>);
static_assert(is_call<decltype(ReleaseMutex), BOOL WINAPI(HANDLE)>);
static_assert(is_call<decltype(WaitForSingleObject), DWORD WINAPI(HANDLE, DWORD)>);
static_assert(
    is_call<decltype(WaitForMultipleObjects), DWORD WINAPI(DWORD, CONST HANDLE*, BOOL, DWORD)>);
static_assert(is_call<decltype(InitializeCriticalSection), void WINAPI(LPCRITICAL_SECTION)>);
static_assert(is_call<decltype(InitializeCriticalSectionAndSpinCount),
                      BOOL WINAPI(LPCRITICAL_SECTION, DWORD)>);
static_assert(is_call<decltype(EnterCriticalSection), void WINAPI(LPCRITICAL_SECTION)>);
static_assert(is_call<decltype(TryEnterCriticalSection), BOOL WINAPI(LPCRITICAL_SECTION)>);
static_assert(is_call<decltype(LeaveCriticalSection), void WINAPI(LPCRITICAL_SECTION)>);
static_assert(is_call<decltype(DeleteCriticalSection), void WINAPI(LPCRITICAL_SECTION)>);
static_assert(is_call<decltype(Sleep), void WINAPI(DWORD)>);
static_assert(is_call<decltype(CloseHandle), BOOL WINAPI(HANDLE)>);

static_assert(
    is_call<decltype(CreateThread), HANDLE WINAPI(LPSECURITY_ATTRIBUTES, SIZE_T,
                                                  LPTHREAD_START_ROUTINE, LPVOID, DWORD, LPDWORD)>);
static_assert(is_call<decltype(ResumeThread), DWORD WINAPI(HANDLE)>);
static_assert(is_call<decltype(TerminateThread), BOOL WINAPI(HANDLE, DWORD)>);
static_assert(is_call<decltype(GetExitCodeThread), BOOL WINAPI(HANDLE, LPDWORD)>);
static_assert(is_call<decltype(SetThreadPriority), BOOL WINAPI(HANDLE, int)>);
static_assert(is_call<decltype(GetThreadPriority), int WINAPI(HANDLE)>);
static_assert(is_call<decltype(GetCurrentThread), HANDLE WINAPI()>);
static_assert(is_call<decltype(GetCurrentThreadId), DWORD WINAPI()>);
static_assert(is_call<decltype(GetCurrentProcessId), DWORD WINAPI()>);
static_assert(is_call<decltype(GetExitCodeProcess), BOOL WINAPI(HANDLE, LPDWORD)>);
static_assert(is_call<decltype(TerminateProcess), BOOL WINAPI(HANDLE, UINT)>);
static_assert(is_call<decltype(CreateProcessA),
                      BOOL WINAPI(LPCSTR, LPSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                                  DWORD, LPVOID, LPCSTR, LPSTARTUPINFOA, LPPROCESS_INFORMATION)>);

static_assert(is_call<decltype(GetLastError), DWORD WINAPI()>);
static_assert(is_call<decltype(SetLastError), void WINAPI(DWORD)>);
static_assert(is_call<decltype(GetTickCount), DWORD WINAPI()>);
static_assert(is_call<decltype(GetTickCount64), ULONGLONG WINAPI()>);
static_assert(is_call<decltype(GetLocalTime), void WINAPI(LPSYSTEMTIME)>);
static_assert(is_call<decltype(QueryPerformanceCounter), BOOL WINAPI(LARGE_INTEGER*)>);
static_assert(is_call<decltype(QueryPerformanceFrequency), BOOL WINAPI(LARGE_INTEGER*)>);
static_assert(is_call<decltype(timeGetDevCaps), MMRESULT WINAPI(LPTIMECAPS, UINT)>);
static_assert(is_call<decltype(timeBeginPeriod), MMRESULT WINAPI(UINT)>);
static_assert(is_call<decltype(timeEndPeriod), MMRESULT WINAPI(UINT)>);
static_assert(
    is_call<decltype(timeSetEvent), MMRESULT WINAPI(UINT, UINT, LPTIMECALLBACK, DWORD_PTR, UINT)>);
static_assert(is_call<decltype(timeKillEvent), MMRESULT WINAPI(UINT)>);
static_assert(
    is_call<LPTIMECALLBACK, void(CALLBACK*)(UINT, UINT, DWORD_PTR, DWORD_PTR, DWORD_PTR)>);
static_assert(is_call<decltype(GetVersionExA), BOOL WINAPI(LPOSVERSIONINFOA)>);

static_assert(is_call<decltype(LoadLibraryA), HMODULE WINAPI(LPCSTR)>);
static_assert(is_call<decltype(FreeLibrary), BOOL WINAPI(HMODULE)>);
static_assert(is_call<decltype(GetProcAddress), FARPROC WINAPI(HMODULE, LPCSTR)>);
static_assert(is_call<decltype(GetModuleHandleExA), BOOL WINAPI(DWORD, LPCSTR, HMODULE*)>);
static_assert(is_call<decltype(GetModuleFileNameA), DWORD WINAPI(HMODULE, LPSTR, DWORD)>);
static_assert(std::is_invocable_r_v<void, decltype(FreeLibraryAndExitThread), HMODULE, DWORD>);

static_assert(is_call<decltype(LocalAlloc), HLOCAL WINAPI(UINT, SIZE_T)>);
static_assert(is_call<decltype(LocalFree), HLOCAL WINAPI(HLOCAL)>);
static_assert(is_call<decltype(GlobalAlloc), HGLOBAL WINAPI(UINT, SIZE_T)>);
static_assert(is_call<decltype(GlobalFree), HGLOBAL WINAPI(HGLOBAL)>);
static_assert(is_call<decltype(VirtualAlloc), LPVOID WINAPI(LPVOID, SIZE_T, DWORD, DWORD)>);
static_assert(is_call<decltype(VirtualFree), BOOL WINAPI(LPVOID, SIZE_T, DWORD)>);
static_assert(is_call<decltype(lstrlenA), int WINAPI(LPCSTR)>);
static_assert(is_call<decltype(lstrlenW), int WINAPI(LPCWSTR)>);
static_assert(is_call<decltype(GetEnvironmentVariableA), DWORD WINAPI(LPCSTR, LPSTR, DWORD)>);
static_assert(is_call<decltype(SetEnvironmentVariableA), BOOL WINAPI(LPCSTR, LPCSTR)>);
static_assert(
    is_call<decltype(InitializeSecurityDescriptor), BOOL WINAPI(PSECURITY_DESCRIPTOR, DWORD)>);
static_assert(is_call<decltype(SetSecurityDescriptorDacl),
                      BOOL WINAPI(PSECURITY_DESCRIPTOR, BOOL, PACL, BOOL)>);
static_assert(is_call<decltype(SetConsoleCtrlHandler), BOOL WINAPI(PHANDLER_ROUTINE, BOOL)>);

// Numbers that the rest relies on.
static_assert(WAIT_OBJECT_0 == 0 && WAIT_ABANDONED == 0x80 && WAIT_ABANDONED_0 == 0x80);
static_assert(WAIT_TIMEOUT == 258 && WAIT_FAILED == 0xffffffff && INFINITE == 0xffffffff);
static_assert(STILL_ACTIVE == 259 && CREATE_SUSPENDED == 4 && MAXIMUM_WAIT_OBJECTS == 64);
static_assert(DLL_PROCESS_DETACH == 0 && DLL_PROCESS_ATTACH == 1);
static_assert(ERROR_FILE_NOT_FOUND == 2 && ERROR_PATH_NOT_FOUND == 3 && ERROR_ACCESS_DENIED == 5);
static_assert(ERROR_INVALID_HANDLE == 6 && ERROR_NOT_ENOUGH_MEMORY == 8 && ERROR_GEN_FAILURE == 31);
static_assert(ERROR_SHARING_VIOLATION == 32 && ERROR_INVALID_PARAMETER == 87);
static_assert(ERROR_INSUFFICIENT_BUFFER == 122 && ERROR_INVALID_NAME == 123);
static_assert(ERROR_ALREADY_EXISTS == 183 && ERROR_FILENAME_EXCED_RANGE == 206);
static_assert(ERROR_MORE_DATA == 234 && ERROR_NO_MORE_ITEMS == 259 && ERROR_NOT_OWNER == 288);
static_assert(MMSYSERR_NOERROR == 0 && TIMERR_NOERROR == 0 && TIMERR_NOCANDO == 97);
static_assert(TIME_ONESHOT == 0 && TIME_CALLBACK_EVENT_SET == 16);
static_assert(ERROR_INVALID_PRINTER_NAME == 1801 && ERROR_BAD_DEVICE == 1200);
static_assert(S_OK == 0 && S_FALSE == 1 && FAILED(E_FAIL) && SUCCEEDED(S_FALSE));
static_assert(static_cast<DWORD>(RPC_E_CHANGED_MODE) == 0x80010106);
static_assert(static_cast<DWORD>(CO_E_NOTINITIALIZED) == 0x800401F0);
static_assert(static_cast<DWORD>(REGDB_E_CLASSNOTREG) == 0x80040154);

}  // namespace
