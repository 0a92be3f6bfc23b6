// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <VantoService/PlistData.h>
#include <VantoService/PlistDictionary.h>

namespace vanto::code {

/// The entries of a dictionary that may have certain ones only, each of one kind. Each is taken once; then problem()
/// tells whether all was as it should be.
class Fields {
 public:
  enum class Need : std::uint8_t { Required, Optional };

  explicit Fields(const PlistDictionary& dictionary) noexcept : dictionary_(dictionary) {}

  /// The value under `key`, or null, with a problem where it is of another kind or is required and missing.
  template <typename T>
  [[nodiscard]] T* take(std::string_view key, Need need = Need::Required) {
    Object* const value = valueOf(key, need);
    T* const result = as<T>(value);
    if (value != nullptr && result == nullptr) fail(key, "has a value of another kind");
    return result;
  }

  /// The same for data of as many bytes as `bytes` has, which are copied. False when they are not there.
  bool takeBytes(std::string_view key, std::span<std::uint8_t> bytes, Need need = Need::Required);
  /// The same for text.
  bool takeText(std::string_view key, std::string& text, Need need = Need::Required);

  /// Adds a problem of the value that was taken under `key`.
  void fail(std::string_view key, std::string_view problem);

  /// The first problem, with its key: of what was taken, or an entry that was not. Empty when there is none.
  [[nodiscard]] const std::string& problem();

 private:
  [[nodiscard]] Object* valueOf(std::string_view key, Need need);

  const PlistDictionary& dictionary_;
  std::size_t taken_ = 0;
  std::string problem_;
};

/// The dictionary that `bytes` hold as an XML property list. Null with a reason in `problem` when they are anything
/// else.
[[nodiscard]] Ref<PlistDictionary> readDictionary(std::string_view bytes, std::string& problem);

/// `dictionary`, whose parts XML can carry, as an XML property list; the same bytes for the same value.
[[nodiscard]] std::string writeDictionary(const PlistDictionary& dictionary);

[[nodiscard]] Ref<PlistData> createData(std::span<const std::uint8_t> bytes);
/// Sets a value under a key.
void setField(PlistMutableDictionary& dictionary, std::string_view key, const Ref<PlistValue>& value);

}  // namespace vanto::code
