// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/vanto.h>

#include "signing/CodeFacts.h"
#include "value/platform/signing.h"

namespace vanto {

/// The code-signing service did not answer in time.
inline constexpr VexStatus VexStatusTimedOut = -6;

/// What the code-signing service says of a process.
struct CodeReply {
  /// 0 when there are facts; else why there are none.
  VexStatus status = VexStatusUnavailable;
  /// Nothing is known unless the status is 0.
  CodeFacts facts;
  /// Why there are no facts, for people.
  std::string reason;
};

/// Takes apart what vanto_call() gave for a request to the code-signing service; null counts as a reply too. Strict: a
/// key missing, unknown or of another kind, and anything beyond a limit, makes the whole reply a wrong one, of status
/// VexStatusUnavailable. Of code that is not valid only the digest, the file and the reason are taken over.
[[nodiscard]] CodeReply decodeCodeReply(vanto_object_t reply);

}  // namespace vanto
