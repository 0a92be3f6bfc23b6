// SPDX-License-Identifier: Apache-2.0
#include "ipc/StringObject.h"

#include <cstring>
#include <new>

#include "ipc/TextWords.h"
#include "value/Utf8.h"
#include "value/ValueStorage.h"

namespace vanto {

bool StringObject::accepts(std::string_view text) noexcept {
  if (isPlainText(text.data(), text.size())) return text.size() < UINT32_MAX;
  return text.size() < UINT32_MAX && std::memchr(text.data(), 0, text.size()) == nullptr && isValidUtf8(text);
}

Ref<StringObject> StringObject::create(std::string_view text) noexcept {
  return accepts(text) ? createFromValid(text) : nullptr;
}

Ref<StringObject> StringObject::createFromValid(std::string_view text) noexcept {
  void* memory = allocate(sizeof(StringObject), text.size() + 1);
  auto* string = new (memory) StringObject(static_cast<std::uint32_t>(text.size()));
  auto* copy = reinterpret_cast<char*>(string + 1);
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return Ref<StringObject>::adopt(string);
}

constinit const Class stringObjectClass{"StringObject", &ipcObjectClass, NoKind, &ValueStorage::destroyPlain,
                                        nullptr,        nullptr};

}  // namespace vanto
