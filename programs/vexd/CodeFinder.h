// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "vexd/DigestRequest.h"
#include "vexd/ExaminedProcess.h"
#include "vexd/FactsCache.h"

namespace vanto::vexd {

/// Opens what may belong to the executable of a process: the Info file and the signature of the bundle around it, and
/// the signature beside it. Nothing is read, and no symbolic link followed from the bundle on.
[[nodiscard]] CodeFiles findCode(ExaminedProcess process);

/// Puts into the key what findCode() would open for an executable at `path`, without opening it, and the name. Links
/// in the bundle are followed here, so the key may be one that is never kept, but is none of other files. False when it
/// cannot be told.
[[nodiscard]] bool lookAroundCode(const std::string& path, FactsKey& key);

}  // namespace vanto::vexd
