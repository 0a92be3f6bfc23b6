// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/TemporaryDirectory.h"
#include "value/Fd.h"

namespace vanto::testing {

/// What the processes of the escape tests find: files that their profiles give and others, sockets that somebody
/// listens on, and descriptors from before their confinement.
class EscapeScene {
 public:
  EscapeScene();

  /// `name` of a profile without network, processes and execution, "closed", or of one with some of each, "open".
  [[nodiscard]] std::string profile(const std::string& name) const;

  /// In the directory that no profile gives.
  [[nodiscard]] std::string outside(const std::string& name) const { return directory_ / ("outside/" + name); }
  /// In the one that both give: reading, writing, making, removing, renaming.
  [[nodiscard]] std::string own(const std::string& name) const { return directory_ / ("own/" + name); }
  /// In the one that both give for reading.
  [[nodiscard]] std::string readable(const std::string& name) const { return directory_ / ("readable/" + name); }

  /// Tells with its exit status whether the file of its argument "-O" belongs to who it runs as. The profile "open"
  /// allows to execute it.
  [[nodiscard]] std::string setUserIdProgram() const { return directory_ / "gain"; }

  /// Makes what a probe uses up, and opens the descriptors. In each process of a probe, before confinement.
  void prepare();

  int readDescriptor = -1;
  int writeDescriptor = -1;
  int outsideDirectory = -1;
  /// Finding names only.
  int outsidePath = -1;
  int terminal = -1;
  int tcpSocket = -1;
  int udpSocket = -1;
  /// A descriptor of outside/secret waits there.
  int messages = -1;

  [[nodiscard]] std::uint16_t allowedPort() const noexcept { return allowedPort_; }
  [[nodiscard]] std::uint16_t otherPort() const noexcept { return otherPort_; }
  [[nodiscard]] std::string abstractName() const { return directory_.path(); }

 private:
  const test::TemporaryDirectory directory_;
  std::vector<Fd> listeners_;
  std::uint16_t allowedPort_ = 0;
  std::uint16_t otherPort_ = 0;
};

/// What a probe gives where this machine or user has no such way, and the kernel need not be asked.
inline constexpr int noSuchWay = -1;

/// Tries one way out. 0 when it is open, or errno, or noSuchWay.
using EscapeProbe = int (*)(EscapeScene& scene);
using EscapeProbes = std::map<std::string, EscapeProbe>;
/// A row of a table of probes.
using NamedProbe = std::pair<const char*, EscapeProbe>;

[[nodiscard]] EscapeProbes fileProbes();
[[nodiscard]] EscapeProbes processProbes();
[[nodiscard]] EscapeProbes settingProbes();
[[nodiscard]] EscapeProbes sharedProbes();
[[nodiscard]] EscapeProbes socketProbes();
[[nodiscard]] EscapeProbes kernelProbes();

/// True for the error with which a way that is closed ends.
[[nodiscard]] bool isDenial(int error) noexcept;

/// The last generation of Landlock of which this kernel has everything; 0 for none.
[[nodiscard]] int generationOfThisKernel();

inline int outcomeOf(long result) noexcept {
  return result < 0 ? errno : 0;
}

}  // namespace vanto::testing
