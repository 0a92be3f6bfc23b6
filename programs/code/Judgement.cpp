// SPDX-License-Identifier: Apache-2.0
#include "code/Judgement.h"

namespace vanto::code {
namespace {

CodeJudgement refused(std::string reason) {
  CodeJudgement judgement;
  judgement.reason = std::move(reason);
  return judgement;
}

void compareInfo(const Seal& seal, const CodeEvidence& evidence, std::vector<std::string>& differences) {
  if (!evidence.info || !seal.info) {
    if (evidence.info) differences.emplace_back("the signature is that of a single executable, and this is a bundle");
    if (seal.info) differences.emplace_back("the signature is that of a bundle, and this is a single executable");
    return;
  }
  const std::optional<Digest> info = digestOf(*evidence.info);
  if (!info || *info != *seal.info) differences.emplace_back("the Info dictionary was changed");
  if (evidence.identifier != seal.identifier) differences.emplace_back("the identifier is not the signed one");
}

}  // namespace

std::vector<std::string> differencesFrom(const Seal& seal, const CodeEvidence& evidence) {
  std::vector<std::string> differences;
  if (evidence.executableName != seal.executableName) differences.emplace_back("the executable was renamed");
  if (!evidence.executable) {
    differences.emplace_back("the executable cannot be read");
  } else if (*evidence.executable != seal.executable) {
    differences.emplace_back("the executable was changed");
  }
  compareInfo(seal, evidence, differences);
  return differences;
}

std::string distrustOf(const PublicKey& key, const TrustStore& trust) {
  switch (trust.standing(key)) {
    case KeyStanding::Trusted:
      return {};
    case KeyStanding::Revoked:
      return "the key " + fingerprint(key) + " is revoked";
    case KeyStanding::Withheld:
      return "no key is trusted while it is not known which are revoked: " + trust.doubt();
    case KeyStanding::Unknown:
      break;
  }
  return "the key " + fingerprint(key) + " is not trusted";
}

CodeJudgement judge(const CodeEvidence& evidence, const TrustStore& trust) {
  if (!evidence.signature) return refused("it is not signed");
  std::string problem;
  const std::optional<SignatureFile> file = SignatureFile::read(*evidence.signature, problem);
  if (!file) return refused("the signature " + problem);
  if (std::string reason = distrustOf(file->key, trust); !reason.empty()) return refused(std::move(reason));
  const std::vector<std::string> differences = differencesFrom(file->seal, evidence);
  if (!differences.empty()) return refused(differences.front());
  return {true, {}, file->seal.identifier, fingerprint(file->key), trust.names(file->key), file->seal.entitlements};
}

}  // namespace vanto::code
