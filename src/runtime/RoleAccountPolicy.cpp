// SPDX-License-Identifier: Apache-2.0
// The machine's role-account policy: one file, read once in the life of the process. Whatever is wrong with it leaves
// requirement checks in force.
#include <VantoService/VantoServiceBundle.h>

#include <sys/stat.h>
#include <syslog.h>

#include <VantoService/KorFunctions.h>
#include <VantoService/PlistNumber.h>

#include "value/limits.h"
#include "value/platform/files.h"

namespace {

using vanto::as;
using vanto::Object;
using vanto::Ref;

constexpr const char* policyPath = "/Library/Preferences/org.vanto.security.vanto.plist";

/// Written at most once, under the guard.
constinit bool useRestrictivePolicy = true;
constinit dispatch_once_t policyPredicate = 0;

Ref<KorURL> createPolicyURL() {
  const auto path = Ref<PlistString>::adopt(KorStringCreateWithFileSystemRepresentation(policyPath));
  if (!path) {
    syslog(LOG_ERR,
           "in useRestrictiveRoleAccountSecurityPolicy(): could not create "
           "KorStringCreateWithFileSystemRepresentation() for: %s",
           policyPath);
    return nullptr;
  }
  auto url = Ref<KorURL>::adopt(KorURLCreateWithFileSystemPath(path.get(), KorURLPOSIXPathStyle, false));
  if (!url) {
    syslog(LOG_ERR,
           "in useRestrictiveRoleAccountSecurityPolicy(): could not create KorURLCreateWithFileSystemPath() for: %s",
           policyPath);
  }
  return url;
}

/// What the policy file holds. Null when it cannot be read or parsed; the log does not tell the two apart.
Ref<PlistValue> createPolicy(KorURL& url) {
  PlistData* bytes = nullptr;
  int errorCode = 0;
  const bool isRead = KorURLCreateDataAndPropertiesFromResource(&url, &bytes, KorFileTrustAdministrator,
                                                                vanto::limits::policyFileBytes, &errorCode);
  const auto data = Ref<PlistData>::adopt(bytes);
  auto policy = isRead && data ? Ref<PlistValue>::adopt(KorPropertyListCreateFromBytes(data.get())) : nullptr;
  if (!policy) {
    syslog(LOG_ERR,
           "in useRestrictiveRoleAccountSecurityPolicy(): could not create "
           "KorURLCreateDataAndPropertiesFromResource() for: %s",
           policyPath);
  }
  return policy;
}

void apply(Object* policy) {
  const auto* dictionary = as<PlistDictionary>(policy);
  Object* value = dictionary == nullptr ? nullptr : dictionary->valueForKey("RestrictRoleAccountServices");
  if (value != nullptr && KorGetTypeID(value) == KorBooleanGetTypeID()) {
    useRestrictivePolicy = KorBooleanGetValue(as<PlistBoolean>(value));
  }
  if (!useRestrictivePolicy) syslog(LOG_ERR, "Role Account Security Policy: %s", "Relaxed");
}

void readPolicy() {
  struct stat status = {};
  if (stat(policyPath, &status) != 0) return;
  const Ref<KorURL> url = createPolicyURL();
  if (!url) return;
  const Ref<PlistValue> policy = createPolicy(*url);
  if (policy) apply(policy.get());
}

}  // namespace

bool VantoServiceBundle::useRestrictiveRoleAccountSecurityPolicy() {
  dispatch_once(&policyPredicate, [] { readPolicy(); });
  return useRestrictivePolicy;
}
