// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceArchiver.h>

#include <string>
#include <utility>

#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistNumber.h>

#include "value/Assertion.h"

using vanto::Class;
using vanto::Object;
using vanto::Ref;

namespace {

[[noreturn]] void unknownOperation(const Class& unableClass, const char* operation) {
  const std::string name = std::string(unableClass.name) + ' ' + operation;
  vanto::assertionFailed(name.c_str(), __FILE_NAME__, __LINE__, "unknown operation");
}

bool isContainer(const Object& value) noexcept {
  return value.isKindOf(PlistArray::classDescriptor()) || value.isKindOf(PlistDictionary::classDescriptor());
}

bool isPlain(const Object& value) noexcept {
  return value.isKindOf(PlistData::classDescriptor()) || value.isKindOf(PlistString::classDescriptor()) ||
         value.isKindOf(PlistNumber::classDescriptor()) || value.isKindOf(PlistDate::classDescriptor());
}

/// What stands for `value`, which is no container, in an archive.
Ref<Object> createArchive(Object& value) {
  if (isPlain(value)) return Ref<Object>::share(&value);
  for (const Class* candidate = &value.runtimeClass(); candidate != nullptr; candidate = candidate->superclass) {
    if (candidate->archiveForCache != nullptr) return candidate->archiveForCache(value);
  }
  unknownOperation(value.runtimeClass(), "archiveForCache");
}

/// By identity: a mutable variant is another class.
bool isPlainClass(const Class& valueClass) noexcept {
  return &valueClass == &PlistString::classDescriptor() || &valueClass == &PlistData::classDescriptor() ||
         &valueClass == &PlistNumber::classDescriptor() || &valueClass == &PlistDate::classDescriptor();
}

/// The instance of `valueClass` that `value` stands for in an archive.
Ref<Object> createFromArchive(Object* value, const Class& valueClass) {
  if (isPlainClass(valueClass)) return Ref<Object>::share(value);
  if (valueClass.initWithArchive == nullptr) unknownOperation(valueClass, "initWithArchive");
  return valueClass.initWithArchive(value);
}

}  // namespace

PlistMutableDictionary* archivedDictionary(const PlistDictionary& dictionary) {
  Ref<PlistMutableDictionary> archive = PlistMutableDictionary::create();
  PlistDictionary::Cursor cursor(dictionary);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    if (!isContainer(*entry.value)) archive->setValueForKey(createArchive(*entry.value).get(), entry.key);
  }
  return std::move(archive).asTemporary();
}

PlistMutableArray* archivedArray(const PlistArray& array) {
  Ref<PlistMutableArray> archive = PlistMutableArray::create();
  PlistArray::Cursor cursor(array);
  for (Object* element = nullptr; cursor.next(element);) {
    if (element != nullptr && isContainer(*element)) continue;
    archive->append(element == nullptr ? nullptr : createArchive(*element).get());
  }
  return std::move(archive).asTemporary();
}

PlistDictionary* dictionaryWithArchiveOfClass(const Class& dictionaryClass, const PlistDictionary* archive,
                                              const Class& valueClass) {
  const Ref<PlistMutableDictionary> result = PlistMutableDictionary::create();
  if (archive != nullptr) {
    PlistDictionary::Cursor cursor(*archive);
    for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
      result->setValueForKey(createFromArchive(entry.value, valueClass).get(), entry.key);
    }
  }
  return PlistDictionary::createOfClass(dictionaryClass, *result).asTemporary();
}

PlistArray* arrayWithArchiveOfClass(const Class& arrayClass, const PlistArray* archive, const Class& elementClass) {
  const Ref<PlistMutableArray> result = PlistMutableArray::create();
  if (archive != nullptr) {
    PlistArray::Cursor cursor(*archive);
    for (Object* element = nullptr; cursor.next(element);) {
      result->append(createFromArchive(element, elementClass).get());
    }
  }
  return PlistArray::createOfClass(arrayClass, *result).asTemporary();
}
