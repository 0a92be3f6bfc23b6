// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include <VantoService/PlistDictionary.h>

namespace vanto::tool {

/// The two units with which systemd starts a service on demand, in place of a service manager.
struct SystemdUnits {
  /// Names and contents of the files.
  std::string socketName;
  std::string socket;
  std::string serviceName;
  std::string service;

  /// The units for a job. `account` is the user that a service of the system runs as; it is empty for others. `proxy`
  /// is the absolute path of what is executed as the proxy. None with a visible text in `problem` for a job that
  /// systemd cannot have.
  [[nodiscard]] static std::optional<SystemdUnits> of(const PlistDictionary& job, const std::string& account,
                                                      const std::string& proxy, std::string& problem);
};

}  // namespace vanto::tool
