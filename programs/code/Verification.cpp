// SPDX-License-Identifier: Apache-2.0
#include "code/Verification.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>

#include "code/Judgement.h"
#include "code/OpenedFile.h"
#include "code/SignatureFile.h"
#include "code/Signing.h"
#include "code/limits.h"

namespace vanto::code {
namespace {

/// The signature of the code. None with a defect.
std::optional<SignatureFile> readSignature(const CodePlace& place, std::vector<Defect>& defects) {
  const Fd file = openBeneath(place.directory.get(), place.signature, O_RDONLY);
  const int error = file ? 0 : errno;
  std::string problem = error == ELOOP ? "is a symbolic link" : std::strerror(error);
  if (error == ENOENT) {
    defects.push_back({{}, "it is not signed"});
    return std::nullopt;
  }
  OpenedFile opened;
  if (file) opened = OpenedFile::read(file.get(), {limits::signatureBytes, 0, {}});
  std::optional<SignatureFile> signature;
  if (opened.contents) {
    signature = SignatureFile::read(*opened.contents, problem);
  } else if (file) {
    problem = opened.problem;
  }
  if (!signature) defects.push_back({place.signature, problem});
  return signature;
}

void compareCode(const CodePlace& place, const Seal& seal, std::vector<Defect>& defects) {
  const std::string name = place.executableName();
  std::string problem;
  CodeEvidence evidence;
  evidence.executableName = name;
  evidence.executable = digestOfExecutable(place, problem);
  if (place.isBundle()) {
    evidence.info = place.infoBytes;
    evidence.identifier = place.identifier;
  }
  for (std::string& difference : differencesFrom(seal, evidence)) defects.push_back({{}, std::move(difference)});
}

std::string changeOf(const SealedResource& sealed, const SealedResource& found) {
  const auto* const target = std::get_if<LinkTarget>(&found);
  if (sealed.index() == found.index()) return target != nullptr ? "leads elsewhere: " + target->path : "was changed";
  return target != nullptr ? "was replaced by a symbolic link" : "was a symbolic link and is a file";
}

void compareResources(const SealedResources& sealed, const BundleFiles& files, std::vector<Defect>& defects) {
  // What could not be looked at has its defect already.
  std::vector<std::string> unread;
  for (const Defect& defect : files.defects) {
    defects.push_back(defect);
    unread.push_back(defect.path);
  }
  if (!files.isWhole) return;
  for (const auto& [path, resource] : sealed) {
    const auto found = files.resources.find(path);
    const bool isUnread = std::find(unread.begin(), unread.end(), path) != unread.end();
    if (found == files.resources.end()) {
      if (!isUnread) defects.push_back({path, "is missing"});
    } else if (found->second != resource) {
      defects.push_back({path, changeOf(resource, found->second)});
    }
  }
  for (const auto& [path, resource] : files.resources) {
    if (!sealed.contains(path)) defects.push_back({path, "was added"});
  }
}

}  // namespace

VerifyResult verifyCode(const CodePlace& place, const TrustStore& trust) {
  VerifyResult result;
  const std::optional<SignatureFile> signature = readSignature(place, result.defects);
  if (!signature) return result;
  result.identifier = signature->seal.identifier;
  result.fingerprint = fingerprint(signature->key);
  result.entitlements = signature->seal.entitlements;
  if (std::string reason = distrustOf(signature->key, trust); !reason.empty()) {
    result.defects.push_back({{}, std::move(reason)});
  } else {
    result.signers = trust.names(signature->key);
  }
  compareCode(place, signature->seal, result.defects);
  if (place.isBundle()) compareResources(signature->seal.resources, BundleFiles::of(place), result.defects);
  return result;
}

}  // namespace vanto::code
