// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/vanto.h>

#include "signing/CodeFacts.h"
#include "signing/Requirement.h"

/// What a program is told of code, as objects that it owns.
namespace vanto {

/// Facts as decodeCodeReply() takes them: of code that is not valid, nothing that it says of itself.
[[nodiscard]] vanto_object_t createCodeDictionary(const CodeFacts& facts);

/// Whether code satisfies a requirement, with each of its conditions.
[[nodiscard]] vanto_object_t createFindings(const Requirement& requirement, const CodeFacts& facts);

/// The serialised entitlements; null when there are none.
[[nodiscard]] vanto_object_t createEntitlementsData(const CodeFacts& facts);

}  // namespace vanto
