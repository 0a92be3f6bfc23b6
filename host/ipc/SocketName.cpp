// SPDX-License-Identifier: Apache-2.0
#include "ipc/SocketName.h"

#include <utility>

#include "ipc/EscapedName.h"
#include "value/Utf8.h"
#include "value/limits.h"

namespace vanto {

std::string socketFileName(std::string_view name) {
  const bool isText = name.find('\0') == std::string_view::npos && isValidUtf8(name);
  if (name.size() > limits::ipcSocketNameBytes || !isText) return {};
  std::string file = escapedName(name);
  return file.size() <= limits::ipcSocketNameBytes ? std::move(file) : std::string();
}

}  // namespace vanto
