// SPDX-License-Identifier: Apache-2.0
#include "vanto/SignCommand.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include "code/CodePlace.h"
#include "code/KeyDocument.h"
#include "code/OpenedFile.h"
#include "code/SignatureFile.h"
#include "code/Signing.h"
#include "value/Fd.h"
#include "vanto/DocumentForm.h"
#include "vanto/InputFile.h"
#include "vanto/ReplacedFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// The code at a path that a person wants to have signed. None with a reason that names the file.
std::optional<code::CodePlace> placeToSign(const std::string& path, std::string& problem) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return code::CodePlace::ofBundle(path, problem);
  if (const auto bundle = code::CodePlace::ofBundleAround(path)) {
    problem = path + ": is the executable of a bundle; sign the bundle, " + bundle->path;
    return std::nullopt;
  }
  return code::CodePlace::ofFile(path, problem);
}

/// Null with a visible problem.
Ref<PlistDictionary> readEntitlements(const std::string& path, std::string& problem) {
  const std::optional<std::string> bytes = readInput(path, problem);
  if (!bytes) return nullptr;
  const Ref<PlistValue> value = readDocument(*bytes, nameOfInput(path), problem);
  auto* const dictionary = as<PlistDictionary>(value.get());
  if (value && dictionary == nullptr) problem = nameOfInput(path) + ": is no dictionary of entitlements";
  return Ref<PlistDictionary>::share(dictionary);
}

/// `path` is what was to be signed.
std::string lineOf(const std::string& path, const code::CodePlace& place, const code::Defect& defect) {
  return visible(defect.path.empty() ? path : place.pathOf(defect.path)) + ": " + visible(defect.reason);
}

/// Signs, and writes the signature into the directory that was looked at: by its path another could be found there by
/// now. Empty, or a visible problem.
std::string write(const std::string& path, const code::CodePlace& place, const code::Seal& seal,
                  const code::KeyPair& keys) {
  std::string problem;
  const std::optional<std::string> bytes = code::createSignature(seal, keys, problem);
  if (!bytes) return visible(path) + ": cannot be signed: " + visible(problem);
  const std::size_t slash = place.signature.rfind('/');
  const bool isDirectlyThere = slash == std::string::npos;
  const Fd below = isDirectlyThere ? Fd()
                                   : code::openBeneath(place.directory.get(), place.signature.substr(0, slash),
                                                       O_RDONLY | O_DIRECTORY);
  const std::string file = place.pathOf(place.signature);
  if (!isDirectlyThere && !below) return visible(file) + ": cannot be written: " + std::strerror(errno);
  const int directory = isDirectlyThere ? place.directory.get() : below.get();
  return replaceFileIn(directory, place.signature.substr(slash + 1), *bytes, file);
}

}  // namespace

ExitStatus SignCommand::run(Console& console) const {
  std::string problem;
  const auto document = code::PrivateKeyDocument::readFile(key, problem);
  const auto place = document ? placeToSign(path, problem) : std::nullopt;
  if (!place) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  code::SealWishes wishes{identifier, nullptr};
  if (!entitlements.empty()) wishes.entitlements = readEntitlements(entitlements, problem);
  if (!entitlements.empty() && !wishes.entitlements) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  std::vector<code::Defect> defects;
  const std::optional<code::Seal> seal = code::createSeal(*place, wishes, defects);
  for (const code::Defect& defect : defects) console.complain(lineOf(path, *place, defect));
  if (!seal) return ExitStatus::Failed;
  problem = write(path, *place, *seal, document->keys);
  if (!problem.empty()) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  console.printLine(visible(path) + ": signed as " + visible(seal->identifier) + " by " + visible(document->name) +
                    " (" + code::fingerprint(document->keys.publicKey) + ")");
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
