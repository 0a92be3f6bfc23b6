// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/VantoServiceBundle.h>

namespace vanto::test {

/// The fields of a service bundle, for tests of what no operation shows.
struct VantoServiceBundleFields {
  VantoServiceBundle& object;

  [[nodiscard]] Ref<Bundle>& bundle() const { return object._bundle; }
  [[nodiscard]] Ref<PlistString>& identifier() const { return object._serviceIdentifier; }
  [[nodiscard]] dispatch_once_t& identifierPredicate() const { return object._serviceIdentifierPredicate; }
  [[nodiscard]] Ref<PlistString>& executablePath() const { return object._executablePath; }
  [[nodiscard]] dispatch_once_t& executablePathPredicate() const { return object._executablePathPredicate; }
  [[nodiscard]] VantoServiceType& serviceType() const { return object._serviceType; }
  [[nodiscard]] dispatch_once_t& serviceTypePredicate() const { return object._serviceTypePredicate; }
  [[nodiscard]] Ref<Object>& serviceDictionary() const { return object._serviceDictionary; }
  [[nodiscard]] dispatch_once_t& serviceDictionaryPredicate() const { return object._serviceDictionaryPredicate; }
  [[nodiscard]] Ref<Object>& jobDictionary() const { return object._tolvendJobDictionary; }
  [[nodiscard]] dispatch_once_t& jobDictionaryPredicate() const { return object._tolvendJobDictionaryPredicate; }
  [[nodiscard]] vanto_object_t& jobData() const { return object._vantoJobData; }
  [[nodiscard]] dispatch_once_t& jobDataPredicate() const { return object._vantoJobDataPredicate; }
};

}  // namespace vanto::test
