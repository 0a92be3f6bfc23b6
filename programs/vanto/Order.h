// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/vanto.h>

#include "vanto/IpcReference.h"

namespace vanto::tool {

/// A request to a service manager: a command, and what it needs.
class Order {
 public:
  explicit Order(const char* command);
  /// An order about the job of that label, which is UTF-8.
  Order(const char* command, const std::string& label);

  /// Adds an entry; what is no UTF-8 adds nothing.
  void set(const char* key, const std::string& text);
  void set(const char* key, vanto_object_t value);

  [[nodiscard]] vanto_object_t request() const noexcept { return request_.get(); }

 private:
  IpcReference request_;
};

}  // namespace vanto::tool
