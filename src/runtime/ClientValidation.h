// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/VantoServiceBundle.h>

namespace vanto {

/// Has clients checked by connectionEvaluator() if the service dictionary lists any under "_AllowedClients"; otherwise
/// every client may connect. To be called once, before any listener is resumed.
void setupConnectionValidatorIfNeeded(VantoServiceBundle& service);

}  // namespace vanto
