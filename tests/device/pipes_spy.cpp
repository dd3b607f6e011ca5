#include "tests/device/pipes_spy.h"

#include <setupapi.h>
#include <winusb.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/faults.h"
#include "platform/kernel/call.h"

using pipes_test::PipeAnswer;
using pipes_test::PipeCall;
using pipes_test::spy;

namespace pipes_test {

Spy& spy() {
  static Spy the_spy;
  return the_spy;
}

namespace {

std::string word(const char* text) { return text; }
std::string word(std::uint32_t number) { return std::to_string(number); }
std::string hex(std::uint32_t number) {
  char text[9];
  std::snprintf(text, sizeof text, "%08X", number);
  return text;
}
std::string word(const std::string& text) { return text; }

// One call: its name and what it was given.
template <typename... Words>
void tell(const char* name, Words... words) {
  const platform::Exempt exempt;
  std::string text = name;
  ((text += " " + word(words)), ...);
  const platform::StateGuard guard;  // reads and writes come from two threads
  spy().calls.push_back(text);
}

const char* null_or_other(const void* pointer) { return pointer == nullptr ? "null" : "other"; }

const char* name_of(HANDLE handle) {
  if (handle == nullptr) return "null";
  if (handle == spy().file) return "file";
  return handle == spy().interface ? "interface" : "other";
}

bool is_device(LPCSTR path) { return path != nullptr && std::strncmp(path, "\\\\?\\usb#", 8) == 0; }

std::optional<PipeAnswer> next(std::deque<PipeAnswer>& answers) {
  if (answers.empty()) return std::nullopt;
  const platform::Exempt exempt;
  PipeAnswer answer = answers.front();
  answers.pop_front();
  return answer;
}

BOOL finish(const PipeAnswer& answer, ULONG count, PULONG told) {
  if (answer.takes_ms != 0) Sleep(answer.takes_ms);
  *told = count;
  SetLastError(answer.error);
  return answer.success ? TRUE : FALSE;
}

}  // namespace
}  // namespace pipes_test

using pipes_test::hex;
using pipes_test::kSpoiled;
using pipes_test::name_of;
using pipes_test::null_or_other;
using pipes_test::tell;

extern "C" {
HANDLE WINAPI __real_CreateFileA(LPCSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE);
HANDLE WINAPI __wrap_CreateFileA(LPCSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE);
BOOL WINAPI __real_CloseHandle(HANDLE);
BOOL WINAPI __wrap_CloseHandle(HANDLE);
HLOCAL WINAPI __real_LocalAlloc(UINT, SIZE_T);
HLOCAL WINAPI __wrap_LocalAlloc(UINT, SIZE_T);
HLOCAL WINAPI __real_LocalFree(HLOCAL);
HLOCAL WINAPI __wrap_LocalFree(HLOCAL);
BOOL WINAPI __real_WinUsb_Initialize(HANDLE, PWINUSB_INTERFACE_HANDLE);
BOOL WINAPI __wrap_WinUsb_Initialize(HANDLE, PWINUSB_INTERFACE_HANDLE);
BOOL WINAPI __real_WinUsb_Free(WINUSB_INTERFACE_HANDLE);
BOOL WINAPI __wrap_WinUsb_Free(WINUSB_INTERFACE_HANDLE);
BOOL WINAPI __real_WinUsb_QueryInterfaceSettings(WINUSB_INTERFACE_HANDLE, UCHAR,
                                                 PUSB_INTERFACE_DESCRIPTOR);
BOOL WINAPI __wrap_WinUsb_QueryInterfaceSettings(WINUSB_INTERFACE_HANDLE, UCHAR,
                                                 PUSB_INTERFACE_DESCRIPTOR);
BOOL WINAPI __real_WinUsb_QueryPipe(WINUSB_INTERFACE_HANDLE, UCHAR, UCHAR,
                                    PWINUSB_PIPE_INFORMATION);
BOOL WINAPI __wrap_WinUsb_QueryPipe(WINUSB_INTERFACE_HANDLE, UCHAR, UCHAR,
                                    PWINUSB_PIPE_INFORMATION);
BOOL WINAPI __real_WinUsb_ReadPipe(WINUSB_INTERFACE_HANDLE, UCHAR, PUCHAR, ULONG, PULONG,
                                   LPOVERLAPPED);
BOOL WINAPI __wrap_WinUsb_ReadPipe(WINUSB_INTERFACE_HANDLE, UCHAR, PUCHAR, ULONG, PULONG,
                                   LPOVERLAPPED);
BOOL WINAPI __real_WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE, UCHAR, PUCHAR, ULONG, PULONG,
                                    LPOVERLAPPED);
