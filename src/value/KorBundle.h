// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/KorURL.h>

// The bundles that executables belong to, told by where files lie. No Info dictionary is read. A result is owned by the
// caller, who drops it with KorRelease(). A relative path is taken from the working directory; directories are looked
// for above the path as it is written, unless it has a ".." component, which only the file system understands.

/// A directory that has an Info file in one of the layouts, and so might be a bundle.
class KorBundle : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;
  [[nodiscard]] static vanto::Ref<KorBundle> create(vanto::Ref<KorURL> url);

  /// The URL of the directory. The object owns it.
  [[nodiscard]] KorURL* url() const noexcept { return url_.get(); }

 private:
  explicit KorBundle(vanto::Ref<KorURL> url) noexcept;
  static void destroy(vanto::Object& self) noexcept;

  vanto::Ref<KorURL> url_;
};

extern "C" {

/// The nearest directory above the executable that `url` names that has an extension and an Info file in one of the
/// layouts, acceptable or not. Null when there is none, and for a null URL. The executable need not exist.
KorBundle* _KorBundleCreateWithExecutableURLIfMightBeBundle(KorURL* url);

/// The URL of the bundle's directory; null for a null bundle.
KorURL* KorBundleCopyBundleURL(KorBundle* bundle);

/// The URL of the nearest directory above the executable at `path` whose extension is "framework"; null when there is
/// none, and for a null path.
KorURL* _KorBundleCopyFrameworkURLForExecutablePath(PlistString* path);
}
