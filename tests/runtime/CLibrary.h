// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vanto::testing {

/// Stands in for what the C library would answer: in a test program that is linked with --wrap for them, stat(),
/// dlsym() and dlerror() come here as long as an object of this class is there, if they ask for the policy file or for
/// QelApplicationMain.
class CLibrary {
 public:
  /// `note` is told of each call: the function's name and its arguments.
  explicit CLibrary(std::function<void(std::string_view function, std::string_view arguments)> note);
  ~CLibrary();
  CLibrary(const CLibrary&) = delete;
  CLibrary& operator=(const CLibrary&) = delete;

  [[nodiscard]] static CLibrary* current() noexcept;

  static constexpr const char* policyPath = "/Library/Preferences/org.vanto.security.vanto.plist";

  /// Whether stat() finds the policy file.
  bool policyFileExists = false;
  /// What stat() says of it otherwise, a number of errno.
  int policyFileError = ENOENT;
  /// What dlerror() answers after QelApplicationMain was not found; the real answer when there is no text, null when
  /// the text is empty.
  std::optional<std::string> symbolError;

  const std::function<void(std::string_view function, std::string_view arguments)> note;
};

}  // namespace vanto::testing