BOOL WINAPI __wrap_WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE, UCHAR, PUCHAR, ULONG, PULONG,
                                    LPOVERLAPPED);
HDEVINFO WINAPI __real_SetupDiGetClassDevsA(CONST GUID*, LPCSTR, HWND, DWORD);
HDEVINFO WINAPI __wrap_SetupDiGetClassDevsA(CONST GUID*, LPCSTR, HWND, DWORD);
BOOL WINAPI __real_SetupDiEnumDeviceInterfaces(HDEVINFO, PSP_DEVINFO_DATA, CONST GUID*, DWORD,
                                               PSP_DEVICE_INTERFACE_DATA);
BOOL WINAPI __wrap_SetupDiEnumDeviceInterfaces(HDEVINFO, PSP_DEVINFO_DATA, CONST GUID*, DWORD,
                                               PSP_DEVICE_INTERFACE_DATA);
BOOL WINAPI __real_SetupDiGetDeviceInterfaceDetailA(HDEVINFO, PSP_DEVICE_INTERFACE_DATA,
                                                    PSP_DEVICE_INTERFACE_DETAIL_DATA_A, DWORD,
                                                    PDWORD, PSP_DEVINFO_DATA);
BOOL WINAPI __wrap_SetupDiGetDeviceInterfaceDetailA(HDEVINFO, PSP_DEVICE_INTERFACE_DATA,
                                                    PSP_DEVICE_INTERFACE_DETAIL_DATA_A, DWORD,
                                                    PDWORD, PSP_DEVINFO_DATA);
BOOL WINAPI __real_SetupDiDestroyDeviceInfoList(HDEVINFO);
BOOL WINAPI __wrap_SetupDiDestroyDeviceInfoList(HDEVINFO);

// --- Files and memory -------------------------------------------------------------------------

HANDLE WINAPI __wrap_CreateFileA(LPCSTR path, DWORD access, DWORD share,
                                 LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
                                 HANDLE template_file) {
  const HANDLE file =
      __real_CreateFileA(path, access, share, security, disposition, flags, template_file);
  if (!pipes_test::is_device(path)) return file;
  tell("CreateFileA", hex(access), share, null_or_other(security), disposition, hex(flags),
       name_of(template_file));
  if (file != INVALID_HANDLE_VALUE) spy().file = file;
  return file;
}

BOOL WINAPI __wrap_CloseHandle(HANDLE handle) {
  if (handle == nullptr || handle != spy().file) return __real_CloseHandle(handle);
  tell("CloseHandle file");
  spy().file = nullptr;
  const BOOL closed = __real_CloseHandle(handle);
  SetLastError(kSpoiled);
  return closed;
}

HLOCAL WINAPI __wrap_LocalAlloc(UINT flags, SIZE_T size) {
  tell("LocalAlloc", (flags & 2) == 0 ? "fixed" : "movable", static_cast<std::uint32_t>(size));
  return __real_LocalAlloc(flags, size);
}

HLOCAL WINAPI __wrap_LocalFree(HLOCAL memory) {
  tell("LocalFree");
  const HLOCAL left = __real_LocalFree(memory);
  SetLastError(kSpoiled);
  return left;
}

// --- WinUSB -----------------------------------------------------------------------------------

BOOL WINAPI __wrap_WinUsb_Initialize(HANDLE file, PWINUSB_INTERFACE_HANDLE interface) {
  tell("WinUsb_Initialize", name_of(file));
  if (spy().initialize_leaves_rubbish) {
    *interface = file;
    SetLastError(ERROR_BAD_DEVICE);
    return FALSE;
  }
  const BOOL done = __real_WinUsb_Initialize(file, interface);
  if (done != FALSE) spy().interface = *interface;
  return done;
}

BOOL WINAPI __wrap_WinUsb_Free(WINUSB_INTERFACE_HANDLE interface) {
  tell("WinUsb_Free", name_of(interface));
  spy().interface = nullptr;
  const BOOL done = __real_WinUsb_Free(interface);
  SetLastError(kSpoiled);
  return done;
}

BOOL WINAPI __wrap_WinUsb_QueryInterfaceSettings(WINUSB_INTERFACE_HANDLE interface, UCHAR setting,
                                                 PUSB_INTERFACE_DESCRIPTOR descriptor) {
  tell("WinUsb_QueryInterfaceSettings", name_of(interface), setting);
  return __real_WinUsb_QueryInterfaceSettings(interface, setting, descriptor);
}

BOOL WINAPI __wrap_WinUsb_QueryPipe(WINUSB_INTERFACE_HANDLE interface, UCHAR setting, UCHAR index,
                                    PWINUSB_PIPE_INFORMATION pipe) {
  tell("WinUsb_QueryPipe", name_of(interface), setting, index);
  return __real_WinUsb_QueryPipe(interface, setting, index, pipe);
}

