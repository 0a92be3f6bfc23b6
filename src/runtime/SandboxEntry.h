// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/VantoServiceBundle.h>

namespace vanto {

/// Confines the process by the profile that the service dictionary names under "_SandboxProfile". Best effort: without
/// a profile nothing happens, and whatever goes wrong is logged and leaves the process unconfined. A profile that is
/// named and not there is not logged. The host is told of each failure, for the receipt. To be called once, while the
/// process has one thread.
void enterSandboxIfProfileProvided(VantoServiceBundle& service);

}  // namespace vanto
