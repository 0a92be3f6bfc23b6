// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <VantoService/Ref.h>

#include "ipc/ByteBuffer.h"
#include "ipc/IPCObject.h"
#include "value/Fd.h"

/// Objects as bytes and back; the form is described in docs/formats/wire.md. Nothing here knows of sockets.
namespace vanto {

/// An object in its encoded form. Reusable: encoding again keeps the memory. Not for several threads at once.
class EncodedObject {
 public:
  /// Encodes `object` in place of what was there. Answers VANTO_ERROR_INVALID for what cannot travel and
  /// VANTO_ERROR_TOO_LARGE beyond a limit; there is then nothing encoded.
  [[nodiscard]] vanto_error_code_t encode(vanto_object_t object);

  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept {
    return bytes_.size() != 0 ? bytes_.bytes().subspan(prefixBytes) : bytes_.bytes();
  }
  /// The room before the bytes, prefixBytes of it, for whoever sends them to write a header into: the two then leave in
  /// one piece. Only while there is something encoded.
  [[nodiscard]] std::uint8_t* prefix() noexcept { return bytes_.begin(); }
  static constexpr std::size_t prefixBytes = 40;

  /// The descriptors that go with the bytes, in the order of their indices in them; borrowed from the object, to which
  /// there is a reference here if there are any.
  [[nodiscard]] std::span<const int> descriptors() const noexcept { return descriptors_; }

 private:
  void clear() noexcept;

  ByteBuffer bytes_;
  std::vector<int> descriptors_;
  Ref<vanto_object> object_;
};

/// The object that `bytes` and the descriptors that came with them hold. Strict: there is exactly one encoding of each
/// object, and anything else, a limit exceeded, or a descriptor not used exactly once gives null. Descriptors that went
/// into the object, or that were looked at before it turned out to be none, are taken out of `descriptors`; the rest
/// stay with the caller. What decoding holds is at most about 8 times the size of `bytes`.
[[nodiscard]] Ref<vanto_object> decodeObject(std::span<const std::uint8_t> bytes, std::span<Fd> descriptors);

/// The kind that stands in an encoding for data in a sealed memfd.
inline constexpr std::uint32_t wireSealedData = 10;

}  // namespace vanto
