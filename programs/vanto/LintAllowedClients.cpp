// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistArray.h>

#include "vanto/LintedBundle.h"
#include "vanto/ValueKind.h"

namespace vanto::tool {
namespace {

constexpr const char* key = "_AllowedClients";

}  // namespace

void lintAllowedClients(LintedBundle& linted) {
  PlistDictionary* dictionary = linted.serviceDictionary();
  Object* value = dictionary == nullptr ? nullptr : dictionary->valueForKey(key);
  if (value == nullptr) return;
  const KeyPath where = LintedBundle::serviceKey(key);
  auto* clients = as<PlistArray>(value);
  if (clients == nullptr) {
    linted.add(Severity::Error, where, std::string("is ") + kindOf(value) + ", so every client is let in",
               "write an array of requirement texts");
    return;
  }
  if (clients->count() == 0) {
    linted.add(Severity::Warning, where, "is empty, so every client is let in",
               "list who may connect, or remove the key to say that all may");
  }
  for (std::size_t index = 0; index < clients->count(); ++index) {
    Object* element = clients->at(index);
    auto* text = as<PlistString>(element);
    if (text == nullptr) {
      linted.add(Severity::Error, where.element(index),
                 std::string("is ") + kindOf(element) + ", so clients that meet none of those before are refused here",
                 "write a requirement text");
    } else if (text->length() == 0) {
      linted.add(Severity::Error, where.element(index), "is empty, which is no requirement",
                 "write a requirement text, or remove the element");
    }
  }
}

}  // namespace vanto::tool
