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
    PublicKey key;
    if (data == nullptr || data->length() != key.size()) {
      problem = "Revoked has an element that is no key";
      return std::nullopt;
    }
    std::copy_n(data->bytes().data(), key.size(), key.data());
    revocations.keys.insert(key);
  }
  return revocations;
}

std::string Revocations::bytes() const {
  const Ref<PlistMutableArray> array = PlistMutableArray::create();
  for (const PublicKey& key : keys) array->append(createData(key).get());
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Revoked", array);
  return writeDictionary(*dictionary);
}

}  // namespace vanto::code
