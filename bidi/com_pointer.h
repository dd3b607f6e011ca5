#pragma once

#include <utility>

namespace vlp {

// Owns one reference to a COM object.
template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ~ComPointer() { Reset(); }
  ComPointer(ComPointer&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPointer& operator=(ComPointer&& other) noexcept {
    if (this != &other) {
      Reset();
      object_ = std::exchange(other.object_, nullptr);
    }
    return *this;
  }
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;

  Interface* Get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  void Reset() {
    if (object_ != nullptr) std::exchange(object_, nullptr)->Release();
  }

  // Drops what a failed call may have left behind.
  void Forget() { object_ = nullptr; }

  // For calls that store the pointer themselves.
  void** Receive() {
    Reset();
    return reinterpret_cast<void**>(&object_);
  }

 private:
  Interface* object_ = nullptr;
};

}  // namespace vlp
