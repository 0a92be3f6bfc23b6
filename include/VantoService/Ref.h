// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include <VantoService/Export.h>

namespace vanto {

class Object;

/// Hands one reference to the innermost open temporary-object scope of the calling thread, which releases it when it
/// closes.
VANTO_EXPORT void addTemporary(const Object& object) noexcept;

/// Owns one reference to a T, or nothing. A borrowed object is a `T*` (may be null) or a `T&` (never null); a Ref turns
/// into one only where `.get()` or `*` is written.
template <typename T>
class Ref {
 public:
  constexpr Ref() noexcept = default;
  constexpr Ref(std::nullptr_t) noexcept {}

  /// Takes over a reference that the caller owns.
  [[nodiscard]] static Ref adopt(T* object) noexcept { return Ref(object); }

  /// Takes a further reference.
  [[nodiscard]] static Ref share(T* object) noexcept {
    if (object != nullptr) object->retain();
    return Ref(object);
  }

  Ref(const Ref& other) noexcept : Ref(share(other.object_)) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

  template <typename U>
  requires std::is_convertible_v<U*, T*> Ref(Ref<U> other)
  noexcept : object_(std::exchange(other.object_, nullptr)) {}

  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  ~Ref() {
    if (object_ != nullptr) object_->release();
  }

  [[nodiscard]] T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Gives the reference away and forgets it: the caller releases it, or keeps it for the life of the process on
  /// purpose.
  [[nodiscard]] T* leak() noexcept { return std::exchange(object_, nullptr); }

  /// Gives the reference to the calling thread's innermost temporary-object scope; the object lives at least until that
  /// scope closes. Null gives null.
  [[nodiscard]] T* asTemporary() && noexcept {
    if (object_ != nullptr) addTemporary(*object_);
    return leak();
  }

 private:
  template <typename U>
  friend class Ref;

  constexpr explicit Ref(T* object) noexcept : object_(object) {}

  T* object_ = nullptr;
};

}  // namespace vanto
