// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustAddCommand.h"

#include <optional>

#include "code/KeyDocument.h"
#include "vanto/InputFile.h"
#include "vanto/ReplacedFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::optional<code::PublicKeyDocument> readPublicKey(const std::string& path, std::string& problem) {
  const std::optional<std::string> bytes = readInput(path, problem);
  if (!bytes) return std::nullopt;
  std::optional<code::PublicKeyDocument> document = code::PublicKeyDocument::read(*bytes, problem);
  if (document) return document;
  std::string ignored;
  const bool isPrivate = code::PrivateKeyDocument::read(*bytes, ignored).has_value();
  problem = nameOfInput(path) + ": " +
            (isPrivate ? "is a private key; vanto key public prints what is to be trusted"
                       : "is no public key: " + visible(problem));
  return std::nullopt;
}

/// The document under the name in the directory, if there is one.
std::optional<code::PublicKeyDocument> known(const code::TrustDirectory& directory, const std::string& name) {
  std::string ignored;
  for (const code::TrustDirectory::File& file : directory.keys) {
    if (file.name == name) return code::PublicKeyDocument::read(file.bytes, ignored);
  }
  return std::nullopt;
}

/// Why a key that lies there is not trusted.
const char* reasonFor(code::KeyStanding standing) noexcept {
  if (standing == code::KeyStanding::Revoked) return "the key is revoked";
  return standing == code::KeyStanding::Withheld ? "no key is trusted now" : "its predecessor is not trusted";
}

}  // namespace

ExitStatus TrustAddCommand::run(Console& console) const {
  std::string problem;
  const auto document = readPublicKey(file, problem);
  if (!document) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  if (!places.make(console)) return ExitStatus::Failed;
  const code::TrustDirectory directory = places.readChanged(console);
  if (!directory.isUsable) return ExitStatus::Failed;
  const auto before = known(directory, document->name);
  const bool isThere = before && before->bytes() == document->bytes();
  const std::string path = places.fileNamed(document->name);
  if (!isThere) problem = writeFile(path, document->bytes(), 0644, Existing::Kept);
  if (!isThere && !problem.empty()) {
    console.complain(problem + "; vanto trust remove takes away what has the name");
    return ExitStatus::Failed;
  }
  const code::TrustStore store = places.read(console);
  if (store.standing(document->key) == code::KeyStanding::Trusted) {
    console.printLine(visible(path) + ": trusted: " + visible(document->name) + " (" +
                      code::fingerprint(document->key) + ")");
    return ExitStatus::Fine;
  }
  console.complain(visible(path) + ": added, but " + reasonFor(store.standing(document->key)));
  return ExitStatus::Found;
}

}  // namespace vanto::tool
