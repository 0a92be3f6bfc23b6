// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "value/Fd.h"

/// The directories in which sockets have their names.
namespace vanto {

enum class Domain : std::uint8_t { Session, User, System };

/// Where a client looks, in this order.
inline constexpr Domain domainsInOrder[] = {Domain::Session, Domain::User, Domain::System};

/// Opens the directory of a domain. None when it does not exist, or others than its owner can change it, or, for the
/// session and the user's domain, its owner is not this user. It is open for finding names in it only. Symbolic links
/// are not followed below the user's run-time directory.
[[nodiscard]] Fd openDomain(Domain domain) noexcept;

/// Opens the directory in which those of the session and of the user are; none where it does not exist, or is not safe.
[[nodiscard]] Fd openBaseOfDomains() noexcept;

/// The name there of a domain's directory; empty for the system, and where there is no session.
[[nodiscard]] std::string nameOfDomain(Domain domain) noexcept;

/// As openDomain() for the user's own domain, whose directories are made where they do not exist; none with errno. It
/// is open for reading, and so can be locked.
[[nodiscard]] Fd openOrCreateUserDomain() noexcept;

/// This for the directory of any domain, for its manager. That of the system, which only root can make, gets the
/// mode 0755 and has to belong to this user. EINVAL when there is no session.
[[nodiscard]] Fd openOrCreateDomain(Domain domain) noexcept;

/// Whether XDG_RUNTIME_DIR, where it is set to an absolute path, names a directory that can be used: 0, or an errno
/// value. Clients and services take another one where it can not.
[[nodiscard]] int checkRuntimeDirectory() noexcept;

}  // namespace vanto
