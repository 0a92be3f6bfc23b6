// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistDictionary.h>

#include <algorithm>
#include <new>

#include <VantoService/PlistArray.h>

#include "value/Assertion.h"
#include "value/ContainerEquality.h"
#include "value/Description.h"
#include "value/EndingObjects.h"
#include "value/EntryTable.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

using Entry = PlistDictionary::Entry;

constinit PlistDictionary emptyConstant = ValueStorage::emptyDictionary();

bool comesBefore(const Entry& left, const Entry& right) noexcept {
  return left.key->text() < right.key->text();
}

bool haveEqualKeys(const Entry& left, const Entry& right) noexcept {
  return left.key->text() == right.key->text();
}

/// Sorts by key and keeps of entries with equal keys the last. Gives the new end.
Entry* arrange(Entry* begin, Entry* end) {
  if (!std::is_sorted(begin, end, comesBefore)) std::stable_sort(begin, end, comesBefore);
  Entry* kept = begin;
  for (const Entry* entry = begin; entry != end; ++entry) {
    if (kept != begin && haveEqualKeys(kept[-1], *entry)) --kept;
    *kept++ = *entry;
  }
  return kept;
}

}  // namespace

constinit const Class plistDictionaryClass{"PlistDictionary",
                                           &plistValueClass,
                                           DictionaryKind,
                                           &ValueStorage::destroyDictionary,
                                           &Description::createOfContainer,
                                           &ContainerEquality::areEqual,
                                           nullptr,
                                           nullptr,
                                           &Description::createIndented};

void ValueStorage::destroyDictionary(Object& self) noexcept {
  if (EndingObjects::postponed(self)) return;
  const EndingObjects ending;
  const auto& dictionary = static_cast<PlistDictionary&>(self);
  for (const Entry& entry : std::span(dictionary.entries_, dictionary.count_)) {
    entry.key->release();
    entry.value->release();
  }
  Object::deallocate(&self);
}

}  // namespace vanto

using vanto::Object;
using vanto::Ref;

const vanto::Class& PlistDictionary::classDescriptor() noexcept {
  return vanto::plistDictionaryClass;
}

Ref<PlistDictionary> PlistDictionary::create(std::span<const Entry> entries) {
  if (entries.empty()) return Ref<PlistDictionary>::share(&vanto::emptyConstant);
  void* memory = allocate(sizeof(PlistDictionary), entries.size_bytes());
  auto* copy = reinterpret_cast<Entry*>(static_cast<std::byte*>(memory) + sizeof(PlistDictionary));
  for (const Entry& entry : entries) {
    VANTO_ASSERT_IN("PlistDictionary create", entry.key != nullptr && entry.value != nullptr);
  }
  Entry* end = vanto::arrange(copy, std::copy(entries.begin(), entries.end(), copy));
  for (Entry& entry : std::span(copy, end)) {
    const Ref<PlistString> key = immutableKey(*entry.key);
    entry.key = key.get();
    entry.key->retain();
    entry.value->retain();
  }
  return Ref<PlistDictionary>::adopt(::new (memory) PlistDictionary(vanto::plistDictionaryClass, Storage::Counted, 1,
                                                                    copy, static_cast<std::size_t>(end - copy)));
}

Ref<PlistDictionary> PlistDictionary::createOfClass(const vanto::Class& dictionaryClass,
                                                    const PlistDictionary& source) {
  if (&dictionaryClass == &vanto::plistMutableDictionaryClass) return PlistMutableDictionary::copyOf(source);
  VANTO_ASSERT_IN("PlistDictionary createOfClass", &dictionaryClass == &vanto::plistDictionaryClass);
  // What cannot change needs no copy.
  if (source.asMutable() == nullptr) return Ref<PlistDictionary>::share(const_cast<PlistDictionary*>(&source));
  return source.asMutable()->createImmutable();
}

Ref<PlistString> PlistDictionary::immutableKey(PlistString& key) {
  if (&key.runtimeClass() == &vanto::plistStringClass) return Ref<PlistString>::share(&key);
  return PlistString::create(key.text());
}

const PlistMutableDictionary* PlistDictionary::asMutable() const noexcept {
  const bool isMutable = &runtimeClass() == &vanto::plistMutableDictionaryClass;
  return isMutable ? static_cast<const PlistMutableDictionary*>(this) : nullptr;
}

Object* PlistDictionary::valueForKey(std::string_view key) const noexcept {
  if (const PlistMutableDictionary* changeable = asMutable()) return changeable->table_->find(key);
  const Entry* end = entries_ + count_;
  const Entry* found = std::lower_bound(
      entries_, end, key, [](const Entry& entry, std::string_view wanted) { return entry.key->text() < wanted; });
  return found != end && found->key->text() == key ? found->value : nullptr;
}

Object* PlistDictionary::valueForKey(const PlistString* key) const noexcept {
  return key != nullptr ? valueForKey(key->text()) : nullptr;
}

PlistArray* PlistDictionary::allKeys() const {
  Ref<PlistMutableArray> keys = PlistMutableArray::create();
  Cursor cursor(*this);
  for (Entry entry{}; cursor.next(entry);) keys->append(entry.key);
  return PlistArray::createOfClass(vanto::plistArrayClass, *keys).asTemporary();
}

PlistDictionary::Cursor::Cursor(const PlistDictionary& dictionary) noexcept
    : dictionary_(dictionary), changes_(dictionary.asMutable() != nullptr ? dictionary.asMutable()->changes_ : 0) {}

bool PlistDictionary::Cursor::next(Entry& entry) noexcept {
  const PlistMutableDictionary* changeable = dictionary_.asMutable();
  if (changeable == nullptr) {
    if (index_ == dictionary_.count_) return false;
    entry = dictionary_.entries_[index_++];
    return true;
  }
  VANTO_ASSERT_IN("PlistMutableDictionary enumeration", changeable->changes_ == changes_);
  const vanto::EntryTable& table = *changeable->table_;
  if (group_ == table.groupCount()) return false;
  entry = table.entry(group_, index_++);
  if (index_ == table.entryCount(group_)) {
    ++group_;
    index_ = 0;
  }
  return true;
}
