// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "value/BundleLayout.h"

namespace vanto::code {

/// Where a bundle of one layout has what a signature is about; paths relative to it.
struct BundlePlan {
  BundleLayout layout;
  std::string info;
  std::string signature;
  /// The directory of its executable, as in BundlePlaces.
  std::string_view executables;

  /// That of the bundle at `path`: of the layouts that it may have the first one in which `isThere` says that something
  /// stands in the place of the Info file, be it only a link. None when nothing does, and without an extension.
  [[nodiscard]] static std::optional<BundlePlan> find(std::string_view path,
                                                      const std::function<bool(const std::string&)>& isThere);
};

/// What the path of an executable says of what may be signed: the file alone, or the bundle around it.
struct CodeSurroundings {
  std::string directory;
  std::string name;
  /// The directory that may be the bundle.
  std::string bundle;
  /// Where a plan of that bundle must have its executable.
  std::string_view executables;

  /// None for what is no path of a file.
  [[nodiscard]] static std::optional<CodeSurroundings> of(std::string_view path);
};

/// The name of the signature of a file, which lies beside it.
[[nodiscard]] std::string signatureNameOf(std::string_view file);

/// True when something stands at a path relative to the directory, or that cannot be told.
[[nodiscard]] bool isSomethingAt(int directory, const std::string& path) noexcept;

}  // namespace vanto::code
