// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto.h>

#include "vanto/LintedBundle.h"
#include "vanto/ValueKind.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr const char* key = "KorBundleIdentifier";

}  // namespace

void lintIdentifier(LintedBundle& linted, KnownIdentifiers& known) {
  const KeyPath where = KeyPath().key(key);
  Object* value = linted.info().valueForKey(key);
  auto add = [&](const char* problem, const char* remedy) {
    linted.add(Severity::Error, where, problem, remedy);
  };
  auto* identifier = as<PlistString>(value);
  if (value == nullptr) {
    add("is missing",
        "add a string such as org.example.name: it is the name of the service, which cannot start without");
  } else if (identifier == nullptr) {
    linted.add(Severity::Error, where, std::string("is ") + kindOf(value), "write a string: this counts as missing");
  } else if (identifier->length() == 0) {
    add("is empty", "write a name such as org.example.name: an empty one cannot be listened under");
  } else if (identifier->text().find('\0') != std::string_view::npos) {
    add("contains NUL", "leave it out: no service can have this name");
  } else if (!vanto_service_name_is_valid(identifier->utf8())) {
    add("is too long for the name of a socket file",
        "shorten it: 255 bytes are the most, and every one but letters, digits, '.', '-' and '_' counts three");
  } else {
    const std::string bundle = visible(linted.bundle().bundlePath()->text());
    const auto [place, isNew] = known.emplace(std::string(identifier->text()), bundle);
    if (isNew) return;
    linted.add(Severity::Error, where, '"' + visible(identifier->text()) + "\" is that of " + place->second + " too",
               "give each service its own: only one of them can be listened under this name");
  }
}

}  // namespace vanto::tool
