// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceBundle.h>

#include <new>

#include <VantoService/VantoServiceConstants.h>

#include "value/Assertion.h"
#include "value/Description.h"
#include "value/EndingObjects.h"
#include "value/PathText.h"
#include "value/ValueStorage.h"

using vanto::Object;
using vanto::Ref;

const vanto::Class& VantoServiceBundle::classDescriptor() noexcept {
  static constexpr vanto::Class descriptor{
      .name = "VantoServiceBundle",
      .superclass = &vanto::objectClass,
      .typeID = vanto::NoKind,
      .destroy = &destroy,
      .createDescription = &createDescription,
      .isEqual = nullptr,
      .archiveForCache = &createArchive,
      .initWithArchive = &createFromArchive,
      .descriptionWithIndent = &vanto::Description::createIndented,
  };
  return descriptor;
}

VantoServiceBundle::VantoServiceBundle(Bundle* bundle) noexcept
    : Object(classDescriptor()), _bundle(Ref<Bundle>::share(bundle)) {}

Ref<VantoServiceBundle> VantoServiceBundle::initWithBundle(Bundle* bundle) {
  return Ref<VantoServiceBundle>::adopt(new (allocate(sizeof(VantoServiceBundle))) VantoServiceBundle(bundle));
}

void VantoServiceBundle::destroy(Object& self) noexcept {
  // An archive can have put a service bundle where another one keeps a value, and so on.
  if (vanto::EndingObjects::postponed(self)) return;
  const vanto::EndingObjects ending;
  auto& service = static_cast<VantoServiceBundle&>(self);
  service.dealloc();
  service.~VantoServiceBundle();
  deallocate(&service);
}

void VantoServiceBundle::dealloc() noexcept {
  // The order is part of the interface. _vantoJobData keeps its references.
  _bundle = nullptr;
  _executablePath = nullptr;
  _otherExecutablePath = nullptr;
  _serviceIdentifier = nullptr;
  _otherServiceIdentifier = nullptr;
  _tolvendJobDictionary = nullptr;
  _serviceDictionary = nullptr;
}

Ref<PlistString> VantoServiceBundle::createDescription(const Object& self) {
  return vanto::Description::createIndented(self, 0);
}

VantoServiceBundle* VantoServiceBundle::VantoServiceBundleAtPath(PlistString* path) {
  if (path == nullptr || vanto::PathText::extension(path->text()) != VantoServiceBundleExtention->text()) {
    return nullptr;
  }
  const Ref<Bundle> bundle = Bundle::create(*path);
  if (!bundle || bundle->infoDictionary()->valueForKey(VantoServiceBundleInfoDictionaryKey) == nullptr) return nullptr;
  return initWithBundle(bundle.get()).asTemporary();
}

VantoServiceBundle* VantoServiceBundle::VantoServiceBundleForMainExecutable() {
  Bundle* bundle = Bundle::mainBundle();
  return bundle == nullptr ? nullptr : initWithBundle(bundle).asTemporary();
}

Bundle* VantoServiceBundle::bundle() const {
  if (!_bundle) vanto::assertionFailed("bundle", "VantoServiceBundle", 529, "_bundle != nil");
  return _bundle.get();
}
