// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistString.h>

/// The URL of a file: a path, and whether it names a directory.
class VANTO_EXPORT KorURL : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A URL for `path`. Null for an empty path or one that contains NUL. A relative path stays relative.
  [[nodiscard]] static vanto::Ref<KorURL> create(const PlistString& path, bool isDirectory);

  /// The path as given. The URL owns it.
  [[nodiscard]] PlistString* path() const noexcept { return path_.get(); }
  [[nodiscard]] bool isDirectory() const noexcept { return isDirectory_; }

  /// The same URL with "." and ".." components and doubled slashes taken out of its path, by text alone: symbolic links
  /// are not looked at, and ".." at the root stays there. A relative path keeps leading ".." components, and is "."
  /// when nothing else is left. A temporary.
  [[nodiscard]] KorURL* standardized() const;

 private:
  friend struct vanto::ValueStorage;

  KorURL(vanto::Ref<PlistString> path, bool isDirectory) noexcept;
  ~KorURL() = default;

  vanto::Ref<PlistString> path_;
  bool isDirectory_;
};
