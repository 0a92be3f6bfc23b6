// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <VantoService/PlistDictionary.h>

#include "code/Digest.h"

namespace vanto::code {

/// Where a symbolic link leads, as it is written.
struct LinkTarget {
  std::string path;
  bool operator==(const LinkTarget&) const = default;
};

/// A file of a bundle, or a symbolic link.
using SealedResource = std::variant<Digest, LinkTarget>;
/// By path in the bundle, without a slash in front.
using SealedResources = std::map<std::string, SealedResource, std::less<>>;

/// What a signature is about.
struct Seal {
  std::string identifier;
  /// File name and digest.
  std::string executableName;
  Digest executable{};
  /// Of a bundle only.
  std::optional<Digest> info;
  SealedResources resources;
  /// Never null.
  Ref<PlistDictionary> entitlements;

  /// None with a reason in `problem`.
  [[nodiscard]] static std::optional<Seal> read(std::string_view bytes, std::string& problem);
  /// The same bytes for the same seal. None when XML cannot carry what it says, with a reason in `problem`.
  [[nodiscard]] std::optional<std::string> bytes(std::string& problem) const;
};

/// True for a path that a resource can have: components with a slash between them, none of them empty, "." or "..".
[[nodiscard]] bool isResourcePath(std::string_view path) noexcept;

}  // namespace vanto::code
