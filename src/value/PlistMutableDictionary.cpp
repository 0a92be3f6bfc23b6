// SPDX-License-Identifier: Apache-2.0
#include <new>
#include <vector>

#include <VantoService/PlistDictionary.h>

#include "value/Assertion.h"
#include "value/EndingObjects.h"
#include "value/EntryTable.h"
#include "value/ValueStorage.h"

namespace vanto {

constinit const Class plistMutableDictionaryClass{"PlistMutableDictionary",
                                                  &plistDictionaryClass,
                                                  DictionaryKind,
                                                  &ValueStorage::destroyMutableDictionary,
                                                  nullptr,
                                                  nullptr};

void ValueStorage::destroyMutableDictionary(Object& self) noexcept {
  if (EndingObjects::postponed(self)) return;
  const EndingObjects ending;
  EntryTable::destroy(static_cast<PlistMutableDictionary&>(self).table_);
  Object::deallocate(&self);
}

}  // namespace vanto

using vanto::Object;
using vanto::Ref;

const vanto::Class& PlistMutableDictionary::classDescriptor() noexcept {
  return vanto::plistMutableDictionaryClass;
}

PlistMutableDictionary::PlistMutableDictionary() noexcept
    : PlistDictionary(vanto::plistMutableDictionaryClass, Storage::Counted, 1, nullptr, 0),
      table_(vanto::EntryTable::create()),
      changes_(0) {}

Ref<PlistMutableDictionary> PlistMutableDictionary::create() {
  return Ref<PlistMutableDictionary>::adopt(::new (allocate(sizeof(PlistMutableDictionary))) PlistMutableDictionary());
}

Ref<PlistMutableDictionary> PlistMutableDictionary::copyOf(const PlistDictionary& source) {
  Ref<PlistMutableDictionary> copy = create();
  Cursor cursor(source);
  // The entries come in ascending order.
  for (Entry entry{}; cursor.next(entry);) {
    copy->table_->append(*entry.key, *entry.value);
  }
  copy->count_ = source.count();
  return copy;
}

Ref<PlistDictionary> PlistMutableDictionary::createImmutable() const {
  std::vector<Entry> entries(count_);
  Cursor cursor(*this);
  for (Entry& entry : entries) static_cast<void>(cursor.next(entry));
  return PlistDictionary::create(entries);
}

void PlistMutableDictionary::setValueForKey(Object* value, PlistString* key) {
  VANTO_ASSERT_IN("PlistMutableDictionary setValueForKey", value != nullptr && key != nullptr);
  ++changes_;
  if (table_->set(*immutableKey(*key), *value)) ++count_;
}
