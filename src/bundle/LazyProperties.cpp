// SPDX-License-Identifier: Apache-2.0
// The properties of a service bundle that are computed on first use. A getter is one comparison of the guard and one
// load of the field; what happens at the first call stands out of line.
#include <VantoService/VantoServiceBundle.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceConstants.h>

#include "value/Assertion.h"

using vanto::Object;
using vanto::Ref;

PlistString* VantoServiceBundle::identifier() {
  if (!dispatch_once_done(&_serviceIdentifierPredicate)) [[unlikely]]
    computeIdentifier();
  return _serviceIdentifier.get();
}

PlistString* VantoServiceBundle::executablePath() {
  if (!dispatch_once_done(&_executablePathPredicate)) [[unlikely]]
    computeExecutablePath();
  return _executablePath.get();
}

Object* VantoServiceBundle::serviceDictionary() {
  if (!dispatch_once_done(&_serviceDictionaryPredicate)) [[unlikely]]
    computeServiceDictionary();
  return _serviceDictionary.get();
}

VantoServiceType VantoServiceBundle::serviceType() {
  if (!dispatch_once_done(&_serviceTypePredicate)) [[unlikely]]
    computeServiceType();
  return _serviceType;
}

bool VantoServiceBundle::isSystemService() {
  return serviceType() == VantoServiceTypeSystem;
}

void VantoServiceBundle::computeIdentifier() {
  dispatch_once(&_serviceIdentifierPredicate, [this] {
    if (_bundle) _serviceIdentifier = Ref<PlistString>::share(_bundle->bundleIdentifier());
  });
}

void VantoServiceBundle::computeExecutablePath() {
  dispatch_once(&_executablePathPredicate, [this] {
    const vanto::TemporaryScope scope;
    if (_bundle) _executablePath = Ref<PlistString>::share(_bundle->executablePath());
  });
}

void VantoServiceBundle::computeServiceDictionary() {
  dispatch_once(&_serviceDictionaryPredicate, [this] {
    if (_bundle) {
      _serviceDictionary =
          Ref<Object>::share(_bundle->infoDictionary()->valueForKey(VantoServiceBundleInfoDictionaryKey));
    }
    if (!_serviceDictionary) {
      vanto::assertionFailed("serviceDictionary", "VantoServiceBundle", 473, "_serviceDictionary != nil");
    }
  });
}

void VantoServiceBundle::computeServiceType() {
  dispatch_once(&_serviceTypePredicate, [this] {
    const PlistString* text = stringForServiceDictionaryKey(VantoServiceDictionaryServiceTypeKey);
    _serviceType = VantoServiceTypeNone;
    if (text == nullptr) return;
    if (text->isEqualToText("Session")) {
      _serviceType = VantoServiceTypeSession;
    } else if (text->isEqualToText("System")) {
      _serviceType = VantoServiceTypeSystem;
    } else if (text->isEqualToText("User")) {
      _serviceType = VantoServiceTypeUser;
    }
  });
}
