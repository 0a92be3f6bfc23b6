// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <VantoService/Export.h>
#include <VantoService/Ref.h>

class PlistString;

/// Identifies the kind of a value in type-identifier tests; see KorGetTypeID().
using KorTypeID = std::uintptr_t;

namespace vanto {

class EndingObjects;
class Object;
class ObjectBlock;
struct ValueStorage;

/// What a class is at run time: its name, its place among the classes, and what its instances can do. One immutable
/// descriptor exists per class and is reached through the class's exported classDescriptor(), so two descriptors are
/// the same class exactly when they have the same address, in every library of the process.
struct Class {
  const char* name;
  /// Null for the root class only.
  const Class* superclass;
  /// Answered by KorGetTypeID() for instances.
  KorTypeID typeID;
  /// Ends an instance whose last reference is gone and frees its memory. Null: the superclass's.
  void (*destroy)(Object& self) noexcept;
  /// Makes the plain description. Null: the superclass's.
  Ref<PlistString> (*createDescription)(const Object& self);
  /// True when the two, of which the first is an instance of this class, are equal. Null: the superclass's; the root
  /// class compares identity.
  bool (*isEqual)(const Object& self, const Object& other) noexcept;

  // What instances of some classes can do besides.

  /// Makes what stands for an instance in a cache archive, or null when nothing does. Null: the superclass's; where no
  /// class has it, instances cannot be archived.
  Ref<Object> (*archiveForCache)(Object& self) = nullptr;
  /// Makes an instance from what archiveForCache made, or null. Null: no instances can be made in this way. Not
  /// inherited, since a superclass would make an instance of itself.
  Ref<Object> (*initWithArchive)(Object* archive) = nullptr;
  /// Makes the indented description at a level, the outermost of which is 0. Null: the superclass's; where no class has
  /// it, instances are described on their line.
  Ref<PlistString> (*descriptionWithIndent)(const Object& self, std::size_t level) = nullptr;

  [[nodiscard]] VANTO_EXPORT bool isKindOf(const Class& ancestor) const noexcept;
};

/// Root of all counted objects. An object starts with one reference, owned by whoever made it, and ends when the last
/// reference is released. Counting is atomic; any thread may retain and release. Objects are not copied or moved, and
/// there are no virtual functions: behaviour hangs on the class descriptor, so that constants can be laid out at
/// compile time and need no code when the library is loaded.
class VANTO_EXPORT Object {
 public:
  [[nodiscard]] static const Class& classDescriptor() noexcept;

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  [[nodiscard]] const Class& runtimeClass() const noexcept { return *class_; }

  /// True when the object is an instance of `ancestor` or of a class below it.
  [[nodiscard]] bool isKindOf(const Class& ancestor) const noexcept {
    return class_ == &ancestor || class_->isKindOf(ancestor);
  }

  /// The plain description, for people. A temporary.
  [[nodiscard]] PlistString* description() const;

  /// Equality of values; null equals nothing.
  [[nodiscard]] bool isEqual(const Object* other) const noexcept;

  void retain() const noexcept {
    if (counting_.storage == Storage::Counted) [[likely]] {
      // Relaxed: whoever retains already holds a reference, so nothing has to be ordered against the new one.
      counting_.count.fetch_add(1, std::memory_order_relaxed);
    } else {
      retainUncounted();
    }
  }

  void release() const noexcept {
    if (counting_.storage == Storage::Counted) [[likely]] {
      // Whoever finds its own reference to be the only one needs no further counting: nobody else is left who could
      // retain. Otherwise release, so that each owner's reads and writes come before the end; the last owner acquires
      // them all.
      if (counting_.count.load(std::memory_order_acquire) == 1 ||
          counting_.count.fetch_sub(1, std::memory_order_release) == 1) {
        destroyLast();
      }
    } else {
      releaseUncounted();
    }
  }

  /// Number of references, for tests and diagnosis; UINT32_MAX for an immortal object, and for a value that shares a
  /// block, the references to any value of the block.
  [[nodiscard]] std::uint32_t referenceCount() const noexcept;

 protected:
  /// Where the count of an object lives.
  enum class Storage : std::uint32_t {
    Counted,   ///< in the object itself
    Immortal,  ///< nowhere: the object is never freed
    InBlock    ///< in the ObjectBlock that the object was made in; the count is then the way to its chunk
  };

  constexpr explicit Object(const Class& runtimeClass, Storage storage = Storage::Counted,
                            std::uint32_t count = 1) noexcept
      : class_(&runtimeClass), counting_(count, storage) {}
  ~Object() = default;

  /// Memory for an object of `size` bytes and `extra` bytes behind it, aligned for any object; ends the process when
  /// there is none. Freed by deallocate().
  [[nodiscard]] static void* allocate(std::size_t size, std::size_t extra = 0) noexcept;
  static void deallocate(void* memory) noexcept;

 private:
  friend class EndingObjects;
  friend class ObjectBlock;
  friend struct ValueStorage;

  struct Counting {
    constexpr Counting(std::uint32_t initialCount, Storage initialStorage) noexcept
        : count(initialCount), storage(initialStorage) {}

    /// Number of references of a counted object; of one in a block, the distance from the object back to the header of
    /// its chunk, in units of 8 bytes.
    std::atomic<std::uint32_t> count;
    const Storage storage;
  };

  void retainUncounted() const noexcept;
  void releaseUncounted() const noexcept;
  void destroyLast() const noexcept;
  /// Has the class end the object.
  void end() const noexcept;

  const Class* class_;
  union {
    /// Of a living object.
    mutable Counting counting_;
    /// Of an object whose last reference is gone: the next one that waits for its end.
    mutable const Object* nextEnding_;
  };
};

/// The checked cast: `object` as a T, or null when it is null or of another kind. The only way in which a value that
/// came from outside gets a more special type.
template <typename T>
[[nodiscard]] T* as(Object* object) noexcept {
  return object != nullptr && object->isKindOf(T::classDescriptor()) ? static_cast<T*>(object) : nullptr;
}

}  // namespace vanto
