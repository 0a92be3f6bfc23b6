// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "dispatch/Queue.h"
#include "ipc/IPCObject.h"

namespace vanto {

/// A connection to the service `name`, greetings exchanged, or an error object. Blocks up to `timeout` nanoseconds.
[[nodiscard]] Ref<vanto_object> connectToService(const char* name, Ref<dispatch_queue_s> queue,
                                                 std::uint64_t timeout) noexcept;

}  // namespace vanto
