// SPDX-License-Identifier: Apache-2.0
#include "vanto/Order.h"

namespace vanto::tool {

Order::Order(const char* command) : request_(vanto_dictionary_create(nullptr, nullptr, 0)) {
  set("command", std::string(command));
}

Order::Order(const char* command, const std::string& label) : Order(command) {
  set("label", label);
}

void Order::set(const char* key, const std::string& text) {
  const IpcReference value(vanto_string_create_with_length(text.data(), text.size()));
  set(key, value.get());
}

void Order::set(const char* key, vanto_object_t value) {
  vanto_dictionary_set_value(request_.get(), key, value);
}

}  // namespace vanto::tool
