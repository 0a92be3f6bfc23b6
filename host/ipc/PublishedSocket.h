// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "value/Fd.h"

namespace vanto {

/// A listening socket that this process has bound under a file name in a directory. Clients find it there complete or
/// not at all. Not thread-safe.
class PublishedSocket {
 public:
  enum class Access : std::uint8_t { Owner, Everybody };
  /// What to do when somebody else listens under the name. A socket that nobody listens on is always replaced, and
  /// whatever is no socket never: it was not put there by a service.
  enum class Rival : std::uint8_t { Respect, Replace };

  PublishedSocket() noexcept = default;
  /// Closes it.
  ~PublishedSocket() { close(); }
  PublishedSocket(const PublishedSocket&) = delete;
  PublishedSocket& operator=(const PublishedSocket&) = delete;

  /// Binds `file`, which leads nowhere else, in `directory`, and listens. The directory is locked meanwhile, so it must
  /// be one that nobody but this user can open. VANTO_ERROR_IN_USE when somebody else listens there, VANTO_ERROR_SYSTEM
  /// with errno, EWOULDBLOCK when another process keeps the directory locked, ENOTSOCK when the name is no socket's.
  [[nodiscard]] vanto_error_code_t open(Fd directory, const std::string& file, Access access = Access::Owner,
                                        Rival rival = Rival::Respect) noexcept;

  /// The same for whoever is in charge of the directory, and keeps it open until close(). It may be open to everybody:
  /// it is not locked, since whoever can open it could have this wait for ever.
  [[nodiscard]] vanto_error_code_t openShared(int directory, const std::string& file, Access access,
                                              Rival rival) noexcept;

  [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }

  /// Whether its name still stands for it.
  [[nodiscard]] bool isPublished() const noexcept;

  /// Removes the name if it still stands for this socket, and closes.
  void close() noexcept;

 private:
  /// How the new name may take its place.
  enum class Place : std::uint8_t { Free, Taken };

  [[nodiscard]] vanto_error_code_t bindIn(int directory, const std::string& file, Access access, Rival rival) noexcept;
  [[nodiscard]] vanto_error_code_t publish(const std::string& file, const std::string& temporary, Access access,
                                           Place place) noexcept;

  void unlinkOwn() const noexcept;

  Fd socket_;
  /// Where it is bound; none where the caller keeps it.
  Fd ownDirectory_;
  int directory_ = -1;
  /// Empty until it is bound.
  std::string file_;
  ino_t inode_ = 0;
};

/// Connects to the socket called `file` in a directory. None with errno; EAGAIN when nobody has taken the connection
/// until `deadline` (as for setTimer(); in the past for not waiting at all).
[[nodiscard]] Fd connectToSocket(int directory, const char* file, std::uint64_t deadline) noexcept;

/// The same for the socket at `path`, of less bytes than an address holds. Symbolic links are followed.
[[nodiscard]] Fd connectToPath(const char* path, std::uint64_t deadline) noexcept;

}  // namespace vanto