BOOL WINAPI __wrap_WinUsb_ReadPipe(WINUSB_INTERFACE_HANDLE interface, UCHAR pipe, PUCHAR buffer,
                                   ULONG size, PULONG count, LPOVERLAPPED overlapped) {
  tell("WinUsb_ReadPipe", name_of(interface));
  {
    const platform::Exempt exempt;
    spy().reads.push_back(
        {.pipe = pipe,
         .size = size,
         .overlapped = overlapped != nullptr,
         .clean = std::all_of(buffer, buffer + size, [](std::uint8_t byte) { return byte == 0; }),
         .count_before = *count});
  }
  const auto answer = pipes_test::next(spy().read_answers);
  if (!answer) return __real_WinUsb_ReadPipe(interface, pipe, buffer, size, count, overlapped);
  const std::size_t stored = std::min<std::size_t>(answer->bytes.size(), size);
  std::copy_n(answer->bytes.begin(), stored, buffer);
  return pipes_test::finish(*answer, answer->told_count.value_or(static_cast<ULONG>(stored)),
                            count);
}

BOOL WINAPI __wrap_WinUsb_WritePipe(WINUSB_INTERFACE_HANDLE interface, UCHAR pipe, PUCHAR buffer,
                                    ULONG size, PULONG count, LPOVERLAPPED overlapped) {
  tell("WinUsb_WritePipe", name_of(interface));
  {
    const platform::Exempt exempt;
    spy().writes.push_back({.pipe = pipe,
                            .size = size,
                            .overlapped = overlapped != nullptr,
                            .count_before = *count,
                            .bytes = {buffer, buffer + size}});
  }
  const auto answer = pipes_test::next(spy().write_answers);
  if (!answer) return __real_WinUsb_WritePipe(interface, pipe, buffer, size, count, overlapped);
  return pipes_test::finish(*answer, answer->count, count);
}

// --- The listing of devices -------------------------------------------------------------------

HDEVINFO WINAPI __wrap_SetupDiGetClassDevsA(CONST GUID* guid, LPCSTR enumerator, HWND window,
                                            DWORD flags) {
  tell("SetupDiGetClassDevsA", hex(guid->Data1), null_or_other(enumerator), null_or_other(window),
       flags);
  if (spy().null_set) {
    SetLastError(ERROR_BAD_DEVICE);
    return nullptr;
  }
  return __real_SetupDiGetClassDevsA(guid, enumerator, window, flags);
}

BOOL WINAPI __wrap_SetupDiEnumDeviceInterfaces(HDEVINFO set, PSP_DEVINFO_DATA device,
                                               CONST GUID* guid, DWORD index,
                                               PSP_DEVICE_INTERFACE_DATA data) {
  tell("SetupDiEnumDeviceInterfaces", null_or_other(device), hex(guid->Data1), index);
  return __real_SetupDiEnumDeviceInterfaces(set, device, guid, index, data);
}

BOOL WINAPI __wrap_SetupDiGetDeviceInterfaceDetailA(HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data,
                                                    PSP_DEVICE_INTERFACE_DETAIL_DATA_A detail,
                                                    DWORD size, PDWORD needed,
                                                    PSP_DEVINFO_DATA device) {
  if (detail == nullptr) {
    tell("SetupDiGetDeviceInterfaceDetailA", "null", size);
    const BOOL done =
        __real_SetupDiGetDeviceInterfaceDetailA(set, data, detail, size, needed, device);
    if (spy().detail_size) *needed = *spy().detail_size;
    return done;
  }
  const char* const text = reinterpret_cast<const char*>(detail) + sizeof detail->cbSize;
  const std::size_t room = size - sizeof detail->cbSize;
  const bool clean = std::all_of(text, text + room, [](char byte) { return byte == 0; });
  tell("SetupDiGetDeviceInterfaceDetailA", detail->cbSize, clean ? "clean" : "rubbish", size);
  if (spy().detail_text) {
    std::memcpy(reinterpret_cast<char*>(detail) + sizeof detail->cbSize, spy().detail_text->data(),
                std::min(spy().detail_text->size(), room));
    return TRUE;
  }
  return __real_SetupDiGetDeviceInterfaceDetailA(set, data, detail, size, needed, device);
}

BOOL WINAPI __wrap_SetupDiDestroyDeviceInfoList(HDEVINFO set) {
  tell("SetupDiDestroyDeviceInfoList");
  const BOOL done = __real_SetupDiDestroyDeviceInfoList(set);
  SetLastError(kSpoiled);
  return done;
}
}
