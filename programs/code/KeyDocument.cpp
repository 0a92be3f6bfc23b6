// SPDX-License-Identifier: Apache-2.0
#include "code/KeyDocument.h"

#include <fcntl.h>
#include <unistd.h>

#include "code/Fields.h"
#include "code/KeyName.h"
#include "code/OpenedFile.h"
#include "code/limits.h"

namespace vanto::code {
namespace {

void takeName(Fields& fields, std::string& name) {
  if (fields.takeText("Name", name) && !isKeyName(name)) fields.fail("Name", "is no name for a key");
}

}  // namespace

std::optional<PrivateKeyDocument> PrivateKeyDocument::read(std::string_view bytes, std::string& problem) {
  const Ref<PlistDictionary> dictionary = readDictionary(bytes, problem);
  if (!dictionary) return std::nullopt;
  Fields fields(*dictionary);
  PrivateKeyDocument document{};
  fields.takeBytes("PrivateKey", document.keys.seed);
  fields.takeBytes("PublicKey", document.keys.publicKey);
  takeName(fields, document.name);
  problem = fields.problem();
  if (!problem.empty()) return std::nullopt;
  if (publicKeyOf(document.keys.seed) == document.keys.publicKey) return document;
  problem = "PublicKey does not belong to PrivateKey";
  return std::nullopt;
}

std::optional<PrivateKeyDocument> PrivateKeyDocument::readFile(const std::string& path, std::string& problem) {
  FileRules rules{limits::keyFileBytes, 077, {geteuid()}};
  if (geteuid() == 0) rules.owners.clear();
  const OpenedFile file = OpenedFile::open(AT_FDCWD, path.c_str(), FileLinks::Followed, rules);
  std::optional<PrivateKeyDocument> document;
  if (file.contents) document = read(*file.contents, problem);
  if (!document) problem = path + ": " + (file.contents ? problem : file.problem);
  return document;
}

std::string PrivateKeyDocument::bytes() const {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Name", PlistString::create(name));
  setField(*dictionary, "PrivateKey", createData(keys.seed));
  setField(*dictionary, "PublicKey", createData(keys.publicKey));
  return writeDictionary(*dictionary);
}

std::string successionMessage(const PublicKey& successor) {
  return "VantoSuccessor1\n" + std::string(reinterpret_cast<const char*>(successor.data()), successor.size());
}

std::optional<PublicKeyDocument> PublicKeyDocument::read(std::string_view bytes, std::string& problem) {
  const Ref<PlistDictionary> dictionary = readDictionary(bytes, problem);
  if (!dictionary) return std::nullopt;
  Fields fields(*dictionary);
  PublicKeyDocument document;
  fields.takeBytes("PublicKey", document.key);
  takeName(fields, document.name);
  Succession succession;
  const bool hasPredecessor = fields.takeBytes("Predecessor", succession.predecessor, Fields::Need::Optional);
  const auto need = hasPredecessor ? Fields::Need::Required : Fields::Need::Optional;
  const bool hasSignature = fields.takeBytes("Signature", succession.signature, need);
  if (hasSignature && !hasPredecessor) fields.fail("Predecessor", "is missing");
  problem = fields.problem();
  if (!problem.empty()) return std::nullopt;
  if (!hasPredecessor) return document;
  document.succession = succession;
  if (isSignedBy(succession.predecessor, successionMessage(document.key), succession.signature)) return document;
  problem = "Signature is not by Predecessor";
  return std::nullopt;
}

std::string PublicKeyDocument::bytes() const {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Name", PlistString::create(name));
  setField(*dictionary, "PublicKey", createData(key));
  if (succession) {
    setField(*dictionary, "Predecessor", createData(succession->predecessor));
    setField(*dictionary, "Signature", createData(succession->signature));
  }
  return writeDictionary(*dictionary);
}

}  // namespace vanto::code
