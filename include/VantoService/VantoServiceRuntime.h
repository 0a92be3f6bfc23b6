// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistString.h>
#include <VantoService/PlistValue.h>

/// What the running process may do: the entitlements under the valid signature of its code, read when an object is made
/// and never again. Not for judging other processes. Any thread may use an object at any time.
class VANTO_EXPORT VantoServiceRuntime : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// The object of the process, made at the first call, which asks the platform once; the same at every call. The
  /// process keeps it.
  [[nodiscard]] static VantoServiceRuntime* defaultRuntime();

  /// A new object that reads the entitlements anew. A process without entitlements, or whose entitlements cannot be
  /// read, gets one as well, silently; it then has none.
  [[nodiscard]] static vanto::Ref<VantoServiceRuntime> init();

  /// The value of an entitlement, immutable; null when there is none, for a null key, and when the entitlements are no
  /// dictionary.
  [[nodiscard]] PlistValue* entitlementForKey(PlistString* key) const;

 private:
  VantoServiceRuntime() noexcept;
  static void destroy(vanto::Object& self) noexcept;
  void dealloc() noexcept;
  void _initializeEntitlements();

  /// The entitlements, of whatever kind the platform gave; null when there are none.
  vanto::Ref<PlistValue> _entitlements;
};
