// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vanto {

/// What a profile can allow and require, in the order in which rights are listed to people. The first nine are rights
/// to a path, the next two to a TCP port.
enum class Right : std::uint8_t {
  Read,
  Write,
  Create,
  Remove,
  Truncate,
  Rename,
  Execute,
  Ioctl,
  Socket,  ///< connecting to Unix sockets that have a path
  Bind,
  Connect,
  Network,    ///< every socket that is neither a Unix nor a TCP one
  Abstract,   ///< connecting to abstract Unix sockets made outside
  Signal,     ///< signals to processes outside
  Processes,  ///< making processes
  System      ///< system calls that no profile allows; can only be required
};

inline constexpr std::array allRights{Right::Read,     Right::Write,  Right::Create,    Right::Remove,
                                      Right::Truncate, Right::Rename, Right::Execute,   Right::Ioctl,
                                      Right::Socket,   Right::Bind,   Right::Connect,   Right::Network,
                                      Right::Abstract, Right::Signal, Right::Processes, Right::System};

[[nodiscard]] constexpr bool isRightToPath(Right right) noexcept {
  return right <= Right::Socket;
}

[[nodiscard]] constexpr bool isRightToPort(Right right) noexcept {
  return right == Right::Bind || right == Right::Connect;
}

/// A set of rights; a value.
class RightSet {
 public:
  constexpr RightSet() noexcept = default;
  constexpr RightSet(Right right) noexcept : bits_(1U << static_cast<unsigned>(right)) {}

  [[nodiscard]] constexpr bool contains(Right right) const noexcept { return (bits_ & RightSet(right).bits_) != 0; }
  [[nodiscard]] constexpr bool isEmpty() const noexcept { return bits_ == 0; }
  [[nodiscard]] constexpr RightSet without(RightSet other) const noexcept { return RightSet(bits_ & ~other.bits_); }
  constexpr RightSet& operator|=(RightSet other) noexcept {
    bits_ |= other.bits_;
    return *this;
  }
  [[nodiscard]] friend constexpr RightSet operator&(RightSet left, RightSet right) noexcept {
    return RightSet(left.bits_ & right.bits_);
  }
  [[nodiscard]] friend constexpr RightSet operator|(RightSet left, RightSet right) noexcept { return left |= right; }
  [[nodiscard]] friend constexpr bool operator==(RightSet left, RightSet right) noexcept = default;

 private:
  constexpr explicit RightSet(std::uint32_t bits) noexcept : bits_(bits) {}

  std::uint32_t bits_ = 0;
};

/// The word of the profile language for `right`.
[[nodiscard]] std::string_view nameOf(Right right) noexcept;

/// The right with the name `word`, or none.
[[nodiscard]] std::optional<Right> rightNamed(std::string_view word) noexcept;

/// The names in order, with `between` between each two.
[[nodiscard]] std::string namesOf(RightSet rights, std::string_view between);

}  // namespace vanto
