// SPDX-License-Identifier: Apache-2.0
#include "code/KeyName.h"

#include <algorithm>

#include <VantoService/PlistString.h>

#include "code/limits.h"

namespace vanto::code {
namespace {

bool isHexadecimal(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

bool isBad(char c) noexcept {
  return c == '/' || c == '\x7f' || static_cast<unsigned char>(c) < ' ';
}

/// Capitals are no fingerprint, but people would take them for one.
bool looksLikeFingerprint(std::string_view text) noexcept {
  return text.size() == 64 &&
         std::all_of(text.begin(), text.end(), [](char c) { return isHexadecimal(c) || (c >= 'A' && c <= 'F'); });
}

}  // namespace

bool isFingerprint(std::string_view text) noexcept {
  return text.size() == 64 && std::all_of(text.begin(), text.end(), isHexadecimal);
}

bool isKeyName(std::string_view name) noexcept {
  if (name.empty() || name.size() > limits::keyNameBytes || name.front() == '.' || name.front() == '-') return false;
  if (name == "revoked" || looksLikeFingerprint(name) || std::any_of(name.begin(), name.end(), isBad)) return false;
  return static_cast<bool>(PlistString::create(name));
}

}  // namespace vanto::code
