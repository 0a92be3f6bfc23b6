// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobDocument.h"

#include <VantoService/PlistDictionary.h>

#include "vanto/IpcConversion.h"
#include "vanto/ServiceSummary.h"

namespace vanto::tool {

Ref<PlistValue> createJobDocument(vanto_object_t job, ManagerDomain domain) {
  Ref<PlistValue> document = createFromIpc(job);
  if (auto* dictionary = as<PlistMutableDictionary>(document.get())) setText(*dictionary, "domain", nameOf(domain));
  return document;
}

}  // namespace vanto::tool
