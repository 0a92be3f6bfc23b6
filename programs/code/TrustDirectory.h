// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vanto::code {

/// To whom a trust directory and its files must belong.
enum class TrustOwner : std::uint8_t {
  Administrator,  ///< root; neither directory nor files may be written by others
  User,           ///< this user; the directory is for its owner alone, and no file may be written by others
  Either          ///< root or this user; nothing may be written by others
};

/// The files of a trust directory as bytes, which are still to be understood.
struct TrustDirectory {
  struct File {
    /// Without its extension.
    std::string name;
    std::string bytes;

    bool operator==(const File&) const = default;
  };

  std::string path;
  std::vector<File> keys;
  std::optional<std::string> revocations;
  /// What was not taken, and why, for people; each begins with a path.
  std::vector<std::string> problems;
  /// False where its keys do not count: it, or its file of revoked keys, is not as it must be.
  bool isUsable = true;
  /// Why it is not known which keys it revokes, for people, without the path. Until that is empty, no key of any
  /// directory is to be trusted: it could be a revoked one.
  std::string doubt;

  bool operator==(const TrustDirectory&) const = default;

  /// Reads a directory; one that does not exist is empty.
  [[nodiscard]] static TrustDirectory read(const std::string& path, TrustOwner owner);

  /// That of the machine.
  [[nodiscard]] static std::string systemPath();
  /// That of this user, by the environment; empty when it has no home.
  [[nodiscard]] static std::string userPath();
};

}  // namespace vanto::code
