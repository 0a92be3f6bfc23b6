// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeySucceedCommand.h"

#include <optional>

#include <fcntl.h>

#include "code/KeyDocument.h"
#include "code/OpenedFile.h"
#include "code/limits.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// The public key in a file of either sort. None with a reason that names the file.
std::optional<code::PublicKeyDocument> readEither(const std::string& path, std::string& problem) {
  const auto file =
      code::OpenedFile::open(AT_FDCWD, path.c_str(), code::FileLinks::Followed, {code::limits::keyFileBytes, 0, {}});
  std::optional<code::PublicKeyDocument> document;
  if (file.contents) document = code::PublicKeyDocument::read(*file.contents, problem);
  if (document) return code::PublicKeyDocument{document->key, document->name, {}};
  const auto whole = code::PrivateKeyDocument::readFile(path, problem);
  if (!whole) return std::nullopt;
  return code::PublicKeyDocument{whole->keys.publicKey, whole->name, {}};
}

}  // namespace

ExitStatus KeySucceedCommand::run(Console& console) const {
  std::string problem;
  const auto predecessor = code::PrivateKeyDocument::readFile(oldFile, problem);
  auto successor = predecessor ? readEither(newFile, problem) : std::nullopt;
  if (successor && successor->key == predecessor->keys.publicKey) {
    problem = newFile + ": is the same key, which cannot succeed itself";
    successor.reset();
  }
  std::optional<code::SignatureBytes> signature;
  if (successor) {
    problem = "the cryptographic library cannot sign";
    signature = code::signMessage(predecessor->keys.seed, code::successionMessage(successor->key));
  }
  if (!signature) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  successor->succession = code::Succession{predecessor->keys.publicKey, *signature};
  console.print(visibleXml(successor->bytes()));
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
