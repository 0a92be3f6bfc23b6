// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>

namespace vanto::tool {

/// What a cache file holds; docs/formats/cache.md describes its form.
struct CacheDocument {
  /// Where the services were looked for, absolute.
  std::vector<std::string> places;
  /// The bundles, absolute, and the archive of each at the same index.
  std::vector<std::string> bundles;
  Ref<PlistArray> archives;

  /// The file as a value. All texts are UTF-8.
  [[nodiscard]] Ref<PlistDictionary> value() const;
  /// None, with a visible reason, for a value that value() does not give.
  [[nodiscard]] static std::optional<CacheDocument> of(Object* value, std::string& problem);

  /// The cache in the file at `path`, or in standard input for "-"; none with a visible text that names the file.
  [[nodiscard]] static std::optional<CacheDocument> read(const std::string& path, std::string& problem);
};

}  // namespace vanto::tool
