// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vexd/DigestRequest.h"
#include "vexd/ExaminedProcess.h"

namespace vanto::vexd {

/// Opens what may belong to the executable of a process: the Info file and the signature of the bundle around it, and
/// the signature beside it. Nothing is read, and no symbolic link followed from the bundle on.
[[nodiscard]] CodeFiles findCode(ExaminedProcess process);

}  // namespace vanto::vexd
