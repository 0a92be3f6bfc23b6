// SPDX-License-Identifier: Apache-2.0
#include "ipc/ScalarObject.h"

#include <new>

#include "value/ValueStorage.h"

namespace vanto {

/// Named, so that the private constructor can let it in.
struct BoolConstants {
  BoolObject falseObject{false};
  BoolObject trueObject{true};
};

namespace {

constinit BoolConstants boolConstants;

}  // namespace

constinit const Class boolObjectClass{"BoolObject", &ipcObjectClass, NoKind, &ValueStorage::destroyPlain,
                                      nullptr,      nullptr};
constinit const Class int64ObjectClass{"Int64Object", &ipcObjectClass, NoKind, &ValueStorage::destroyPlain,
                                       nullptr,       nullptr};
constinit const Class doubleObjectClass{"DoubleObject", &ipcObjectClass, NoKind, &ValueStorage::destroyPlain,
                                        nullptr,        nullptr};

Ref<BoolObject> BoolObject::create(bool value) noexcept {
  return Ref<BoolObject>::adopt(value ? &boolConstants.trueObject : &boolConstants.falseObject);
}

Ref<Int64Object> Int64Object::create(std::int64_t value) noexcept {
  return Ref<Int64Object>::adopt(new (allocate(sizeof(Int64Object))) Int64Object(value));
}

Ref<DoubleObject> DoubleObject::create(double value) noexcept {
  return Ref<DoubleObject>::adopt(new (allocate(sizeof(DoubleObject))) DoubleObject(value));
}

}  // namespace vanto
