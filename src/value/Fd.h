// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace vanto {

/// Owns a descriptor, or none.
class Fd {
 public:
  Fd() noexcept = default;
  /// Takes over `descriptor`; a negative one is none.
  explicit Fd(int descriptor) noexcept : descriptor_(descriptor) {}
  Fd(Fd&& other) noexcept : descriptor_(other.release()) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  ~Fd() { reset(); }

  [[nodiscard]] int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }

  /// Gives the descriptor away; the caller closes it.
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

  /// Closes what is held and takes over `descriptor`.
  void reset(int descriptor = -1) noexcept {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = descriptor;
  }

 private:
  int descriptor_ = -1;
};

}  // namespace vanto
