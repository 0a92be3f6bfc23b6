// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include <VantoService/Ref.h>
#include <VantoService/vanto.h>

#include "ipc/IPCObject.h"

namespace vanto::manager {

/// Makes a dictionary of the IPC runtime, entry by entry.
class DictionaryBuilder {
 public:
  DictionaryBuilder() : object_(Ref<vanto_object>::adopt(vanto_dictionary_create(nullptr, nullptr, 0))) {}

  /// A text that is no valid UTF-8 is left out.
  DictionaryBuilder& text(const char* key, const std::string& value) {
    return object(key, Ref<vanto_object>::adopt(vanto_string_create(value.c_str())));
  }
  DictionaryBuilder& number(const char* key, std::int64_t value) {
    return object(key, Ref<vanto_object>::adopt(vanto_int64_create(value)));
  }
  DictionaryBuilder& truth(const char* key, bool value) {
    return object(key, Ref<vanto_object>::adopt(vanto_bool_create(value)));
  }
  DictionaryBuilder& object(const char* key, const Ref<vanto_object>& value) {
    vanto_dictionary_set_value(object_.get(), key, value.get());
    return *this;
  }

  /// What was made. Nothing can be added then.
  [[nodiscard]] Ref<vanto_object> take() { return std::move(object_); }

 private:
  Ref<vanto_object> object_;
};

}  // namespace vanto::manager
