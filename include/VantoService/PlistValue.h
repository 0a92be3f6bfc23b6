// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Object.h>

/// A property-list value: one of PlistDictionary, PlistArray, PlistString, PlistNumber, PlistBoolean, PlistData and
/// PlistDate. Values are immutable once shared between threads; mutable variants are subclasses of their kind.
class VANTO_EXPORT PlistValue : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

 protected:
  using Object::Object;
};
