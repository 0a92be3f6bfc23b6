// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceRuntime.h>

#include <cstdint>
#include <new>

#include <VantoService/KorFunctions.h>
#include <VantoService/dispatch.h>

#include "value/ValueStorage.h"
#include "value/platform/ipc.h"

using vanto::as;
using vanto::Object;
using vanto::Ref;

namespace {

/// Written once, under the guard.
constinit VantoServiceRuntime* sharedRuntime = nullptr;
constinit dispatch_once_t sharedRuntimePredicate = 0;

/// The bytes of a data object of the IPC runtime, which goes on owning them. Null when there are none to be had.
Ref<PlistData> wrapperOf(vanto_object_t data) {
  const auto* bytes = static_cast<const std::uint8_t*>(vanto_data_get_bytes_ptr(data));
  if (bytes == nullptr) return nullptr;
  return PlistData::createWithoutCopying({bytes, vanto_data_get_length(data)});
}

}  // namespace

const vanto::Class& VantoServiceRuntime::classDescriptor() noexcept {
  static constexpr vanto::Class descriptor{
      .name = "VantoServiceRuntime",
      .superclass = &vanto::objectClass,
      .typeID = vanto::NoKind,
      .destroy = &destroy,
      .createDescription = nullptr,
      .isEqual = nullptr,
  };
  return descriptor;
}

VantoServiceRuntime::VantoServiceRuntime() noexcept : Object(classDescriptor()) {}

VantoServiceRuntime* VantoServiceRuntime::defaultRuntime() {
  dispatch_once(&sharedRuntimePredicate, [] { sharedRuntime = init().leak(); });
  return sharedRuntime;
}

Ref<VantoServiceRuntime> VantoServiceRuntime::init() {
  auto runtime = Ref<VantoServiceRuntime>::adopt(new (allocate(sizeof(VantoServiceRuntime))) VantoServiceRuntime);
  runtime->_initializeEntitlements();
  return runtime;
}

void VantoServiceRuntime::_initializeEntitlements() {
  vanto_object_t data = _vanto_runtime_get_entitlements_data();
  if (data == nullptr) return;
  const Ref<PlistData> wrapper = wrapperOf(data);
  if (wrapper) _entitlements = Ref<PlistValue>::adopt(KorPropertyListCreateFromBytes(wrapper.get()));
}

PlistValue* VantoServiceRuntime::entitlementForKey(PlistString* key) const {
  const auto* entitlements = as<PlistDictionary>(_entitlements.get());
  return entitlements == nullptr ? nullptr : as<PlistValue>(entitlements->valueForKey(key));
}

void VantoServiceRuntime::destroy(Object& self) noexcept {
  auto& runtime = static_cast<VantoServiceRuntime&>(self);
  runtime.dealloc();
  runtime.~VantoServiceRuntime();
  deallocate(&runtime);
}

void VantoServiceRuntime::dealloc() noexcept {
  _entitlements = nullptr;
}
