// SPDX-License-Identifier: Apache-2.0
#include "signing/CodeDictionary.h"

#include <array>
#include <charconv>
#include <string_view>

#include <VantoService/PropertyList.h>

#include "signing/DigestText.h"

namespace vanto {

namespace {

/// Sets a value that was made for it.
void set(vanto_object_t dictionary, const char* key, vanto_object_t value) {
  vanto_dictionary_set_value(dictionary, key, value);
  vanto_release(value);
}

vanto_object_t createText(std::string_view text) {
  return vanto_string_create_with_length(text.data(), text.size());
}

vanto_object_t createDigest(std::string_view hex) {
  std::array<std::uint8_t, digestBytes> bytes{};
  for (std::size_t i = 0; i < bytes.size() && 2 * i + 2 <= hex.size(); ++i) {
    std::from_chars(hex.data() + 2 * i, hex.data() + 2 * i + 2, bytes[i], 16);
  }
  return vanto_data_create(bytes.data(), bytes.size());
}

/// The names behind the fingerprint.
vanto_object_t createNames(const std::vector<std::string>& signers) {
  const vanto_object_t names = vanto_array_create(nullptr, 0);
  for (std::size_t i = 1; i < signers.size(); ++i) {
    const vanto_object_t name = createText(signers[i]);
    vanto_array_append_value(names, name);
    vanto_release(name);
  }
  return names;
}

}  // namespace

vanto_object_t createEntitlementsData(const CodeFacts& facts) {
  const Ref<PlistData> list = facts.entitlements ? createPropertyListXML(*facts.entitlements) : Ref<PlistData>();
  return list ? vanto_data_create(list->bytes().data(), list->bytes().size()) : nullptr;
}

vanto_object_t createCodeDictionary(const CodeFacts& facts) {
  const vanto_object_t dictionary = vanto_dictionary_create(nullptr, nullptr, 0);
  set(dictionary, "status", vanto_int64_create(0));
  set(dictionary, "valid", vanto_bool_create(facts.isValid));
  set(dictionary, "digest", createDigest(facts.digestHex));
  set(dictionary, "device", vanto_int64_create(facts.device));
  set(dictionary, "inode", vanto_int64_create(facts.inode));
  if (facts.isValid) {
    set(dictionary, "identifier", createText(facts.identifier));
    set(dictionary, "fingerprint", createText(facts.signerNames.front()));
    set(dictionary, "signers", createNames(facts.signerNames));
    set(dictionary, "entitlements", createEntitlementsData(facts));
  } else {
    set(dictionary, "reason", createText(facts.reason));
  }
  return dictionary;
}

vanto_object_t createFindings(const Requirement& requirement, const CodeFacts& facts) {
  const vanto_object_t terms = vanto_array_create(nullptr, 0);
  for (const Requirement::Finding& finding : requirement.findings(facts)) {
    const vanto_object_t term = vanto_dictionary_create(nullptr, nullptr, 0);
    set(term, "text", createText(finding.text));
    set(term, "holds", vanto_bool_create(finding.holds));
    vanto_array_append_value(terms, term);
    vanto_release(term);
  }
  const vanto_object_t dictionary = vanto_dictionary_create(nullptr, nullptr, 0);
  set(dictionary, "satisfied", vanto_bool_create(requirement.isSatisfiedBy(facts)));
  set(dictionary, "terms", terms);
  return dictionary;
}

}  // namespace vanto
