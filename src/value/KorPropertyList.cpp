// SPDX-License-Identifier: Apache-2.0
#include <VantoService/KorFunctions.h>
#include <VantoService/PropertyList.h>

#include "value/Assertion.h"

PlistValue* KorPropertyListCreateFromBytes(PlistData* data) {
  VANTO_ASSERT(vanto::as<PlistData>(data) != nullptr);
  // The caller owns the result by the function's name.
  return vanto::createPropertyList(data->bytes()).leak();
}

PlistData* KorPropertyListCreateBytes(vanto::Object* value, std::int32_t format) {
  VANTO_ASSERT(value != nullptr);
  vanto::Ref<PlistData> bytes;
  if (format == KorPropertyListXMLFormat) bytes = vanto::createPropertyListXML(*value);
  if (format == KorPropertyListBinaryFormat) bytes = vanto::createPropertyListBinary(*value);
  return bytes.leak();
}
