// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "value/BundleLayout.h"
#include "value/Fd.h"

namespace vanto::code {

/// What the Info dictionary of a bundle says that a signature is about; texts that are not there are empty.
struct InfoNames {
  std::string identifier;
  /// The file name of the executable; empty too where it is none.
  std::string executable;

  /// None when the bytes are no property list with a dictionary.
  [[nodiscard]] static std::optional<InfoNames> read(std::string_view bytes);
};

/// Where the parts of something that is or can be signed lie: of a bundle, or of a single executable. All paths are
/// relative to the directory, and are opened below it without following links.
struct CodePlace {
  Fd directory;
  /// The path of the directory, for people.
  std::string path;
  /// Of a bundle; none for a single executable.
  std::optional<BundleLayout> layout;
  std::string info;
  /// Empty in a bundle that names none.
  std::string executable;
  std::string signature;
  /// The contents of the Info file, and its identifier, empty where there is none.
  std::string infoBytes;
  std::string identifier;

  [[nodiscard]] bool isBundle() const noexcept { return layout.has_value(); }
  /// The last component of `executable`.
  [[nodiscard]] std::string executableName() const;
  /// A path in the directory, for people.
  [[nodiscard]] std::string pathOf(const std::string& relative) const;

  /// The bundle in the directory at `path`, which may be a link. None with a reason that names the file.
  [[nodiscard]] static std::optional<CodePlace> ofBundle(const std::string& path, std::string& problem);
  /// The file at `path` alone. None with a reason that names the file.
  [[nodiscard]] static std::optional<CodePlace> ofFile(const std::string& path, std::string& problem);
  /// The bundle whose executable the file at `path` is; none when there is no such bundle.
  [[nodiscard]] static std::optional<CodePlace> ofBundleAround(const std::string& path);
  /// What a person who names `path` means: the bundle in a directory; of a file the bundle whose executable it is, if
  /// that has a signature, else the file. None too when a bundle has one and its Info file cannot be read. None with a
  /// reason that names the file.
  [[nodiscard]] static std::optional<CodePlace> ofPath(const std::string& path, std::string& problem);

  /// True when something stands where the signature is to be.
  [[nodiscard]] bool hasSignature() const noexcept;
};

}  // namespace vanto::code
