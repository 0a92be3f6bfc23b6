// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto::code {

/// True when a key can have that name, which is also the name of a file: one path component of UTF-8 without control
/// characters that does not begin with a dot, is not "revoked", and could not be taken for a fingerprint.
[[nodiscard]] bool isKeyName(std::string_view name) noexcept;

/// True for 64 lower-case hexadecimal digits.
[[nodiscard]] bool isFingerprint(std::string_view text) noexcept;

/// What the rule is, for people.
inline constexpr const char* keyNameRule =
    "a name has 1 to 200 bytes of UTF-8 without slashes and control characters, does not begin with a dot or a dash, "
    "and is neither \"revoked\" nor 64 hexadecimal digits";

}  // namespace vanto::code
