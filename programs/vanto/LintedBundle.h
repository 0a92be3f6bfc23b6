// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include <VantoService/PlistDictionary.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/Finding.h"
#include "vanto/KeyPath.h"

namespace vanto::tool {

/// A service bundle under examination, and what was found so far.
class LintedBundle {
 public:
  LintedBundle(VantoServiceBundle& service, std::string infoPath, Findings& findings) noexcept;

  [[nodiscard]] VantoServiceBundle& service() const noexcept { return service_; }
  [[nodiscard]] Bundle& bundle() const noexcept { return *service_.bundle(); }
  [[nodiscard]] PlistDictionary& info() const noexcept { return *bundle().infoDictionary(); }
  /// Null when it is of another kind.
  [[nodiscard]] PlistDictionary* serviceDictionary() const;

  /// Adds a finding about the value at `key` of the Info file. Texts are visible ones.
  void add(Severity severity, const KeyPath& key, std::string problem, std::string remedy);

  /// Adds a finding about another file of the bundle.
  void add(Finding finding);

  /// The key path of an entry of the service dictionary.
  [[nodiscard]] static KeyPath serviceKey(std::string_view key);

 private:
  VantoServiceBundle& service_;
  std::string infoPath_;
  Findings& findings_;
};

/// Which bundle, by its visible path, has an identifier; over all bundles of one run.
using KnownIdentifiers = std::map<std::string, std::string>;

// The rules, each about one part of the bundle.
void lintIdentifier(LintedBundle& linted, KnownIdentifiers& known);
void lintExecutable(LintedBundle& linted);
void lintInfoKeys(LintedBundle& linted);
void lintServiceKeys(LintedBundle& linted);
void lintAllowedClients(LintedBundle& linted);
void lintSandbox(LintedBundle& linted);

/// Everything that is wrong with the bundle at `path`.
[[nodiscard]] Findings lintBundle(const std::string& path, KnownIdentifiers& known);

}  // namespace vanto::tool
