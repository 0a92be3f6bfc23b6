// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustRevokeCommand.h"

#include <optional>
#include <set>

#include "code/KeyName.h"
#include "code/Revocations.h"
#include "vanto/ReplacedFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

code::Digest digestOfFingerprint(const std::string& fingerprint) {
  code::Digest digest;
  for (std::size_t index = 0; index < digest.size(); ++index) {
    digest[index] = static_cast<std::uint8_t>(std::stoi(fingerprint.substr(index * 2, 2), nullptr, 16));
  }
  return digest;
}

/// The fingerprints of the keys that a person means. Of the keys with a name, whichever directory they are in.
std::set<std::string> fingerprintsOf(const std::string& key, const code::TrustStore& store) {
  if (code::isFingerprint(key)) return {key};
  std::set<std::string> fingerprints;
  for (const code::TrustStore::Entry& entry : store.entries()) {
    if (entry.document.name == key) fingerprints.insert(code::fingerprint(entry.document.key));
  }
  return fingerprints;
}

}  // namespace

ExitStatus TrustRevokeCommand::run(Console& console) const {
  const std::set<std::string> fingerprints = fingerprintsOf(key, places.read(console));
  if (fingerprints.empty()) {
    console.complain(visible(key) + ": is no fingerprint, and no key in the trust directories has that name");
    return ExitStatus::Failed;
  }
  if (!places.make(console)) return ExitStatus::Failed;
  const code::TrustDirectory directory = places.readChanged(console);
  if (!directory.isUsable) return ExitStatus::Failed;
  std::string problem;
  code::Revocations revocations;
  if (directory.revocations) {
    const auto before = code::Revocations::read(*directory.revocations, problem);
    if (!before) {
      console.complain(visible(places.fileNamed("revoked")) + ": " + visible(problem));
      return ExitStatus::Failed;
    }
    revocations = *before;
  }
  for (const std::string& fingerprint : fingerprints) revocations.keys.insert(digestOfFingerprint(fingerprint));
  problem = writeFile(places.fileNamed("revoked"), revocations.bytes(), 0644, Existing::Replaced);
  if (!problem.empty()) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  for (const std::string& fingerprint : fingerprints) console.printLine(fingerprint + ": revoked");
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
