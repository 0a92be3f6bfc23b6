// SPDX-License-Identifier: Apache-2.0
#include "learning/ProcessLink.h"

#include <algorithm>
#include <charconv>

namespace vanto::learning {
namespace {

/// The next component of `rest`, taken off with the slashes in front of it.
std::string_view takenComponent(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  const std::string_view component = rest.substr(0, rest.find('/'));
  rest.remove_prefix(component.size());
  return component;
}

std::optional<std::int64_t> numberOf(std::string_view component) {
  std::int64_t number = 0;
  const char* const end = component.data() + component.size();
  const auto [last, error] = std::from_chars(component.data(), end, number);
  if (error != std::errc() || last != end || number < 0) return std::nullopt;
  return number;
}

std::optional<std::int64_t> processOf(std::string_view component) {
  return component == "self" || component == "thread-self" ? 0 : numberOf(component);
}

bool readDescriptor(ProcessLink& link) {
  const auto number = numberOf(takenComponent(link.rest));
  link.kind = ProcessLink::Kind::Descriptor;
  link.descriptor = number.value_or(0);
  return number.has_value();
}

/// What stands in the directory of a process.
bool readName(ProcessLink& link) {
  const std::string_view name = takenComponent(link.rest);
  if (name == "fd") return readDescriptor(link);
  link.kind = name == "cwd" ? ProcessLink::Kind::Directory : ProcessLink::Kind::Root;
  return name == "cwd" || name == "root";
}

}  // namespace

std::optional<ProcessLink> ProcessLink::of(std::string_view path) {
  ProcessLink link;
  link.rest = path;
  const std::string_view top = takenComponent(link.rest);
  const std::string_view next = takenComponent(link.rest);
  if (top == "dev" && next == "fd") return readDescriptor(link) ? std::optional(link) : std::nullopt;
  const auto process = processOf(next);
  if (top != "proc" || !process) return std::nullopt;
  link.process = *process;
  return readName(link) ? std::optional(link) : std::nullopt;
}

}  // namespace vanto::learning
