// SPDX-License-Identifier: Apache-2.0
#include <VantoService/KorURL.h>

#include <new>
#include <utility>

#include "value/PathText.h"
#include "value/ValueStorage.h"

namespace vanto {

constinit const Class korURLClass{
    "KorURL",
    &objectClass,
    NoKind,
    &ValueStorage::destroyURL,
    [](const Object& self) { return Ref<PlistString>::share(static_cast<const KorURL&>(self).path()); },
    [](const Object& self, const Object& other) noexcept {
      if (!other.isKindOf(korURLClass)) return false;
      const auto& left = static_cast<const KorURL&>(self);
      const auto& right = static_cast<const KorURL&>(other);
      return left.isDirectory() == right.isDirectory() && left.path()->text() == right.path()->text();
    }};

void ValueStorage::destroyURL(Object& self) noexcept {
  static_cast<KorURL&>(self).~KorURL();
  Object::deallocate(&self);
}

}  // namespace vanto

using vanto::Ref;

const vanto::Class& KorURL::classDescriptor() noexcept {
  return vanto::korURLClass;
}

KorURL::KorURL(Ref<PlistString> path, bool isDirectory) noexcept
    : Object(vanto::korURLClass), path_(std::move(path)), isDirectory_(isDirectory) {}

Ref<KorURL> KorURL::create(const PlistString& path, bool isDirectory) {
  if (path.length() == 0 || path.text().find('\0') != std::string_view::npos) return nullptr;
  // A copy, since the path may be a mutable string.
  return Ref<KorURL>::adopt(::new (allocate(sizeof(KorURL))) KorURL(PlistString::create(path.text()), isDirectory));
}

KorURL* KorURL::standardized() const {
  return create(*PlistString::create(vanto::PathText::standardized(path()->text())), isDirectory()).asTemporary();
}
