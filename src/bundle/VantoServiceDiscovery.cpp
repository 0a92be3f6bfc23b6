// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceDiscovery.h>

#include <VantoService/KorFunctions.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "value/DirectoryStream.h"
#include "value/KorBundle.h"
#include "value/platform/files.h"

namespace {

using vanto::Ref;

/// Which of the directories above an executable a search ends with.
enum class Wanted : unsigned char { Bundle, Framework };

/// The URL of that directory. Null when there is none, and when the executable is in no bundle at all.
Ref<KorURL> createDirectoryURL(PlistString* executable, Wanted wanted) {
  const auto file = Ref<KorURL>::adopt(KorURLCreateWithFileSystemPath(executable, KorURLPOSIXPathStyle, false));
  if (!file) return nullptr;
  const auto candidate = Ref<KorBundle>::adopt(_KorBundleCreateWithExecutableURLIfMightBeBundle(file.get()));
  if (!candidate) return nullptr;
  return Ref<KorURL>::adopt(wanted == Wanted::Bundle ? KorBundleCopyBundleURL(candidate.get())
                                                     : _KorBundleCopyFrameworkURLForExecutablePath(executable));
}

}  // namespace

PlistArray* VantoServiceBundles(const Bundle& bundle) {
  const Ref<PlistMutableArray> services = PlistMutableArray::create();
  {
    const vanto::TemporaryScope scope;
    const PlistString* directory = bundle.resourcePath()->deletingLastPathComponent()->appendingPathComponent(
        *PlistString::create("VantoServices"));
    const vanto::DirectoryStream stream(opendir(directory->utf8()));
    while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
      const vanto::TemporaryScope entryScope;
      const Ref<PlistString> name = PlistString::create(entry->d_name);
      if (!name) continue;
      auto* service = VantoServiceBundle::VantoServiceBundleAtPath(directory->appendingPathComponent(*name));
      if (service != nullptr) services->append(service);
    }
  }
  return Ref<PlistArray>(services).asTemporary();
}

Bundle* bundleForBinaryImagePath(PlistString* path) {
  return Bundle::bundleWithURL(createDirectoryURL(path, Wanted::Bundle).get());
}

Bundle* frameworkBundleForBinaryImagePath(PlistString* path) {
  return Bundle::bundleWithURL(createDirectoryURL(path, Wanted::Framework).get());
}

VantoServiceBundle* VantoServiceBundle::VantoServiceBundleFromExecutableAtPath(PlistString* path) {
  const Bundle* bundle = bundleForBinaryImagePath(path);
  return bundle == nullptr ? nullptr : VantoServiceBundleAtPath(bundle->bundlePath());
}
