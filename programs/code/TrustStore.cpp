// SPDX-License-Identifier: Apache-2.0
#include "code/TrustStore.h"

#include "code/limits.h"

namespace vanto::code {

void TrustStore::add(const TrustDirectory& directory) {
  problems_.insert(problems_.end(), directory.problems.begin(), directory.problems.end());
  revoke(directory);
  if (directory.isUsable) addKeys(directory);
  follow();
}

void TrustStore::revoke(const TrustDirectory& directory) {
  std::string doubt = directory.doubt;
  if (directory.revocations) {
    std::string problem;
    const std::optional<Revocations> revocations = Revocations::read(*directory.revocations, problem);
    if (revocations) revoked_.keys.insert(revocations->keys.begin(), revocations->keys.end());
    if (!revocations) doubt = "revoked.plist " + problem;
  }
  if (doubt.empty()) return;
  doubt = directory.path + ": " + doubt;
  problems_.push_back(doubt + "; what it revokes is not known, so no key of any directory is trusted");
  if (doubt_.empty()) doubt_ = std::move(doubt);
}

void TrustStore::addKeys(const TrustDirectory& directory) {
  for (const TrustDirectory::File& file : directory.keys) {
    std::string problem;
    std::optional<PublicKeyDocument> document = PublicKeyDocument::read(file.bytes, problem);
    if (document && document->name != file.name) problem = "its Name is not that of the file";
    if (document && document->name == file.name) {
      entries_.push_back({directory.path, std::move(*document)});
    } else {
      problems_.push_back(directory.path + "/" + file.name + ".plist: " + problem);
    }
  }
}

std::set<PublicKey> TrustStore::successorsOf(const std::set<PublicKey>& keys) const {
  std::set<PublicKey> successors;
  for (const Entry& entry : entries_) {
    const auto& succession = entry.document.succession;
    const PublicKey& key = entry.document.key;
    if (!succession || trusted_.contains(key) || !keys.contains(succession->predecessor)) continue;
    if (!revoked_.contain(key)) successors.insert(key);
  }
  return successors;
}

/// Finds the trusted keys anew: revocations of one directory count for all.
void TrustStore::follow() {
  trusted_.clear();
  if (!doubt_.empty()) return;
  std::set<PublicKey> latest;
  for (const Entry& entry : entries_) {
    if (!entry.document.succession && !revoked_.contain(entry.document.key)) latest.insert(entry.document.key);
  }
  for (std::size_t step = 0; !latest.empty(); ++step) {
    for (const PublicKey& key : latest) trusted_[key];
    if (step == limits::successors) break;
    latest = successorsOf(latest);
  }
  shareNames();
}

void TrustStore::shareNames() {
  for (const Entry& entry : entries_) {
    const auto trusted = trusted_.find(entry.document.key);
    if (trusted != trusted_.end()) trusted->second.insert(entry.document.name);
  }
  for (std::size_t step = 0; step < limits::successors; ++step) {
    for (const Entry& entry : entries_) {
      const auto& succession = entry.document.succession;
      const auto successor = trusted_.find(entry.document.key);
      const auto predecessor = succession ? trusted_.find(succession->predecessor) : trusted_.end();
      if (successor == trusted_.end() || predecessor == trusted_.end() || successor == predecessor) continue;
      const std::set<std::string> names = predecessor->second;
      successor->second.insert(names.begin(), names.end());
    }
  }
}

KeyStanding TrustStore::standing(const PublicKey& key) const {
  if (revoked_.contain(key)) return KeyStanding::Revoked;
  if (!doubt_.empty()) return KeyStanding::Withheld;
  return trusted_.contains(key) ? KeyStanding::Trusted : KeyStanding::Unknown;
}

std::vector<std::string> TrustStore::names(const PublicKey& key) const {
  const auto found = trusted_.find(key);
  if (found == trusted_.end()) return {};
  std::vector<std::string> names{fingerprint(key)};
  names.insert(names.end(), found->second.begin(), found->second.end());
  return names;
}

}  // namespace vanto::code
