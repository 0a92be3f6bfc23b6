// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <VantoService/PlistData.h>
#include <VantoService/PlistValue.h>

// Property lists as bytes. The formats are described in docs/formats/.

namespace vanto {

/// Why bytes are not a property list, or why a value cannot become one.
struct PropertyListError {
  /// Where the trouble is, both from 1; columns count bytes, without a byte-order mark. The binary form has no lines:
  /// there the line is 0 and the column counts the bytes of the document. Both are 0 when there is no place, as when
  /// writing.
  std::size_t line = 0;
  std::size_t column = 0;
  /// What was expected there, or what is wrong, in a few English words without a full stop.
  std::string message;
};

/// The value that `bytes` hold as a property list, in XML or in the binary form. It is immutable, and its parts share
/// their memory, which is freed when the last reference to any of them goes. Null when `bytes` are anything else;
/// `error`, if given, then says why and is otherwise untouched.
[[nodiscard]] VANTO_EXPORT Ref<PlistValue> createPropertyList(std::span<const std::uint8_t> bytes,
                                                              PropertyListError* error = nullptr);

/// `value` as an XML property list. Null when XML cannot carry the value: it holds an object that is no property-list
/// value, a hole, a character that XML does not allow, or a date outside the years 1 to 9999 or between two seconds; or
/// it nests deeper than readers accept, or takes more than 64 MiB. `error`, if given, then says why and is otherwise
/// untouched.
[[nodiscard]] VANTO_EXPORT Ref<PlistData> createPropertyListXML(const Object& value,
                                                                PropertyListError* error = nullptr);

/// `value` in the compact binary form, which keeps kind, subtype and bits of every value exactly; a mutable value is
/// written as its kind. The same value gives the same bytes, and no other bytes are read as it. Null when the value
/// holds an object that is no property-list value or a hole, nests deeper than readers accept, or takes more than 64
/// MiB. `error`, if given, then says why and is otherwise untouched.
[[nodiscard]] VANTO_EXPORT Ref<PlistData> createPropertyListBinary(const Object& value,
                                                                   PropertyListError* error = nullptr);

}  // namespace vanto
