// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace vanto::bench {

/// An Info document as a service bundle has one, of about 1.8 KB.
[[nodiscard]] std::string infoDocument();

/// A document of about `bytes` bytes: a list of descriptions of services, no two of them the same.
[[nodiscard]] std::string listDocument(std::size_t bytes);

/// The Info document of the service bundle with a number, and the archive that a cache keeps of the same service, as
/// XML: its identifier, path and type, its service dictionary, and its job dictionary.
[[nodiscard]] std::string infoDocument(std::size_t number);
[[nodiscard]] std::string archiveElement(std::size_t number);
/// A document of the archives of `count` services under their paths.
[[nodiscard]] std::string archivesDocument(std::size_t count);

}  // namespace vanto::bench
