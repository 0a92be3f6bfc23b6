// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The IPC runtime as the library's own code uses it: what is public, and what follows.
#include <VantoService/vanto.h>

extern "C" {

/// The entitlements of this process as a data object that holds a property list; null when it has none or they cannot
/// be had. The runtime owns the object, which lives as long as the process.
vanto_object_t _vanto_runtime_get_entitlements_data();
}
