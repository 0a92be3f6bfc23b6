// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PropertyList.h>

#include "value/PropertyListBinary.h"
#include "value/PropertyListBinaryReader.h"
#include "value/PropertyListReader.h"

namespace vanto {

Ref<PlistValue> createPropertyList(std::span<const std::uint8_t> bytes, PropertyListError* error) {
  const bool isBinary = !bytes.empty() && bytes.front() == binary::magic[0];
  return isBinary ? createPropertyListFromBinary(bytes, error) : createPropertyListFromXML(bytes, error);
}

}  // namespace vanto
