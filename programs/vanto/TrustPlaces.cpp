// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustPlaces.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr mode_t modeOfUser = 0700;
constexpr mode_t modeOfSystem = 0755;

/// 0, or errno. What is above the directory gets the permissions of other directories.
int makeDirectories(const std::string& path, mode_t mode) {
  if (mkdir(path.c_str(), mode) == 0 || errno == EEXIST) return 0;
  const std::size_t slash = path.rfind('/');
  if (errno != ENOENT || slash == path.npos || slash == 0) return errno;
  if (const int error = makeDirectories(path.substr(0, slash), modeOfSystem); error != 0) return error;
  return mkdir(path.c_str(), mode) == 0 ? 0 : errno;
}

code::TrustOwner ownerOf(bool isSystem) noexcept {
  return isSystem ? code::TrustOwner::Administrator : code::TrustOwner::User;
}

}  // namespace

code::TrustStore TrustPlaces::read(Console& console) const {
  code::TrustStore store;
  if (instead.empty()) {
    store.add(code::TrustDirectory::read(system, ownerOf(true)));
    if (!user.empty()) store.add(code::TrustDirectory::read(user, ownerOf(false)));
  }
  for (const std::string& path : instead) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) console.complain(visible(path) + ": " + std::strerror(errno));
    store.add(code::TrustDirectory::read(path, code::TrustOwner::Either));
  }
  for (const std::string& problem : store.problems()) console.complain(visible(problem));
  return store;
}

code::TrustDirectory TrustPlaces::readChanged(Console& console) const {
  code::TrustDirectory directory = code::TrustDirectory::read(changed(), ownerOf(isSystem));
  for (const std::string& problem : directory.problems) console.complain(visible(problem));
  if (!directory.doubt.empty()) console.complain(visible(directory.path + ": " + directory.doubt));
  return directory;
}

bool TrustPlaces::make(Console& console) const {
  if (changed().empty()) {
    console.complain("there is no HOME to keep trusted keys in; --system keeps them for the machine");
    return false;
  }
  const int error = makeDirectories(changed(), isSystem ? modeOfSystem : modeOfUser);
  if (error != 0) console.complain(visible(changed()) + ": cannot be made: " + std::strerror(error));
  return error == 0;
}

std::string TrustPlaces::fileNamed(std::string_view name) const {
  return changed() + "/" + std::string(name) + ".plist";
}

std::string describeSigner(const std::vector<std::string>& signers, const std::string& fingerprint) {
  std::string names;
  for (const std::string& name : signers) {
    if (name != fingerprint) names += (names.empty() ? "" : ", ") + visible(name);
  }
  return names.empty() ? fingerprint : names + " (" + fingerprint + ")";
}

}  // namespace vanto::tool
