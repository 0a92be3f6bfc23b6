// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>

#include <VantoService/IndentedDescription.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PropertyList.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceArchiver.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/VantoServiceConstants.h>

namespace vanto::testing {

/// The keys of a service dictionary.
inline PlistString* const everyServiceKey[] = {
    VantoServiceDictionaryServiceTypeKey,          VantoServiceDictionaryJoinExistingSessionKey,
    VantoServiceDictionaryEnvironmentVariablesKey, VantoServiceDictionaryRunloopTypeKey,
    VantoServiceDictionarySandboxProfileKey,       VantoServiceDictionaryUseQelApplicationMainKey,
    VantoServiceDictionaryMultipleInstancesKey,    VantoServiceDictionaryRoleAccountKey,
    VantoServiceDictionaryAllowedClientsKey};

/// Ends the process when a promise does not hold, in the program of a fuzz target too.
inline void require(bool condition) {
  if (!condition) std::abort();
}

/// The two converters, which say of each value that they cannot convert it; a dictionary comes out as one.
/// vantoJobData() is left out, since it never frees what it makes.
inline void convertJob(VantoServiceBundle& service) {
  Object* job = service.tolvendJobDictionary();
  const tolven_data_t tree = service.tolvendJobTolvenData();
  require(as<PlistDictionary>(job) == nullptr || tolven_data_get_kind(tree) == TOLVEN_DATA_DICTIONARY);
  tolven_data_free(tree);
  const vanto_object_t object = VantoServiceBundle::createVantoJobsArrayFromArray(job);
  require(as<PlistDictionary>(job) == nullptr || vanto_kind(object) == VANTO_KIND_DICTIONARY);
  vanto_release(object);
}

/// Hands what a service bundle holds to everything that reads it, and holds the answers against one another.
inline void consume(VantoServiceBundle& service) {
  const TemporaryScope scope;
  require(service.identifier() == service.identifier());
  require(service.executablePath() == service.executablePath());
  require(service.isSystemService() == (service.serviceType() == VantoServiceTypeSystem));
  const auto* entries = as<PlistDictionary>(service.serviceDictionary());
  for (PlistString* key : everyServiceKey) {
    Object* value = service.objectForServiceDictionaryKey(key);
    require(value == (entries == nullptr ? nullptr : entries->valueForKey(key)));
    require(service.stringForServiceDictionaryKey(key) == as<PlistString>(value));
    require(service.dictionaryForServiceDictionaryKey(key) == as<PlistDictionary>(value));
    require(service.arrayForServiceDictionaryKey(key) == as<PlistArray>(value));
    require(!service.boolForServiceDictionaryKey(key) || as<PlistNumber>(value) != nullptr);
  }

  Object* job = service.tolvendJobDictionary();
  require(job == service.tolvendJobDictionary());
  const PlistData* bytes = service.tolvendJobPropertyListData();
  require((bytes != nullptr) == (as<PlistDictionary>(job) != nullptr && createPropertyListXML(*job)));
  const PlistString* text = service.tolvendJobPropertyListString();
  require((text != nullptr) == (bytes != nullptr) && (text == nullptr || text->length() == bytes->length()));

  const PlistString* description = service.description();
  require(description->isEqual(service.descriptionWithIndent(0)));
  require(description->text().starts_with("{[VantoServiceBundle 0x") && description->hasSuffix("}\n"));

  PlistMutableDictionary* archive = service.archiveForCache();
  const Ref<VantoServiceBundle> again = VantoServiceBundle::initWithArchive(archive);
  require(again->archiveForCache()->isEqual(archive));
  const PlistArray* archives = archivedArray(*PlistArray::create(std::array<Object*, 1>{&service}));
  require(archives->count() == 1 && archives->at(0)->isEqual(archive));
  const PlistArray* services =
      arrayWithArchiveOfClass(PlistArray::classDescriptor(), archives, VantoServiceBundle::classDescriptor());
  require(as<VantoServiceBundle>(services->at(0))->archiveForCache()->isEqual(archive));
}

}  // namespace vanto::testing
