// SPDX-License-Identifier: Apache-2.0
#include "runtime/SandboxEntry.h"

#include <cstdint>

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
  if (result == nullptr) {
    syslog(LOG_ERR, "Failed to get real path of %s: %s (%jd)", what, LogText(path).utf8(), std::intmax_t{errorCode});
  }
  return result;
}

/// The path of the profile file, or null when there is none.
PlistString* profilePath(VantoServiceBundle& service) {
  const PlistString* name = service.stringForServiceDictionaryKey(VantoServiceDictionarySandboxProfileKey);
  if (name == nullptr) return nullptr;
  const KorURL* url = service.bundle()->urlForResource(name->text(), "sb");
  return url == nullptr ? nullptr : url->path();
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
