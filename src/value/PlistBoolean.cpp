// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistNumber.h>

#include "value/ValueStorage.h"

namespace vanto {

namespace {

bool areBooleansEqual(const Object& self, const Object& other) noexcept {
  // Only two exist, so equal ones are the same.
  return &self == &other;
}

constinit PlistBoolean falseConstant = ValueStorage::constantBoolean(false);
constinit PlistBoolean trueConstant = ValueStorage::constantBoolean(true);

}  // namespace

constinit const Class plistBooleanClass{"PlistBoolean", &plistNumberClass, BooleanKind,
                                        nullptr,        nullptr,           &areBooleansEqual};

}  // namespace vanto

const vanto::Class& PlistBoolean::classDescriptor() noexcept {
  return vanto::plistBooleanClass;
}

PlistBoolean* PlistBoolean::of(bool value) noexcept {
  return value ? &vanto::trueConstant : &vanto::falseConstant;
}
