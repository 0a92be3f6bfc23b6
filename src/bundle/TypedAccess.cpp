// SPDX-License-Identifier: Apache-2.0
// Typed access to the service dictionary. Whoever wrote the bundle chose the kinds of all values, that of the service
// dictionary itself included, so every step is a checked cast.
#include <VantoService/VantoServiceBundle.h>

#include <VantoService/PlistNumber.h>

using vanto::as;

vanto::Object* VantoServiceBundle::objectForServiceDictionaryKey(PlistString* key) {
  const auto* dictionary = as<PlistDictionary>(serviceDictionary());
  return dictionary == nullptr ? nullptr : dictionary->valueForKey(key);
}

bool VantoServiceBundle::boolForServiceDictionaryKey(PlistString* key) {
  const auto* number = as<PlistNumber>(objectForServiceDictionaryKey(key));
  return number != nullptr && number->truthValue();
}

PlistString* VantoServiceBundle::stringForServiceDictionaryKey(PlistString* key) {
  return as<PlistString>(objectForServiceDictionaryKey(key));
}

PlistDictionary* VantoServiceBundle::dictionaryForServiceDictionaryKey(PlistString* key) {
  return as<PlistDictionary>(objectForServiceDictionaryKey(key));
}

PlistArray* VantoServiceBundle::arrayForServiceDictionaryKey(PlistString* key) {
  return as<PlistArray>(objectForServiceDictionaryKey(key));
}
