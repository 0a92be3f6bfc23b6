// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include <VantoService/PlistString.h>
#include <VantoService/PlistValue.h>

class PlistArray;
class PlistMutableDictionary;

/// A map from string keys to objects: property-list values, and service bundles too. Keys are compared by exact
/// equality. The dictionary holds one reference to each key and value. Look-up takes time logarithmic in the number of
/// entries for any choice of keys.
class VANTO_EXPORT PlistDictionary : public PlistValue {
 public:
  struct Entry {
    PlistString* key;
    vanto::Object* value;
  };

  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A dictionary of the given entries; of entries with equal keys the last counts. A null key or value is a broken
  /// invariant.
  [[nodiscard]] static vanto::Ref<PlistDictionary> create(std::span<const Entry> entries = {});
  /// A dictionary of class `dictionaryClass` (that of PlistDictionary or PlistMutableDictionary; another is a broken
  /// invariant) with the entries of `source`.
  [[nodiscard]] static vanto::Ref<PlistDictionary> createOfClass(const vanto::Class& dictionaryClass,
                                                                 const PlistDictionary& source);

  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  /// The value under `key`, or null when there is none. The dictionary owns it.
  [[nodiscard]] vanto::Object* valueForKey(std::string_view key) const noexcept;
  /// The same; a null key has no value.
  [[nodiscard]] vanto::Object* valueForKey(const PlistString* key) const noexcept;

  /// All keys, in ascending order. A temporary.
  [[nodiscard]] PlistArray* allKeys() const;

  /// Walks a dictionary. Callers must not rely on the order. A change of the dictionary during the walk is a broken
  /// invariant, found at the next step.
  class VANTO_EXPORT Cursor {
   public:
    explicit Cursor(const PlistDictionary& dictionary) noexcept;
    /// Moves to the next entry, the first at the first call. False at the end; `entry` is then untouched.
    [[nodiscard]] bool next(Entry& entry) noexcept;

   private:
    const PlistDictionary& dictionary_;
    std::size_t group_ = 0;
    std::size_t index_ = 0;
    std::uint64_t changes_;
  };

 protected:
  constexpr PlistDictionary(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count,
                            const Entry* entries, std::size_t entryCount) noexcept
      : PlistValue(runtimeClass, storage, count), entries_(entries), count_(entryCount) {}

  friend struct vanto::ValueStorage;

  /// `key`, or a copy of one that could change.
  [[nodiscard]] static vanto::Ref<PlistString> immutableKey(PlistString& key);
  /// The changeable dictionary that this one is, or null.
  [[nodiscard]] const PlistMutableDictionary* asMutable() const noexcept;

  /// Of an immutable dictionary: its entries in ascending order of keys. Null in a mutable one.
  const Entry* entries_;
  std::size_t count_;
};

namespace vanto {
class EntryTable;
}

/// A dictionary that can be changed. Not for sharing between threads while it is.
class VANTO_EXPORT PlistMutableDictionary : public PlistDictionary {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  [[nodiscard]] static vanto::Ref<PlistMutableDictionary> create();

  /// Sets `value` under `key`, in place of any value there, taking a reference to each; a mutable key is copied. A null
  /// key or value is a broken invariant.
  void setValueForKey(vanto::Object* value, PlistString* key);

 private:
  friend struct vanto::ValueStorage;
  friend class PlistDictionary;

  PlistMutableDictionary() noexcept;
  [[nodiscard]] static vanto::Ref<PlistMutableDictionary> copyOf(const PlistDictionary& source);
  [[nodiscard]] vanto::Ref<PlistDictionary> createImmutable() const;

  /// The entries, owned.
  vanto::EntryTable* table_;
  /// Counts changes, for cursors.
  std::uint64_t changes_;
};
