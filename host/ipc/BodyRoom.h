// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>

#include "ipc/UserLimit.h"

namespace vanto {

/// The room that one body in chunks takes of what its sender's user may have; given back when this goes. Or none.
class BodyRoom {
 public:
  BodyRoom() noexcept = default;
  BodyRoom(BodyRoom&& other) noexcept : user_(other.user_), bytes_(std::exchange(other.bytes_, 0)) {}
  BodyRoom& operator=(BodyRoom&& other) noexcept {
    std::swap(user_, other.user_);
    std::swap(bytes_, other.bytes_);
    return *this;
  }
  ~BodyRoom() {
    if (bytes_ != 0) UserLimit::giveBytesBack(user_, bytes_);
  }

  /// Room for `bytes` bytes, not 0, of `user`; none when the user has too much already.
  [[nodiscard]] static BodyRoom take(uid_t user, std::size_t bytes) noexcept {
    return UserLimit::takeBytes(user, bytes) ? BodyRoom(user, bytes) : BodyRoom();
  }

  [[nodiscard]] explicit operator bool() const noexcept { return bytes_ != 0; }

 private:
  BodyRoom(uid_t user, std::size_t bytes) noexcept : user_(user), bytes_(bytes) {}

  uid_t user_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace vanto
