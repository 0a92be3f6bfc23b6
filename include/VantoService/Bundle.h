// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/KorURL.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistString.h>

namespace vanto {
enum class BundleLayout : unsigned char;
}

/// A directory with an Info dictionary, resources and an executable, in one of the layouts of docs/formats/bundle.md.
/// The Info dictionary is read once, when the object is made; no descriptor stays open. Immutable; any thread may use
/// it. A relative path is understood when the object is made: the object stays what it is when the working directory
/// changes.
class VANTO_EXPORT Bundle : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// The bundle in the directory at `path`; null when there is no directory or no readable Info dictionary in it.
  [[nodiscard]] static vanto::Ref<Bundle> create(const PlistString& path);

  /// The same as temporaries; null arguments give null.
  [[nodiscard]] static Bundle* bundleWithPath(PlistString* path);
  [[nodiscard]] static Bundle* bundleWithURL(KorURL* url);

  /// The bundle that the executable of this process belongs to, or null. Looked up once; the process keeps it.
  [[nodiscard]] static Bundle* mainBundle();

  /// The path as given, without slashes at its end. The bundle owns it.
  [[nodiscard]] PlistString* bundlePath() const noexcept { return path_.get(); }

  /// The absolute path of the resources directory, whether or not it exists. The bundle owns it.
  [[nodiscard]] PlistString* resourcePath() const noexcept { return resourcePath_.get(); }

  /// The standardised URL, with an absolute path, of the resource NAME.EXTENSION; an empty extension stands for none.
  /// Null when a name is empty or not a single path component, and when no regular file, or symbolic link to one, has
  /// that name directly in the resources directory. A temporary.
  [[nodiscard]] KorURL* urlForResource(std::string_view name, std::string_view extension) const;

  /// The Info dictionary; never null. The bundle owns it.
  [[nodiscard]] PlistDictionary* infoDictionary() const noexcept { return info_.get(); }

  /// The bundle identifier of the Info dictionary, or null when there is none or it is not a string. The bundle owns
  /// it.
  [[nodiscard]] PlistString* bundleIdentifier() const noexcept;

  /// The absolute path, through the bundle's own, of the main executable that the Info dictionary names. Null when it
  /// names none, when the name is not a single path component, when no regular file is there, and when the file lies
  /// outside the bundle once all symbolic links are resolved. Looked up anew on every call. A temporary.
  [[nodiscard]] PlistString* executablePath() const;

 private:
  Bundle(vanto::BundleLayout layout, vanto::Ref<PlistString> path, vanto::Ref<PlistString> absolutePath,
         vanto::Ref<PlistString> resourcePath, vanto::Ref<PlistDictionary> info) noexcept;
  [[nodiscard]] static vanto::Ref<Bundle> createMainBundle();
  static void destroy(vanto::Object& self) noexcept;
  static vanto::Ref<PlistString> createDescription(const vanto::Object& self);

  /// Where things lie in the bundle.
  vanto::BundleLayout layout_;
  /// As given, without slashes at its end.
  vanto::Ref<PlistString> path_;
  /// What path_ stood for when the bundle was made; free of ".." components. The same string where path_ already is.
  vanto::Ref<PlistString> absolutePath_;
  vanto::Ref<PlistString> resourcePath_;
  vanto::Ref<PlistDictionary> info_;
};
