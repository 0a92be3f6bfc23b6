// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistDate.h>

#include <new>

#include "value/DateText.h"
#include "value/NumberConversion.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

Ref<PlistString> describeDate(const Object& self) {
  return DateText::create(static_cast<const PlistDate&>(self).secondsSince1970());
}

bool areDatesEqual(const Object& self, const Object& other) noexcept {
  if (!other.isKindOf(plistDateClass)) return false;
  return NumberConversion::areEqual(static_cast<const PlistDate&>(self).secondsSince1970(),
                                    static_cast<const PlistDate&>(other).secondsSince1970());
}

}  // namespace

constinit const Class plistDateClass{"PlistDate",   &plistValueClass, DateKind, &ValueStorage::destroyPlain,
                                     &describeDate, &areDatesEqual};

}  // namespace vanto

const vanto::Class& PlistDate::classDescriptor() noexcept {
  return vanto::plistDateClass;
}

vanto::Ref<PlistDate> PlistDate::create(double secondsSince1970) {
  return vanto::Ref<PlistDate>::adopt(::new (allocate(sizeof(PlistDate)))
                                          PlistDate(vanto::plistDateClass, Storage::Counted, 1, secondsSince1970));
}
