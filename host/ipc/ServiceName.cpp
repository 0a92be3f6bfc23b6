// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto.h>

#include "ipc/SocketName.h"

bool vanto_service_name_is_valid(const char* name) {
  return name != nullptr && !vanto::socketFileName(name).empty();
}
