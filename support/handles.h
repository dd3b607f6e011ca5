#pragma once

// Owners of the operating system's handles.

#include <windows.h>

#include <winspool.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace vlp {

// Owns one handle and closes it with `Traits::Close`; empty is `Traits::Handle{}`.
template <typename Traits>
class Owned {
 public:
  using Handle = typename Traits::Handle;

  Owned() = default;
  explicit Owned(Handle handle) : handle_(handle) {}
  ~Owned() { Reset(); }
  Owned(Owned&& other) noexcept : handle_(std::exchange(other.handle_, Handle{})) {}
  Owned& operator=(Owned&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.handle_, Handle{}));
    return *this;
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;

  Handle Get() const { return handle_; }
  explicit operator bool() const { return handle_ != Handle{}; }

  void Reset(Handle next = Handle{}) {
    const Handle old = std::exchange(handle_, next);
    if (old != Handle{}) Traits::Close(old);
  }

  // Drops what a failed call may have left behind.
  void Forget() { handle_ = Handle{}; }

  // For calls that store the handle themselves.
  Handle* Receive() {
    Reset();
    return &handle_;
  }

 private:
  Handle handle_{};
};

struct KernelHandleTraits {
  using Handle = HANDLE;
  static void Close(HANDLE handle) { CloseHandle(handle); }
};
// Events, threads, mutexes.
using KernelHandle = Owned<KernelHandleTraits>;

struct RegistryKeyTraits {
  using Handle = HKEY;
  static void Close(HKEY key) { RegCloseKey(key); }
};
using RegistryKey = Owned<RegistryKeyTraits>;

struct PrinterHandleTraits {
  using Handle = HANDLE;
  static void Close(HANDLE printer) { ClosePrinter(printer); }
};
// A printer opened in the spooler.
using PrinterHandle = Owned<PrinterHandleTraits>;

struct VirtualMemoryTraits {
  using Handle = std::uint8_t*;
  static void Close(std::uint8_t* memory) { VirtualFree(memory, 0, MEM_RELEASE); }
};
// Whole pages of zeroed memory.
using VirtualMemory = Owned<VirtualMemoryTraits>;

// Empty if there is no memory, or for a size of 0.
inline VirtualMemory AllocateVirtual(std::size_t size) {
  return VirtualMemory(static_cast<std::uint8_t*>(
      VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE)));
}

// Owns an open file; CreateFileA fails with all ones, which counts as empty here.
class FileHandle {
 public:
  explicit FileHandle(HANDLE file) : file_(file == INVALID_HANDLE_VALUE ? nullptr : file) {}
  HANDLE Get() const { return file_.Get(); }
  explicit operator bool() const { return static_cast<bool>(file_); }

 private:
  KernelHandle file_;
};

}  // namespace vlp
