// SPDX-License-Identifier: Apache-2.0
#include "ipc/FdObject.h"

#include <fcntl.h>

#include <new>

#include "value/ValueStorage.h"

namespace vanto {

/// Named, so that the private destructor can let it in.
struct FdObjectEnd {
  static void destroy(Object& self) noexcept {
    auto& object = static_cast<FdObject&>(self);
    object.~FdObject();
    FdObject::deallocate(&object);
  }
};

constinit const Class fdObjectClass{"FdObject", &ipcObjectClass, NoKind, &FdObjectEnd::destroy, nullptr, nullptr};

Ref<FdObject> FdObject::create(Fd descriptor) noexcept {
  if (!descriptor) return nullptr;
  return Ref<FdObject>::adopt(new (allocate(sizeof(FdObject))) FdObject(std::move(descriptor)));
}

Fd FdObject::duplicate(int descriptor) noexcept {
  return Fd(fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
}

}  // namespace vanto
