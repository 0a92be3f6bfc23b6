// SPDX-License-Identifier: Apache-2.0
#include "ipc/SocketName.h"

#include "ipc/StringObject.h"
#include "value/limits.h"

namespace vanto {

namespace {

bool isPlain(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '.' || character == '-' || character == '_';
}

void appendEscaped(std::string& text, char character) {
  static constexpr char digits[] = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(character);
  text += '%';
  text += digits[byte >> 4];
  text += digits[byte & 15];
}

}  // namespace

std::string socketFileName(std::string_view name) {
  if (name.size() > limits::ipcSocketNameBytes || !StringObject::accepts(name)) return {};
  std::string file;
  for (const char character : name) {
    // Names that begin with a dot are "." and "..", and those of files that are no sockets.
    if (isPlain(character) && !(file.empty() && character == '.')) {
      file += character;
    } else {
      appendEscaped(file, character);
    }
  }
  return file.size() <= limits::ipcSocketNameBytes ? file : std::string();
}

}  // namespace vanto
