// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerDomain.h"

#include <VantoService/PlistString.h>

#include "vanto/VisibleText.h"

namespace vanto::tool {

const char* nameOf(ManagerDomain domain) noexcept {
  switch (domain) {
    case ManagerDomain::Session:
      return "session";
    case ManagerDomain::System:
      return "system";
    case ManagerDomain::User:
      break;
  }
  return "user";
}

std::string managerServiceOf(ManagerDomain domain) {
  return std::string("org.vanto.tolvend.") + nameOf(domain);
}

std::optional<ManagerDomain> domainOfJob(const PlistDictionary& job, std::string& problem) {
  Object* value = job.valueForKey("VantoDomain");
  if (value == nullptr) return ManagerDomain::User;
  const auto* text = as<PlistString>(value);
  if (text == nullptr) {
    problem = "its \"VantoDomain\" is no string";
    return std::nullopt;
  }
  if (text->text() == "VantoPerSession") return ManagerDomain::Session;
  if (text->text() == "VantoPerUser") return ManagerDomain::User;
  if (text->text() == "VantoSystem") return ManagerDomain::System;
  problem = "its \"VantoDomain\" is " + visible(text->text()) +
            ", which is no domain; it can be VantoPerSession, VantoPerUser or VantoSystem";
  return std::nullopt;
}

}  // namespace vanto::tool
