// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <VantoService/vanto_code.h>

#include "code/Judgement.h"
#include "code/TrustStore.h"

namespace vanto::tool {

/// Who an executable, or the process that executes it, is to a service that asks.
struct Identity {
  std::string executable;
  /// In hexadecimal digits; empty when it could not be had.
  std::string digest;
  /// Of a file: where its signature is.
  std::string signature;
  code::CodeJudgement judgement;

  /// Of a process, by the code-signing service, when `text` has digits only; else of the file at that path, by the
  /// trust that is read then. None with a reason.
  [[nodiscard]] static std::optional<Identity> of(const std::string& text,
                                                  const std::function<code::TrustStore()>& readTrust,
                                                  std::string& problem);

  /// As the functions of the library take it. Owned by the caller.
  [[nodiscard]] vanto_object_t createCode() const;
};

}  // namespace vanto::tool
