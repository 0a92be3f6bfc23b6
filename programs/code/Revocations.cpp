// SPDX-License-Identifier: Apache-2.0
#include "code/Revocations.h"

#include <algorithm>

#include <VantoService/PlistArray.h>

#include "code/Fields.h"

namespace vanto::code {

std::optional<Revocations> Revocations::read(std::string_view bytes, std::string& problem) {
  const Ref<PlistDictionary> dictionary = readDictionary(bytes, problem);
  if (!dictionary) return std::nullopt;
  Fields fields(*dictionary);
  const auto* const array = fields.take<PlistArray>("Revoked");
  problem = fields.problem();
  if (!problem.empty()) return std::nullopt;
  Revocations revocations;
  for (Object* const element : array->elements()) {
    const auto* const data = as<PlistData>(element);
    Digest key;
    if (data == nullptr || data->length() != key.size()) {
      problem = "Revoked has an element that is no key";
      return std::nullopt;
    }
    std::copy_n(data->bytes().data(), key.size(), key.data());
    revocations.keys.insert(key);
  }
  return revocations;
}

bool Revocations::contain(const PublicKey& key) const {
  if (keys.empty()) return false;
  const std::optional<Digest> digest = digestOf({reinterpret_cast<const char*>(key.data()), key.size()});
  return !digest || keys.contains(*digest) || keys.contains(key);
}

std::string Revocations::bytes() const {
  const Ref<PlistMutableArray> array = PlistMutableArray::create();
  for (const Digest& key : keys) array->append(createData(key).get());
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Revoked", array);
  return writeDictionary(*dictionary);
}

}  // namespace vanto::code
