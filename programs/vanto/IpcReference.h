// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <VantoService/vanto.h>

namespace vanto::tool {

struct ReleaseIpcObject {
  void operator()(vanto_object_t object) const noexcept { vanto_release(object); }
};

/// Owns one reference to an object of the IPC runtime, or none.
using IpcReference = std::unique_ptr<vanto_object, ReleaseIpcObject>;

}  // namespace vanto::tool
