// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include <VantoService/VantoServiceArchiver.h>
#include <VantoService/VantoServiceBundle.h>

#include "support/Values.h"

namespace vanto::testing {

/// A service bundle restored from an archive of those entries. A temporary.
inline VantoServiceBundle* restored(const std::vector<PlistDictionary::Entry>& entries) {
  return VantoServiceBundle::initWithArchive(dictionary(entries)).asTemporary();
}

/// A restored service bundle that has nothing but its identifier.
inline VantoServiceBundle* restoredService(std::string_view identifier) {
  return restored({{string("_serviceIdentifier"), string(identifier)}});
}

}  // namespace vanto::testing
