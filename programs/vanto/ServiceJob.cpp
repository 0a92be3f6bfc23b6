// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceJob.h"

#include <VantoService/PlistArray.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/InfoFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

PlistDictionary* jobAt(const std::string& path, std::string& problem) {
  const Ref<PlistString> text = PlistString::create(path);
  VantoServiceBundle* service = text ? VantoServiceBundle::VantoServiceBundleAtPath(text.get()) : nullptr;
  auto* job = service == nullptr ? nullptr : as<PlistDictionary>(service->tolvendJobDictionary());
  if (service == nullptr) {
    problem = whyNotTaken(path);
  } else if (job == nullptr) {
    problem = visible(path) + ": has no job, for want of an identifier or an executable; vanto lint says more";
  }
  return job;
}

std::string_view executableOfJob(const PlistDictionary& job) {
  const auto* arguments = as<PlistArray>(job.valueForKey("ProgramArguments"));
  if (arguments == nullptr || arguments->count() != 2) return {};
  const auto* path = as<PlistString>(arguments->at(1));
  return path == nullptr ? std::string_view() : path->text();
}

}  // namespace vanto::tool
