// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistValue.h>

#include "value/ValueStorage.h"

namespace vanto {

constinit const Class plistValueClass{"PlistValue", &objectClass, NoKind, nullptr, nullptr, nullptr};

}  // namespace vanto

const vanto::Class& PlistValue::classDescriptor() noexcept {
  return vanto::plistValueClass;
}
