// SPDX-License-Identifier: Apache-2.0
#include "code/SignatureFile.h"

#include "code/Fields.h"
#include "code/limits.h"

namespace vanto::code {
namespace {

/// Keeps what was signed here from being taken for anything else that the key signs.
std::string messageOf(std::string_view seal) {
  return "VantoSeal1\n" + std::string(seal);
}

std::string fileOf(std::string_view seal, const PublicKey& key, const SignatureBytes& signature) {
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Key", createData(key));
  setField(*dictionary, "Seal", createData({reinterpret_cast<const std::uint8_t*>(seal.data()), seal.size()}));
  setField(*dictionary, "Signature", createData(signature));
  return writeDictionary(*dictionary);
}

}  // namespace

std::optional<SignatureFile> SignatureFile::read(std::string_view bytes, std::string& problem) {
  problem = "is larger than 1 MiB";
  if (bytes.size() > limits::signatureBytes) return std::nullopt;
  const Ref<PlistDictionary> dictionary = readDictionary(bytes, problem);
  if (!dictionary) return std::nullopt;
  Fields fields(*dictionary);
  SignatureFile file;
  SignatureBytes signature;
  fields.takeBytes("Key", file.key);
  fields.takeBytes("Signature", signature);
  const auto* const data = fields.take<PlistData>("Seal");
  problem = fields.problem();
  if (!problem.empty()) return std::nullopt;
  const std::string_view seal(reinterpret_cast<const char*>(data->bytes().data()), data->length());
  problem = "was changed: its bytes are not those that signing writes";
  // Nothing in the file can then differ without a reader that minds.
  if (fileOf(seal, file.key, signature) != bytes) return std::nullopt;
  problem = "was changed: it is not by the key that it names";
  if (!isSignedBy(file.key, messageOf(seal), signature)) return std::nullopt;
  std::optional<Seal> read = Seal::read(seal, problem);
  if (!read) {
    problem = "its seal is none: " + problem;
    return std::nullopt;
  }
  file.seal = std::move(*read);
  problem.clear();
  return file;
}

std::optional<std::string> createSignature(const Seal& seal, const KeyPair& keys, std::string& problem) {
  const std::optional<std::string> bytes = seal.bytes(problem);
  if (!bytes) return std::nullopt;
  const std::optional<SignatureBytes> signature = signMessage(keys.seed, messageOf(*bytes));
  problem = "the cryptographic library cannot sign";
  if (!signature) return std::nullopt;
  std::string file = fileOf(*bytes, keys.publicKey, *signature);
  problem = "the signature would have more than 1 MiB, for " + std::to_string(seal.resources.size()) + " resources";
  if (file.size() > limits::signatureBytes) return std::nullopt;
  problem.clear();
  return file;
}

}  // namespace vanto::code
