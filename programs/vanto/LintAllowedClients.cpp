// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include <VantoService/PlistArray.h>
#include <VantoService/vanto_code.h>

#include "value/limits.h"
#include "vanto/LintedBundle.h"
#include "vanto/ValueKind.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr const char* key = "_AllowedClients";

/// One of the objects that a client's judgement makes is its code.
constexpr std::size_t mostRequirements = limits::codeObjectsPerPeer - 1;

void lintRequirement(LintedBundle& linted, const KeyPath& where, const PlistString& text) {
  if (text.text().find('\0') != std::string_view::npos) {
    linted.add(Severity::Error, where, "is no requirement: it holds a NUL", "remove it");
    return;
  }
  const std::unique_ptr<vanto_object, decltype(&vanto_release)> result(
      vanto_code_check_requirement(nullptr, text.utf8()), &vanto_release);
  if (vanto_kind(result.get()) != VANTO_KIND_ERROR) return;
  // What to do comes last, and never repeats the text.
  const std::string mistake = visible(vanto_error_get_text(result.get()));
  const std::size_t end = mistake.rfind("; ");
  linted.add(Severity::Error, where, "is no requirement: " + mistake.substr(0, end), mistake.substr(end + 2));
}

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
  if (clients->count() > mostRequirements) {
    linted.add(Severity::Warning, where,
               "has " + std::to_string(clients->count()) + " requirements, and a client is tried on " +
                   std::to_string(mostRequirements) + " at most",
               "join several with or");
  }
  for (std::size_t index = 0; index < clients->count(); ++index) {
    Object* element = clients->at(index);
    if (auto* text = as<PlistString>(element)) {
      lintRequirement(linted, where.element(index), *text);
    } else {
      linted.add(Severity::Error, where.element(index),
                 std::string("is ") + kindOf(element) + ", so clients that meet none of those before are refused here",
                 "write a requirement text");
    }
  }
}

}  // namespace vanto::tool
