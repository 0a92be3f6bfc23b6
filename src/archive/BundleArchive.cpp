// SPDX-License-Identifier: Apache-2.0
// The archive of one service bundle. What is restored need not be what was once archived: an archive is a file that
// anybody may have written.
#include <VantoService/VantoServiceBundle.h>

#include <VantoService/PlistNumber.h>

#include "value/ValueStorage.h"

using vanto::as;
using vanto::Object;
using vanto::Ref;

namespace {

constinit PlistString serviceIdentifierKey = vanto::ValueStorage::constantString("_serviceIdentifier");
constinit PlistString executablePathKey = vanto::ValueStorage::constantString("_executablePath");
constinit PlistString serviceDictionaryKey = vanto::ValueStorage::constantString("_serviceDictionary");
constinit PlistString jobDictionaryKey = vanto::ValueStorage::constantString("_tolvendJobDictionary");
constinit PlistString serviceTypeKey = vanto::ValueStorage::constantString("_serviceType");

constexpr dispatch_once_t done = -1;

void setIfPresent(PlistMutableDictionary& archive, Object* value, PlistString& key) {
  if (value != nullptr) archive.setValueForKey(value, &key);
}

Ref<Object> valueOf(const PlistDictionary* archive, const PlistString& key) {
  return Ref<Object>::share(archive == nullptr ? nullptr : archive->valueForKey(&key));
}

/// Puts `value` where strings are kept or where other kinds are.
void keep(Ref<Object> value, Ref<PlistString>& string, Ref<Object>& other) {
  string = Ref<PlistString>::share(as<PlistString>(value.get()));
  if (!string) other = value;
}

}  // namespace

Ref<Object> VantoServiceBundle::createArchive(Object& self) {
  auto& service = static_cast<VantoServiceBundle&>(self);
  const Ref<PlistMutableDictionary> archive = PlistMutableDictionary::create();
  setIfPresent(*archive, service.identifier(), serviceIdentifierKey);
  setIfPresent(*archive, service.executablePath(), executablePathKey);
  setIfPresent(*archive, service.serviceDictionary(), serviceDictionaryKey);
  setIfPresent(*archive, service.tolvendJobDictionary(), jobDictionaryKey);
  archive->setValueForKey(PlistNumber::create(service.serviceType()).get(), &serviceTypeKey);
  return archive;
}

PlistMutableDictionary* VantoServiceBundle::archiveForCache() {
  return as<PlistMutableDictionary>(createArchive(*this).asTemporary());
}

Ref<Object> VantoServiceBundle::createFromArchive(Object* archive) {
  return initWithArchive(archive);
}

Ref<VantoServiceBundle> VantoServiceBundle::initWithArchive(Object* archive) {
  const auto* values = as<PlistDictionary>(archive);
  Ref<VantoServiceBundle> service = initWithBundle(nullptr);
  keep(valueOf(values, serviceIdentifierKey), service->_serviceIdentifier, service->_otherServiceIdentifier);
  keep(valueOf(values, executablePathKey), service->_executablePath, service->_otherExecutablePath);
  const auto* type = as<PlistNumber>(valueOf(values, serviceTypeKey).get());
  service->_serviceType = type == nullptr ? VantoServiceTypeNone : type->int64Value();
  service->_serviceDictionary = valueOf(values, serviceDictionaryKey);
  service->_tolvendJobDictionary = valueOf(values, jobDictionaryKey);
  // Done, also where there was no value: without a bundle nothing can be computed. Nobody else has the object yet.
  service->_serviceIdentifierPredicate = done;
  service->_executablePathPredicate = done;
  service->_serviceTypePredicate = done;
  service->_serviceDictionaryPredicate = done;
  service->_tolvendJobDictionaryPredicate = done;
  return service;
}
