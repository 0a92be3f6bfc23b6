// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <VantoService/VantoServiceBundle.h>

#include "sandbox/Policy.h"
#include "sandbox/ProfilePath.h"
#include "vanto/ProfileChoice.h"

namespace vanto::tool {

/// The values of a profile's parameters. One that nothing was said of stands for itself: "/${VantoService_path}" is the
/// value of the first.
struct ProfileValues {
  /// The values that `choice` gives, and else placeholders. None with a visible text in `problem`.
  [[nodiscard]] static std::optional<ProfileValues> of(const ProfileChoice& choice, std::string& problem);
  /// Those with which a service is confined when it starts as the user that runs this. None with a visible text in
  /// `problem` when it would not be confined, whatever the profile is.
  [[nodiscard]] static std::optional<ProfileValues> ofService(VantoServiceBundle& service, std::string& problem);
  /// The same with placeholders in their place.
  [[nodiscard]] static ProfileValues ofServiceOrNone(VantoServiceBundle& service);

  /// True when `path` is one that a placeholder stands in.
  [[nodiscard]] bool isPlaceholderIn(std::string_view path) const;
  /// The identifier of the service; empty when nothing was said of it.
  [[nodiscard]] std::string_view identifier() const;
  /// The names of parameters whose placeholders stand in paths of `policy` that give one of `rights`, with commas.
  [[nodiscard]] std::string placeholdersIn(const Policy& policy, RightSet rights) const;

  /// Gives a placeholder to each parameter without a value.
  void fill();

  ProfileParameters parameters;
  /// The names whose values are placeholders, with these.
  ProfileParameters placeholders;
};

}  // namespace vanto::tool
