// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyPath.h"

#include <algorithm>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

bool isPlain(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '$';
}

}  // namespace

KeyPath KeyPath::key(std::string_view name) const {
  std::string text = text_;
  if (!text.empty()) text += '.';
  const bool needsQuotes = name.empty() || !std::all_of(name.begin(), name.end(), isPlain);
  return KeyPath(text += needsQuotes ? '"' + visible(name) + '"' : std::string(name));
}

KeyPath KeyPath::element(std::size_t index) const {
  return KeyPath(text_ + "[" + std::to_string(index) + "]");
}

}  // namespace vanto::tool
