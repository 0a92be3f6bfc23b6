// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PropertyList.h>
#include <VantoService/vanto.h>

namespace vanto::tool {

/// An object that another process sent as a value, so that it can be printed in the forms of values. What no value can
/// be, such as a descriptor, is given as its description. Null for null.
[[nodiscard]] Ref<PlistValue> createFromIpc(vanto_object_t object);

}  // namespace vanto::tool
