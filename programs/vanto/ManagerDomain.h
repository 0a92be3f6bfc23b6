// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <VantoService/PlistDictionary.h>

namespace vanto::tool {

/// Whose services a service manager runs.
enum class ManagerDomain : std::uint8_t { Session, User, System };

/// In the order in which a label is looked for.
inline constexpr ManagerDomain managerDomains[] = {ManagerDomain::Session, ManagerDomain::User, ManagerDomain::System};

/// "session", "user" or "system".
[[nodiscard]] const char* nameOf(ManagerDomain domain) noexcept;

/// The service under which the manager of a domain takes orders.
[[nodiscard]] std::string managerServiceOf(ManagerDomain domain);

/// The domain that a job asks for with "VantoDomain"; the user's where it does not say. None, with a visible text in
/// `problem`, for an entry that names no domain.
[[nodiscard]] std::optional<ManagerDomain> domainOfJob(const PlistDictionary& job, std::string& problem);

}  // namespace vanto::tool
