// SPDX-License-Identifier: Apache-2.0
#include "value/platform/ipc.h"

// TODO(port): the code of this process is not looked at yet. Until it is, no process has entitlements.
vanto_object_t _vanto_runtime_get_entitlements_data() {
  return nullptr;
}
