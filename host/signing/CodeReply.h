// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/vanto.h>

#include "signing/CodeFacts.h"
#include "value/platform/signing.h"

namespace vanto {

// Why there are no facts about a process, beside VexStatusUnavailable.

/// The process has ended, or became another program meanwhile.
inline constexpr VexStatus VexStatusGone = -2;
/// It is in a foreign pid namespace, or it is not known which process is meant.
inline constexpr VexStatus VexStatusUnknown = -3;
/// Its executable may not be looked at.
inline constexpr VexStatus VexStatusHidden = -4;
/// Another process traces it.
inline constexpr VexStatus VexStatusTraced = -5;
/// The code-signing service did not answer in time.
inline constexpr VexStatus VexStatusTimedOut = -6;
/// It has too many processes to look at, or too many questions wait for it.
inline constexpr VexStatus VexStatusBusy = -7;

/// What the code-signing service says of a process.
struct CodeReply {
  /// 0 when there are facts; else why there are none.
  VexStatus status = VexStatusUnavailable;
  /// Nothing is known unless the status is 0.
  CodeFacts facts;
  /// Why there are no facts, for people.
  std::string reason;
};

[[nodiscard]] CodeReply failedCodeReply(VexStatus status, std::string_view reason);

/// Takes apart what vanto_call() gave for a request to the code-signing service; null counts as a reply too. Strict: a
/// key missing, unknown or of another kind, and anything beyond a limit, makes the whole reply a wrong one, of status
/// VexStatusUnavailable. Only a key that begins with "x-" may be unknown: so a newer code-signing service can say more,
/// and nothing that an older program has to understand goes past it. Of code that is not valid only the digest, the
/// file and the reason are taken over.
[[nodiscard]] CodeReply decodeCodeReply(vanto_object_t reply);

}  // namespace vanto
