// SPDX-License-Identifier: Apache-2.0
#include <VantoService/Bundle.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "value/BundleLayout.h"
#include "value/BundlePath.h"
#include "value/PathText.h"
#include "value/PropertyListFile.h"
#include "value/ValueStorage.h"

namespace {

using vanto::as;
using vanto::BundleLayout;
using vanto::BundlePath;
using vanto::BundlePlaces;
using vanto::PathText;
using vanto::Ref;

/// The path without slashes at its end; the root directory stays "/".
std::string_view withoutSlashesAtEnd(std::string_view path) noexcept {
  const std::string_view trimmed = PathText::withoutSlashesAtEnd(path);
  return trimmed.empty() ? path.substr(0, 1) : trimmed;
}

bool isRegularFile(const char* path) noexcept {
  struct stat status;
  return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

/// The Info dictionary of the bundle directory at `path`, and in `layout` where it was found. A layout is passed over
/// only when its file does not exist: a damaged bundle is no bundle, not one of another layout.
Ref<PlistDictionary> readInfo(std::string_view path, BundleLayout& layout) {
  const std::string_view extension = PathText::extension(path);
  for (const BundlePlaces& places : vanto::bundlePlaces) {
    if (!vanto::isLayoutFor(places.layout, extension)) continue;
    vanto::PropertyListFileError error;
    const Ref<PlistValue> value =
        vanto::createPropertyListFromFile(AT_FDCWD, BundlePath::inside(path, places.info).c_str(), &error);
    if (value) {
      layout = places.layout;
      return Ref<PlistDictionary>::share(as<PlistDictionary>(value.get()));
    }
    if (error.kind != vanto::PropertyListFileError::Kind::Missing) break;
  }
  return nullptr;
}

}  // namespace

const vanto::Class& Bundle::classDescriptor() noexcept {
  static constexpr vanto::Class descriptor{"Bundle", &vanto::objectClass, vanto::NoKind,
                                           &destroy, &createDescription,  nullptr};
  return descriptor;
}

Bundle::Bundle(BundleLayout layout, Ref<PlistString> path, Ref<PlistString> absolutePath, Ref<PlistString> resourcePath,
               Ref<PlistDictionary> info) noexcept
    : Object(classDescriptor()),
      layout_(layout),
      path_(std::move(path)),
      absolutePath_(std::move(absolutePath)),
      resourcePath_(std::move(resourcePath)),
      info_(std::move(info)) {}

void Bundle::destroy(vanto::Object& self) noexcept {
  auto& bundle = static_cast<Bundle&>(self);
  bundle.~Bundle();
  deallocate(&bundle);
}

Ref<PlistString> Bundle::createDescription(const vanto::Object& self) {
  std::string text("Bundle ");
  text += static_cast<const Bundle&>(self).path_->text();
  return PlistString::create(text);
}

Ref<Bundle> Bundle::create(const PlistString& path) {
  const std::string_view given = withoutSlashesAtEnd(path.text());
  if (given.empty() || given.find('\0') != given.npos) return nullptr;
  BundleLayout layout{};
  Ref<PlistDictionary> info = readInfo(given, layout);
  if (!info) return nullptr;
  const std::optional<std::string> absolute = BundlePath::absolute(given);
  if (!absolute) return nullptr;
  Ref<PlistString> ownPath = PlistString::create(given);
  Ref<PlistString> absolutePath = *absolute == given ? ownPath : PlistString::create(*absolute);
  // The directories above a relative path need not have names that are text.
  if (!absolutePath) return nullptr;
  const std::string_view resources = vanto::placesOf(layout).resources;
  Ref<PlistString> resourcePath =
      resources.empty() ? absolutePath : PlistString::create(BundlePath::inside(*absolute, resources));
  return Ref<Bundle>::adopt(new (allocate(sizeof(Bundle))) Bundle(layout, std::move(ownPath), std::move(absolutePath),
                                                                  std::move(resourcePath), std::move(info)));
}

Bundle* Bundle::bundleWithPath(PlistString* path) {
  return path == nullptr ? nullptr : create(*path).asTemporary();
}

Bundle* Bundle::bundleWithURL(KorURL* url) {
  return url == nullptr ? nullptr : bundleWithPath(url->path());
}

KorURL* Bundle::urlForResource(std::string_view name, std::string_view extension) const {
  if (!BundlePath::isSingleComponent(name)) return nullptr;
  if (!extension.empty() && !BundlePath::isSingleComponent(extension)) return nullptr;
  std::string place("/");
  place += name;
  if (!extension.empty()) (place += '.') += extension;
  const Ref<PlistString> path = PlistString::create(BundlePath::inside(resourcePath_->text(), place));
  if (!path || !isRegularFile(path->utf8())) return nullptr;
  return KorURL::create(*path, false)->standardized();
}

PlistString* Bundle::bundleIdentifier() const noexcept {
  return as<PlistString>(info_->valueForKey("KorBundleIdentifier"));
}

PlistString* Bundle::executablePath() const {
  const auto* name = as<PlistString>(info_->valueForKey("KorBundleExecutable"));
  if (name == nullptr || !BundlePath::isSingleComponent(name->text())) return nullptr;
  std::string place(vanto::placesOf(layout_).executables);
  (place += '/') += name->text();
  const std::string path = BundlePath::inside(absolutePath_->text(), place);
  const std::optional<std::string> realDirectory = BundlePath::real(absolutePath_->utf8());
  const std::optional<std::string> realPath = BundlePath::real(path.c_str());
  if (!realDirectory || !realPath || !BundlePath::isBelow(*realPath, *realDirectory)) return nullptr;
  return isRegularFile(realPath->c_str()) ? PlistString::create(path).asTemporary() : nullptr;
}
