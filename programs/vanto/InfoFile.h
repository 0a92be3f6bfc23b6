// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/PlistDictionary.h>

namespace vanto::tool {

/// The Info file of a bundle directory, read to say what is wrong with it: the library only says that something is.
struct InfoFile {
  /// The first of the places where layouts have it at which there is one; the first of all where there is none.
  std::string path;
  /// Null with a `problem`.
  Ref<PlistDictionary> dictionary;
  /// Visible.
  std::string problem;
  /// Line and column of the problem, as `:2:14`; empty where it has none.
  std::string place;
  bool exists = false;

  /// Path, place and problem.
  [[nodiscard]] std::string complaint() const;

  [[nodiscard]] static InfoFile of(const std::string& bundle);
};

/// Why the directory at `path` is no service bundle, visible; the path stands in front. Empty when it is one.
[[nodiscard]] std::string whyNoService(const std::string& path);

/// The same for a directory that was none a moment ago. Never empty.
[[nodiscard]] std::string whyNotTaken(const std::string& path);

}  // namespace vanto::tool
