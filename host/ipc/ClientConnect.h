// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "dispatch/Queue.h"
#include "ipc/IPCObject.h"

namespace vanto {

/// A connection to the service `name`, greetings exchanged, or an error object. Blocks up to `timeout` nanoseconds.
[[nodiscard]] Ref<vanto_object> connectToService(const char* name, Ref<dispatch_queue_s> queue,
                                                 std::uint64_t timeout) noexcept;

/// The reply of the service `name` to `request`, on a connection of its own, or an error object. Blocks up to `timeout`
/// nanoseconds. The request goes out before it is known who answers.
[[nodiscard]] Ref<vanto_object> callService(const char* name, vanto_object_t request, std::uint64_t timeout) noexcept;

}  // namespace vanto
