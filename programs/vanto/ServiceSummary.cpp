// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceSummary.h"

#include "vanto/ServiceTypeName.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::string textOf(const PlistString* string) {
  return string == nullptr || string->length() == 0 ? "-" : visible(string->text());
}

}  // namespace

void setText(PlistMutableDictionary& dictionary, const char* key, const std::string& text) {
  Ref<PlistString> value = PlistString::create(text);
  if (!value) value = PlistString::create(visible(text));
  dictionary.setValueForKey(value.get(), PlistString::create(key).get());
}

Row ServiceSummary::headline() {
  return {"IDENTIFIER", "TYPE", "BUNDLE"};
}

Row ServiceSummary::row(VantoServiceBundle& service, const std::string& path) {
  return {textOf(service.identifier()), serviceTypeName(service.serviceType()), visible(path)};
}

Ref<PlistMutableDictionary> ServiceSummary::dictionary(VantoServiceBundle& service, const std::string& path) {
  Ref<PlistMutableDictionary> result = PlistMutableDictionary::create();
  setText(*result, "bundle", path);
  const VantoServiceType type = service.serviceType();
  if (type != VantoServiceTypeNone) setText(*result, "type", serviceTypeName(type));
  if (PlistString* identifier = service.identifier()) {
    result->setValueForKey(identifier, PlistString::create("identifier").get());
  }
  if (PlistString* executable = service.executablePath()) {
    result->setValueForKey(executable, PlistString::create("executable").get());
  }
  return result;
}

}  // namespace vanto::tool
