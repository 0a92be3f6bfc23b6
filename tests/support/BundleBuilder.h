// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/TemporaryDirectory.h"

namespace vanto::test {

/// Where things lie in a bundle.
enum class BundleLayout { Contents, Framework, Flat };

/// Builds a bundle on disk. Say what it holds, then build() it:
///
///     TemporaryDirectory directory;
///     const std::string path = BundleBuilder(directory.path(), "Echo.vanto")
///                                  .identifier("com.example.echo")
///                                  .executable("Echo")
///                                  .serviceEntry("ServiceType", BundleBuilder::string("User"))
///                                  .build();
///
/// Values are given as XML text; string(), integer() and the like make it. A step that fails ends the test program.
class BundleBuilder {
 public:
  /// A bundle directory `name` in the directory `parent`.
  BundleBuilder(std::string_view parent, std::string_view name, BundleLayout layout = BundleLayout::Contents);

  /// The entry of the Info dictionary that holds the bundle's identifier.
  BundleBuilder& identifier(std::string_view text);
  /// An executable file, and the entry that names it.
  BundleBuilder& executable(std::string_view name, std::string_view contents = "#!/bin/sh\nexit 0\n");
  /// The same as a copy of the file at `source`.
  BundleBuilder& executableCopiedFrom(std::string_view source, std::string_view name);

  /// An entry of the Info dictionary, its value as XML.
  BundleBuilder& entry(std::string_view key, std::string_view xml);
  /// An entry of the service dictionary, its value as XML. The first makes the service dictionary.
  BundleBuilder& serviceEntry(std::string_view key, std::string_view xml);
  /// An empty service dictionary, for services without entries.
  BundleBuilder& service();
  /// The whole Info file, byte for byte, in place of one made from entries.
  BundleBuilder& info(std::string_view bytes);
  /// No Info file at all.
  BundleBuilder& withoutInfo();

  /// A file in the resources directory.
  BundleBuilder& resource(std::string_view fileName, std::string_view bytes);

  /// Makes the directories and files; gives the path of the bundle.
  std::string build();

  // Paths, known before build() too.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] std::string infoPath() const;
  [[nodiscard]] std::string resourcesPath() const;
  /// Of the executable `name`.
  [[nodiscard]] std::string executablePath(std::string_view name) const;
  /// The directory in which this bundle keeps its services; build() makes it. The parent of further builders.
  [[nodiscard]] std::string servicesPath() const;

  // XML text of values.
  [[nodiscard]] static std::string string(std::string_view text);
  [[nodiscard]] static std::string integer(long long value);
  [[nodiscard]] static std::string boolean(bool value);
  [[nodiscard]] static std::string array(const std::vector<std::string>& elements);
  [[nodiscard]] static std::string dictionary(const std::vector<std::pair<std::string, std::string>>& entries);
  /// A whole document around one value.
  [[nodiscard]] static std::string document(std::string_view xml);

 private:
  [[nodiscard]] std::string infoBytes() const;

  BundleLayout layout_;
  std::string path_;
  bool hasInfo_ = true;
  bool hasService_ = false;
  bool infoIsGiven_ = false;
  std::string givenInfo_;
  std::vector<std::pair<std::string, std::string>> entries_;
  std::vector<std::pair<std::string, std::string>> serviceEntries_;
  /// Path and contents.
  std::vector<std::pair<std::string, std::string>> files_;
  std::vector<std::pair<std::string, std::string>> executables_;
};

}  // namespace vanto::test
