// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Object.h>
#include <VantoService/vanto.h>

/// Base of every object of the IPC runtime. The kind says which class it is; C callers know nothing else of it.
struct vanto_object : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  [[nodiscard]] vanto_kind_t kind() const noexcept { return kind_; }

  /// True for an object that can be inside another one and travel; false for connections and the like.
  [[nodiscard]] bool isValue() const noexcept { return kind_ < VANTO_KIND_MESSAGE; }

 protected:
  constexpr vanto_object(const vanto::Class& runtimeClass, vanto_kind_t kind,
                         Storage storage = Storage::Counted) noexcept
      : Object(runtimeClass, storage), kind_(kind) {}
  ~vanto_object() = default;

 private:
  const vanto_kind_t kind_;
};

namespace vanto {

// The descriptors of the classes, for use at compile time: the base of all, and those of values.
extern const Class ipcObjectClass;
extern const Class stringObjectClass;
extern const Class boolObjectClass;
extern const Class int64ObjectClass;
extern const Class doubleObjectClass;
extern const Class dataObjectClass;
extern const Class sealedDataObjectClass;
extern const Class arrayObjectClass;
extern const Class dictionaryObjectClass;
extern const Class fdObjectClass;
extern const Class errorObjectClass;

/// The checked cast by kind, for the classes below that name theirs: `object` as a T, or null when it is null or of
/// another kind.
template <typename T>
[[nodiscard]] T* ofKind(vanto_object* object) noexcept {
  return object != nullptr && object->kind() == T::objectKind ? static_cast<T*>(object) : nullptr;
}
template <typename T>
[[nodiscard]] const T* ofKind(const vanto_object* object) noexcept {
  return object != nullptr && object->kind() == T::objectKind ? static_cast<const T*>(object) : nullptr;
}

}  // namespace vanto
