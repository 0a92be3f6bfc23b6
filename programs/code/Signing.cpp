// SPDX-License-Identifier: Apache-2.0
#include "code/Signing.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "code/OpenedFile.h"
#include "value/limits.h"

namespace vanto::code {
namespace {

/// The identifier that is wished for. Empty with a defect.
std::string wantedIdentifierOf(const CodePlace& place, const SealWishes& wishes, std::vector<Defect>& defects) {
  if (!place.isBundle()) return wishes.identifier.empty() ? place.executableName() : wishes.identifier;
  if (place.identifier.empty()) {
    defects.push_back({place.info, "has no KorBundleIdentifier"});
  } else if (!wishes.identifier.empty() && wishes.identifier != place.identifier) {
    defects.push_back({place.info, "has the identifier " + place.identifier + ", which a signature cannot change"});
  }
  return place.identifier;
}

/// The identifier that the seal is to have; one that nobody would believe is a defect.
std::string identifierOf(const CodePlace& place, const SealWishes& wishes, std::vector<Defect>& defects) {
  std::string identifier = wantedIdentifierOf(place, wishes, defects);
  if (identifier.size() > vanto::limits::codeTextBytes) {
    const std::string most = std::to_string(vanto::limits::codeTextBytes);
    defects.push_back({place.info, "has an identifier of more than " + most + " bytes, which no service takes"});
  }
  return identifier;
}

}  // namespace

std::optional<Digest> digestOfExecutable(const CodePlace& place, std::string& problem) {
  problem = "names no executable";
  if (place.executable.empty()) return std::nullopt;
  const Fd file = openBeneath(place.directory.get(), place.executable, O_RDONLY);
  struct stat status;
  if (!file || fstat(file.get(), &status) != 0) {
    problem = errno == ELOOP ? "is a symbolic link, which cannot be signed for what it leads to"
                             : std::string("cannot be opened: ") + std::strerror(errno);
    return std::nullopt;
  }
  problem = "is no regular file";
  return S_ISREG(status.st_mode) ? digestOfFile(file.get(), problem) : std::nullopt;
}

std::optional<Seal> createSeal(const CodePlace& place, const SealWishes& wishes, std::vector<Defect>& defects) {
  const std::size_t before = defects.size();
  Seal seal;
  seal.identifier = identifierOf(place, wishes, defects);
  seal.executableName = place.executableName();
  std::string problem;
  const std::optional<Digest> executable = digestOfExecutable(place, problem);
  if (executable) {
    seal.executable = *executable;
  } else {
    defects.push_back({place.executable.empty() ? place.info : place.executable, problem});
  }
  if (place.isBundle()) {
    seal.info = digestOf(place.infoBytes);
    if (!seal.info) defects.push_back({place.info, "the cryptographic library cannot digest"});
    BundleFiles files = BundleFiles::of(place);
    seal.resources = std::move(files.resources);
    defects.insert(defects.end(), files.defects.begin(), files.defects.end());
  }
  seal.entitlements = wishes.entitlements ? wishes.entitlements : PlistDictionary::create();
  if (defects.size() != before) return std::nullopt;
  return seal;
}

}  // namespace vanto::code
