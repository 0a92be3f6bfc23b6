// SPDX-License-Identifier: Apache-2.0
#include "ipc/IPCObject.h"

#include <VantoService/PlistString.h>

#include "ipc/ObjectDescription.h"
#include "ipc/ObjectEquality.h"
#include "value/ValueStorage.h"

namespace vanto {
namespace {

Ref<PlistString> createDescription(const Object& self) {
  return PlistString::create(describe(static_cast<const vanto_object*>(&self)));
}

bool isEqual(const Object& self, const Object& other) noexcept {
  return other.isKindOf(ipcObjectClass) &&
         areEqual(static_cast<const vanto_object*>(&self), static_cast<const vanto_object*>(&other));
}

}  // namespace

constinit const Class ipcObjectClass{"IPCObject",        &objectClass, NoKind, &ValueStorage::destroyPlain,
                                     &createDescription, &isEqual};

}  // namespace vanto

const vanto::Class& vanto_object::classDescriptor() noexcept {
  return vanto::ipcObjectClass;
}
