// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/Profile.h"

namespace vanto::testing {

/// A profile that chance has made, and what it gives by what it was made of, without a look at the language or at what
/// was compiled.
class GeneratedProfile {
 public:
  /// Of what its statements are made.
  struct Material {
    /// Directories and files. What one gives, all beneath it has.
    std::vector<std::string> paths;
    std::vector<std::uint16_t> ports;
    /// The value of VantoService_path, which all paths lie beneath.
    std::string servicePath;
  };

  GeneratedProfile(const Material& material, std::mt19937& random);

  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  [[nodiscard]] const ProfileParameters& parameters() const noexcept { return parameters_; }

  /// `right` is one to a path.
  [[nodiscard]] bool gives(Right right, const std::string& path) const;
  [[nodiscard]] bool gives(Right right, std::uint16_t port) const;
  /// `right` needs neither path nor port.
  [[nodiscard]] bool gives(Right right) const { return others_.contains(right); }
  [[nodiscard]] bool givesToAnyPath(Right right) const;
  [[nodiscard]] bool givesAnyPort() const noexcept { return !ports_.empty(); }

 private:
  void addPaths(const Material& material, std::mt19937& random);
  void addPorts(const Material& material, std::mt19937& random);
  void addOthers(std::mt19937& random);
  [[nodiscard]] std::string written(const std::string& path, std::mt19937& random) const;

  std::string text_ = "version 1\n";
  ProfileParameters parameters_;
  std::vector<std::pair<std::string, RightSet>> paths_;
  std::set<std::pair<Right, std::uint16_t>> ports_;
  std::set<Right> others_;
};

}  // namespace vanto::testing
