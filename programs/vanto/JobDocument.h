// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PropertyList.h>
#include <VantoService/vanto.h>

#include "vanto/ManagerDomain.h"

namespace vanto::tool {

/// The state of a job for scripts: all that its manager told of it, and "domain".
[[nodiscard]] Ref<PlistValue> createJobDocument(vanto_object_t job, ManagerDomain domain);

}  // namespace vanto::tool
