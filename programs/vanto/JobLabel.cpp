// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobLabel.h"

#include <filesystem>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/InfoFile.h"
#include "vanto/ServicePath.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

bool isPath(const std::string& argument) {
  if (argument.find('/') != argument.npos) return true;
  std::error_code error;
  return ServicePath::extension(argument) == "vanto" && std::filesystem::is_directory(argument, error);
}

std::optional<std::string> identifierOf(const std::string& path, std::string& problem) {
  const TemporaryScope scope;
  const Ref<PlistString> text = PlistString::create(path);
  VantoServiceBundle* service = text ? VantoServiceBundle::VantoServiceBundleAtPath(text.get()) : nullptr;
  PlistString* identifier = service == nullptr ? nullptr : service->identifier();
  if (identifier != nullptr && identifier->length() != 0) return std::string(identifier->text());
  problem = service == nullptr ? whyNotTaken(path) : visible(path) + ": has no identifier, and so no label";
  return std::nullopt;
}

}  // namespace

std::optional<std::string> labelOf(const std::string& argument, std::string& problem) {
  if (isPath(argument)) return identifierOf(std::string(ServicePath::trimmed(argument)), problem);
  if (!argument.empty() && PlistString::create(argument)) return argument;
  problem = argument.empty() ? "a label cannot be empty" : visible(argument) + ": is no label, for it is not UTF-8";
  return std::nullopt;
}

}  // namespace vanto::tool
