// SPDX-License-Identifier: Apache-2.0
#include "ipc/SocketName.h"

#include <utility>

#include "ipc/EscapedName.h"
#include "ipc/StringObject.h"
#include "value/limits.h"

namespace vanto {

std::string socketFileName(std::string_view name) {
  if (name.size() > limits::ipcSocketNameBytes || !StringObject::accepts(name)) return {};
  std::string file = escapedName(name);
  return file.size() <= limits::ipcSocketNameBytes ? std::move(file) : std::string();
}

}  // namespace vanto
