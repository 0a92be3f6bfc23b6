// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/PlistNumber.h>

#include "signing/CodeFacts.h"

namespace vanto::test {

inline const std::string sampleDigest(64, 'a');
inline const std::string sampleFingerprint(64, 'f');

/// One entitlement of each kind.
inline Ref<PlistDictionary> sampleEntitlements() {
  Ref<PlistMutableDictionary> entitlements = PlistMutableDictionary::create();
  const auto set = [&entitlements](const char* key, const Ref<PlistValue>& value) {
    entitlements->setValueForKey(value.get(), PlistString::create(key).get());
  };
  set("yes", Ref<PlistBoolean>::share(PlistBoolean::of(true)));
  set("no", Ref<PlistBoolean>::share(PlistBoolean::of(false)));
  set("text", PlistString::create("a \"b\" \\c"));
  set("empty", PlistString::create(""));
  set("three", PlistNumber::create(3));
  set("zero", PlistNumber::create(0));
  set("half", PlistNumber::create(-0.5));
  set("smallest", PlistNumber::create(INT64_MIN));
  set("list", PlistDictionary::create());
  return entitlements;
}

/// Valid code, "org.vanto.client" by "Vanto", with an entitlement of each kind.
inline CodeFacts validFacts() {
  CodeFacts facts;
  facts.isValid = true;
  facts.identifier = "org.vanto.client";
  facts.digestHex = sampleDigest;
  facts.signerNames = {sampleFingerprint, "Vanto", "Vänto"};
  facts.entitlements = sampleEntitlements();
  return facts;
}

/// The same code, had its signature not verified: everything that it claims is there.
inline CodeFacts invalidFacts() {
  CodeFacts facts = validFacts();
  facts.isValid = false;
  facts.reason = "the executable is not the one that was signed";
  return facts;
}

/// Valid code with nothing to its name.
inline CodeFacts bareFacts() {
  CodeFacts facts;
  facts.isValid = true;
  facts.identifier = "org.vanto.other";
  facts.digestHex = std::string(64, 'b');
  facts.signerNames = {std::string(64, 'e')};
  return facts;
}

}  // namespace vanto::test
