// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <VantoService/PlistValue.h>

/// An ordered sequence of objects, indexed from 0: property-list values, and service bundles too. The array holds one
/// reference to each element. An array that was created with null elements has holes there.
class VANTO_EXPORT PlistArray : public PlistValue {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// An array of the given elements, which may be null.
  [[nodiscard]] static vanto::Ref<PlistArray> create(std::span<vanto::Object* const> elements = {});
  /// An array of class `arrayClass` (that of PlistArray or PlistMutableArray; another is a broken invariant) with the
  /// elements of `source`.
  [[nodiscard]] static vanto::Ref<PlistArray> createOfClass(const vanto::Class& arrayClass, const PlistArray& source);

  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  /// The element at `index`, null for a hole; an index beyond the end is a broken invariant. The array owns it.
  [[nodiscard]] vanto::Object* at(std::size_t index) const noexcept;

  /// The elements in index order, valid as long as the array is not changed.
  [[nodiscard]] std::span<vanto::Object* const> elements() const noexcept { return {elements_, count_}; }

  /// Walks an array in index order. A change of the array during the walk is a broken invariant, found at the next
  /// step.
  class VANTO_EXPORT Cursor {
   public:
    explicit Cursor(const PlistArray& array) noexcept;
    /// Moves to the next element, the first at the first call. False at the end; `element` is then untouched.
    [[nodiscard]] bool next(vanto::Object*& element) noexcept;

   private:
    const PlistArray& array_;
    std::size_t index_ = 0;
    std::uint64_t changes_;
  };

 protected:
  constexpr PlistArray(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count, vanto::Object** elements,
                       std::size_t elementCount) noexcept
      : PlistValue(runtimeClass, storage, count), elements_(elements), count_(elementCount) {}

  friend struct vanto::ValueStorage;

  /// Number of changes so far; 0 for an immutable array.
  [[nodiscard]] std::uint64_t changes() const noexcept;

  vanto::Object** elements_;
  std::size_t count_;
};

/// An array that can grow. Not for sharing between threads while it does.
class VANTO_EXPORT PlistMutableArray : public PlistArray {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  [[nodiscard]] static vanto::Ref<PlistMutableArray> create();

  /// Appends `element`, taking a reference; null is a broken invariant.
  void append(vanto::Object* element);

 private:
  friend struct vanto::ValueStorage;
  friend class PlistArray;

  PlistMutableArray() noexcept;
  [[nodiscard]] static vanto::Ref<PlistMutableArray> copyOf(const PlistArray& source);
  void reserve(std::size_t capacity) noexcept;

  /// Number of elements that elements_ has room for.
  std::size_t capacity_;
  /// Counts changes, for cursors.
  std::uint64_t changes_;
};
