// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/VantoServiceBundle.h>

#include "bundle/VantoServiceBundleFields.h"
#include "support/Values.h"

namespace vanto::testing {

/// The job dictionary of a service without a type. A temporary.
inline PlistDictionary* sampleJob() {
  PlistString* label = string("com.example.echo");
  return dictionary({{string("MachServices"), dictionary({{label, PlistBoolean::of(true)}})},
                     {string("ProgramArguments"), array({string("/usr/libexec/vantoproxy"), string("/echo")})},
                     {string("Label"), label},
                     {string("EnableTransactions"), PlistBoolean::of(true)}});
}

inline constexpr char sampleJobDescription[] =
    "{\"EnableTransactions\": true, \"Label\": \"com.example.echo\", \"MachServices\": {\"com.example.echo\": true}, "
    "\"ProgramArguments\": [\"/usr/libexec/vantoproxy\", \"/echo\"]}";

/// A service whose job dictionary is already there, as in an object restored from an archive.
inline Ref<VantoServiceBundle> serviceWithJob(Object* job) {
  Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  const test::VantoServiceBundleFields fields{*service};
  fields.jobDictionary() = Ref<Object>::share(job);
  fields.jobDictionaryPredicate() = -1;
  return service;
}

}  // namespace vanto::testing
