// SPDX-License-Identifier: Apache-2.0
#include "sandbox/OwnNeeds.h"

#include <array>

#include <unistd.h>

#include "ipc/Domain.h"
#include "ipc/SocketName.h"
#include "process/ProcessInformation.h"
#include "sandbox/Landlock.h"
#include "value/limits.h"

namespace vanto {
namespace {

constexpr const char* systemLog = "/dev/log";
constexpr const char* roleAccountPolicy = "/Library/Preferences/org.vanto.security.vanto.plist";
constexpr const char* codeSigningService = "org.vanto.vexd";

/// The path of an open directory; empty when it has none.
std::string pathOf(const Fd& directory) {
  if (!directory) return {};
  std::array<char, limits::profilePathBytes + 1> path;
  const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(directory.get())).c_str(), path.data(), path.size());
  return size > 0 ? std::string(path.data(), static_cast<std::size_t>(size)) : std::string();
}

void addListening(std::string_view identifier, std::vector<PlannedPath>& needs) {
  const std::string file = socketFileName(identifier);
  const std::string directory = file.empty() ? std::string() : pathOf(openOrCreateUserDomain());
  if (directory.empty()) return;
  // No more than sockets: other files there are the manager's. To be opened for the lock of the directory it must be
  // listed.
  needs.push_back({directory, landlock::readDirectory | landlock::makeSocket | landlock::removeFile});
  // Whether somebody listens there.
  needs.push_back({directory + '/' + file, landlock::resolveUnix});
}

}  // namespace

std::vector<PlannedPath> ownNeedsOf(std::string_view identifier, ListeningSocket socket) {
  std::vector<PlannedPath> needs{{systemLog, landlock::resolveUnix}, {roleAccountPolicy, landlock::readFile}};
  for (const Domain domain : domainsInOrder) {
    const std::string directory = pathOf(openDomain(domain));
    if (!directory.empty()) needs.push_back({directory + '/' + codeSigningService, landlock::resolveUnix});
  }
  // Whose a client is, where only /proc tells. Nobody knows yet which clients there will be.
  if (!hasProcessInformation()) needs.push_back({"/proc", landlock::readFile});
  if (socket == ListeningSocket::Made) addListening(identifier, needs);
  return needs;
}

}  // namespace vanto
