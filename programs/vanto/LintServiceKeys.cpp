// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include <VantoService/PlistNumber.h>

#include "vanto/KeySuggestion.h"
#include "vanto/LintedBundle.h"
#include "vanto/ValueKind.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr std::string_view infoKeys[] = {"KorBundleIdentifier", "KorBundleExecutable", "VantoService"};
constexpr std::string_view serviceKeys[] = {"ServiceType",        "JoinExistingSession", "EnvironmentVariables",
                                            "RunLoopType",        "_SandboxProfile",     "_UseQelApplicationMain",
                                            "_MultipleInstances", "_RoleAccount",        "_AllowedClients"};
constexpr std::string_view keysForOthers[] = {"JoinExistingSession", "EnvironmentVariables", "_RoleAccount"};

constexpr std::string_view serviceTypes[] = {"User", "Session", "System"};
constexpr std::string_view runLoopTypes[] = {"dispatch_main", "QelRunLoop", "_QelApplicationMain"};

bool isOneOf(std::string_view text, std::span<const std::string_view> words) noexcept {
  return std::find(words.begin(), words.end(), text) != words.end();
}

std::string listOf(std::span<const std::string_view> words) {
  std::string text;
  for (std::size_t index = 0; index < words.size(); ++index) {
    if (index != 0) text += index + 1 == words.size() ? " or " : ", ";
    text += words[index];
  }
  return text;
}

/// "write X" where X is what was meant, else `otherwise`.
std::string remedyFor(std::string_view given, std::span<const std::string_view> words, const std::string& otherwise) {
  const std::string_view meant = suggestedKey(given, words);
  return meant.empty() ? otherwise : "write " + std::string(meant);
}

/// A key whose value is one of some words, and what stands in for any other.
void lintWord(LintedBundle& linted, const char* key, std::span<const std::string_view> words, const char* otherwise) {
  Object* value = linted.serviceDictionary()->valueForKey(key);
  if (value == nullptr) return;
  auto* text = as<PlistString>(value);
  const KeyPath where = LintedBundle::serviceKey(key);
  if (text == nullptr) {
    linted.add(Severity::Warning, where, std::string("is ") + kindOf(value) + ", so " + otherwise,
               "write the string " + listOf(words));
  } else if (!isOneOf(text->text(), words)) {
    linted.add(Severity::Warning, where, '"' + visible(text->text()) + "\" is unknown, so " + otherwise,
               remedyFor(text->text(), words, "write " + listOf(words)));
  }
}

void lintBoolean(LintedBundle& linted, const char* key, const char* otherwise) {
  Object* value = linted.serviceDictionary()->valueForKey(key);
  if (value == nullptr || as<PlistNumber>(value) != nullptr) return;
  linted.add(Severity::Warning, LintedBundle::serviceKey(key), std::string("is ") + kindOf(value) + ", so " + otherwise,
             "write true or false as a boolean");
}

void lintNames(LintedBundle& linted) {
  PlistDictionary::Cursor cursor(*linted.serviceDictionary());
  PlistDictionary::Entry entry{};
  while (cursor.next(entry)) {
    const KeyPath where = LintedBundle::serviceKey(entry.key->text());
    if (isOneOf(entry.key->text(), keysForOthers)) {
      linted.add(Severity::Note, where, "is for other programs",
                 "nothing here uses it, neither the job nor the start-up");
    } else if (!isOneOf(entry.key->text(), serviceKeys)) {
      linted.add(Severity::Warning, where, "is no key of a service dictionary, so nothing uses it",
                 remedyFor(entry.key->text(), serviceKeys, "remove it"));
    }
  }
}

}  // namespace

void lintInfoKeys(LintedBundle& linted) {
  PlistDictionary::Cursor cursor(linted.info());
  PlistDictionary::Entry entry{};
  while (cursor.next(entry)) {
    // An Info dictionary may hold anything else; only what looks like a slip is told.
    const std::string_view meant = suggestedKey(entry.key->text(), infoKeys);
    const bool isMeant = meant.empty() || isOneOf(entry.key->text(), infoKeys);
    if (isMeant || linted.info().valueForKey(meant) != nullptr) continue;
    linted.add(Severity::Warning, KeyPath().key(entry.key->text()), "is read by nothing",
               "write " + std::string(meant));
  }
}

void lintServiceKeys(LintedBundle& linted) {
  if (linted.serviceDictionary() == nullptr) {
    linted.add(Severity::Error, KeyPath().key("VantoService"),
               std::string("is ") + kindOf(linted.service().serviceDictionary()),
               "write a dictionary, which may be empty: the service cannot start without");
    return;
  }
  lintNames(linted);
  lintWord(linted, "ServiceType", serviceTypes, "the job names no domain");
  lintWord(linted, "RunLoopType", runLoopTypes, "dispatch_main runs");
  lintBoolean(linted, "_UseQelApplicationMain", "it counts as false");
  lintBoolean(linted, "_MultipleInstances", "a service manager refuses the job");
}

}  // namespace vanto::tool
