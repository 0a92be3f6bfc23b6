// SPDX-License-Identifier: Apache-2.0
#include "ipc/ErrorObject.h"

#include <cstring>
#include <new>

#include "ipc/StringObject.h"
#include "value/ValueStorage.h"

namespace vanto {

constinit const Class errorObjectClass{"ErrorObject", &ipcObjectClass, NoKind, &ValueStorage::destroyPlain,
                                       nullptr,       nullptr};

Ref<ErrorObject> ErrorObject::create(std::uint32_t code, std::string_view text) noexcept {
  if (code == VANTO_ERROR_NONE || code > VANTO_ERROR_LARGEST || !StringObject::accepts(text)) return nullptr;
  void* memory = allocate(sizeof(ErrorObject), text.size() + 1);
  auto* error = new (memory) ErrorObject(code, static_cast<std::uint32_t>(text.size()));
  auto* copy = reinterpret_cast<char*>(error + 1);
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return Ref<ErrorObject>::adopt(error);
}

const char* errorText(vanto_error_code_t code) noexcept {
  switch (code) {
    case VANTO_ERROR_NONE:
      return "no error";
    case VANTO_ERROR_INVALID:
      return "invalid argument";
    case VANTO_ERROR_NO_SERVICE:
      return "no such service";
    case VANTO_ERROR_REFUSED:
      return "refused by the service";
    case VANTO_ERROR_CLOSED:
      return "connection closed";
    case VANTO_ERROR_TIMED_OUT:
      return "timed out";
    case VANTO_ERROR_CANCELLED:
      return "cancelled";
    case VANTO_ERROR_PROTOCOL:
      return "protocol broken by the peer";
    case VANTO_ERROR_TOO_LARGE:
      return "message too large";
    case VANTO_ERROR_FULL:
      return "queue full";
    case VANTO_ERROR_VERSION:
      return "no common protocol version";
    case VANTO_ERROR_IN_USE:
      return "service name in use";
    case VANTO_ERROR_NAME:
      return "not a service name";
    case VANTO_ERROR_NO_REPLY:
      return "request dropped without an answer";
    case VANTO_ERROR_SYSTEM:
      return "system call failed";
    case VANTO_ERROR_START:
      return "the service could not be started";
    case VANTO_ERROR_LARGEST:
      break;
  }
  return "unknown error";
}

}  // namespace vanto
