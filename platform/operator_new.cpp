// The program's memory allocation, as a fault point. All forms of operator new come
// down to two: alignment that malloc gives anyway, and more.

#include <cstdlib>
#include <new>

#include "platform/fault_points.h"

namespace {

void* allocate(std::size_t size, std::size_t alignment) {
  if (platform::allocation_fails()) return nullptr;
  if (size == 0) size = 1;
  if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) return std::malloc(size);
  void* memory = nullptr;
  return posix_memalign(&memory, alignment, size) == 0 ? memory : nullptr;
}

void* allocate_or_throw(std::size_t size, std::size_t alignment) {
  void* memory = allocate(size, alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate_or_throw(size, 1); }
void* operator new[](std::size_t size) { return allocate_or_throw(size, 1); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate_or_throw(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocate_or_throw(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size, 1); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size, 1); }
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
  std::free(memory);
}
