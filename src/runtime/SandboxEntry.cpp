// SPDX-License-Identifier: Apache-2.0
#include "runtime/SandboxEntry.h"

#include <string>

#include <syslog.h>

#include <VantoService/VantoServiceConstants.h>

#include "runtime/LogText.h"
#include "value/platform/process.h"
#include "value/platform/sandbox.h"

namespace vanto {
namespace {

/// The real path of `what`, which is at `path`; null with one line in the log when that cannot be told.
PlistString* realPath(const char* what, PlistString* path) {
  int errorCode = 0;
  PlistString* result = PellmoUtilRealPathForPath(path, &errorCode);
  if (result != nullptr) return result;
  const std::string text = std::string("Failed to get real path of ") + what + ": " + LogText(path).utf8() + " (" +
                           std::to_string(errorCode) + ")";
  syslog(LOG_ERR, "%s", text.c_str());
  vanto_sandbox_record_failure((text + "; see that it is there and that the service can reach it").c_str());
  return nullptr;
}

/// The name of the profile, or null when there is none.
const PlistString* profileName(VantoServiceBundle& service) {
  PlistString* key = VantoServiceDictionarySandboxProfileKey;
  const PlistString* name = service.stringForServiceDictionaryKey(key);
  if (name == nullptr && service.objectForServiceDictionaryKey(key) != nullptr) {
    vanto_sandbox_record_failure("_SandboxProfile is no string; write the name of the profile, without .sb");
  }
  return name;
}

/// The path of the profile file, or null when there is none. Nothing of that is logged.
PlistString* profilePath(VantoServiceBundle& service) {
  const PlistString* name = profileName(service);
  if (name == nullptr) return nullptr;
  if (const KorURL* url = service.bundle()->urlForResource(name->text(), "sb")) return url->path();
  const std::string file = '"' + std::string(name->text()) + ".sb\"";
  vanto_sandbox_record_failure(("the bundle has no resource " + std::string(LogText(file).utf8()) +
                                "; add the profile, or correct its name under _SandboxProfile")
                                   .c_str());
  return nullptr;
}

void enterSandbox(const char* profile, const char* const parameters[]) {
  char* errorText = nullptr;
  if (sandbox_init_with_parameters(profile, SandboxProfileIsFile, parameters, &errorText) == 0) return;
  syslog(LOG_ERR, "sandbox_init_with_parameters() profile %s fails: %s", LogText(profile).utf8(),
         LogText(errorText == nullptr ? "unknown error" : errorText).utf8());
  sandbox_free_error(errorText);
}

}  // namespace

void enterSandboxIfProfileProvided(VantoServiceBundle& service) {
  const PlistString* profile = profilePath(service);
  if (profile == nullptr) return;
  PlistString* home = QelHomeDirectory();
  if (home == nullptr) {
    syslog(LOG_ERR, "QelHomeDirectory() returned nil");
    vanto_sandbox_record_failure("this user has no home directory; run the service as a user who has one");
    return;
  }
  const PlistString* realBundle = realPath("bundle", service.bundle()->bundlePath());
  if (realBundle == nullptr) return;
  const PlistString* realHome = realPath("home directory", home);
  if (realHome == nullptr) return;
  // A null here would end the list early and take the other parameters away.
  const PlistString* identifier = service.identifier();
  const char* const parameters[] = {
      "VantoService_identifier",
      identifier == nullptr ? "" : identifier->utf8(),
      "VantoService_path",
      realBundle->utf8(),
      "VantoService_home",
      realHome->utf8(),
      nullptr,
  };
  enterSandbox(profile->utf8(), parameters);
}

}  // namespace vanto
