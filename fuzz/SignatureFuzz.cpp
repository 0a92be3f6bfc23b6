// SPDX-License-Identifier: Apache-2.0
// Signatures, seals, keys and revocations: what is read is written and then read as the same, and what is refused is
// refused with a reason.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <VantoService/TemporaryScope.h>

#include "code/KeyDocument.h"
#include "code/Revocations.h"
#include "code/Seal.h"
#include "code/SignatureFile.h"

namespace {

using namespace vanto::code;

void require(bool condition) {
  if (!condition) std::abort();
}

void checkSeal(std::string_view bytes) {
  std::string problem;
  const auto seal = Seal::read(bytes, problem);
  if (!seal) return require(!problem.empty());
  for (const auto& [path, resource] : seal->resources) require(isResourcePath(path));
  const auto written = seal->bytes(problem);
  // What was read from a document has no text that a document cannot carry; only tabs can make it too long.
  if (!written) return require(bytes.size() > (std::size_t{64} << 10));
  const auto again = Seal::read(*written, problem);
  require(again && again->bytes(problem) == written && again->resources == seal->resources);
  require(again->executable == seal->executable && again->info == seal->info);
  require(again->entitlements->isEqual(seal->entitlements.get()));
}

template <typename Document>
void checkDocument(std::string_view bytes) {
  std::string problem;
  const auto document = Document::read(bytes, problem);
  if (!document) return require(!problem.empty());
  const std::string written = document->bytes();
  const auto again = Document::read(written, problem);
  require(again && again->bytes() == written);
}

/// The seed of a key is the only secret, so a fuzzer can find a signature only by being given one.
void checkSignature(std::string_view bytes) {
  std::string problem;
  const auto file = SignatureFile::read(bytes, problem);
  require(file || !problem.empty());
  if (file) require(bytes.size() <= (std::size_t{1} << 20) && file->seal.entitlements);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vanto::TemporaryScope scope;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkSignature(bytes);
  checkSeal(bytes);
  checkDocument<PublicKeyDocument>(bytes);
  checkDocument<PrivateKeyDocument>(bytes);
  checkDocument<Revocations>(bytes);
  return 0;
}
