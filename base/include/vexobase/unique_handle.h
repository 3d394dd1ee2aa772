#pragma once

#include <utility>

namespace vexobase {

/// Sole owner of an object of a C interface that is freed by `Free` and whose calls may replace
/// the object through its address (growing lists and hashes).
template <typename T, void (*Free)(T*)>
class UniqueHandle {
  public:
    explicit UniqueHandle(T* object = nullptr) noexcept : handle(object) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~UniqueHandle() {
        if (handle != nullptr) {
            Free(handle);
        }
    }

    explicit operator bool() const noexcept { return handle != nullptr; }
    T* operator->() const noexcept { return handle; }
    T* Get() const noexcept { return handle; }

    /// For calls that may put another object in the place of this one.
    T** Address() noexcept { return &handle; }

  private:
    T* handle;
};

}  // namespace vexobase
