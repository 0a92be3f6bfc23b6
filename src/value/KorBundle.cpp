// SPDX-License-Identifier: Apache-2.0
#include "value/KorBundle.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "value/BundleLayout.h"
#include "value/BundlePath.h"
#include "value/PathText.h"
#include "value/ValueStorage.h"

namespace {

using vanto::BundlePath;
using vanto::PathText;
using vanto::Ref;

/// True when opening the file would not say that it is missing, which is when a layout is not passed over.
bool isThere(const std::string& path) noexcept {
  struct stat status;
  return stat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool mightBeBundle(std::string_view directory) {
  const std::string_view extension = PathText::extension(directory);
  if (extension.empty()) return false;
  for (const vanto::BundlePlaces& places : vanto::bundlePlaces) {
    if (vanto::isLayoutFor(places.layout, extension) && isThere(BundlePath::inside(directory, places.info))) {
      return true;
    }
  }
  return false;
}

bool isFramework(std::string_view directory) {
  return PathText::extension(directory) == vanto::frameworkExtension;
}

/// The URL of the nearest directory above `path` of which `isWanted` is true, or null.
Ref<KorURL> createURLOfNearest(std::string_view path, bool (*isWanted)(std::string_view directory)) {
  // No file has a longer path. Each directory is looked at by its whole path, so the length must have a bound.
  if (path.empty() || path.size() >= PATH_MAX || path.find('\0') != path.npos) return nullptr;
  const std::optional<std::string> absolute = BundlePath::absolute(path);
  if (!absolute) return nullptr;
  for (std::string_view directory = PathText::parent(*absolute); directory.size() > 1;
       directory = PathText::parent(directory)) {
    if (!isWanted(directory)) continue;
    // The directories above a relative path need not have names that are text.
    const Ref<PlistString> text = PlistString::create(directory);
    return text ? KorURL::create(*text, true) : nullptr;
  }
  return nullptr;
}

}  // namespace

const vanto::Class& KorBundle::classDescriptor() noexcept {
  static constexpr vanto::Class descriptor{"KorBundle", &vanto::objectClass, vanto::NoKind, &destroy, nullptr, nullptr};
  return descriptor;
}

KorBundle::KorBundle(Ref<KorURL> url) noexcept : Object(classDescriptor()), url_(std::move(url)) {}

Ref<KorBundle> KorBundle::create(Ref<KorURL> url) {
  return Ref<KorBundle>::adopt(::new (allocate(sizeof(KorBundle))) KorBundle(std::move(url)));
}

void KorBundle::destroy(vanto::Object& self) noexcept {
  auto& bundle = static_cast<KorBundle&>(self);
  bundle.~KorBundle();
  deallocate(&bundle);
}

KorBundle* _KorBundleCreateWithExecutableURLIfMightBeBundle(KorURL* url) {
  if (url == nullptr) return nullptr;
  Ref<KorURL> directory = createURLOfNearest(url->path()->text(), &mightBeBundle);
  return directory ? KorBundle::create(std::move(directory)).leak() : nullptr;
}

KorURL* KorBundleCopyBundleURL(KorBundle* bundle) {
  return bundle == nullptr ? nullptr : Ref<KorURL>::share(bundle->url()).leak();
}

KorURL* _KorBundleCopyFrameworkURLForExecutablePath(PlistString* path) {
  return path == nullptr ? nullptr : createURLOfNearest(path->text(), &isFramework).leak();
}
