// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <sys/types.h>

struct evp_md_ctx_st;

namespace vanto::code {

/// SHA-256.
using Digest = std::array<std::uint8_t, 32>;

/// The digest of bytes that come in pieces.
class Digester {
 public:
  Digester() noexcept;
  ~Digester();
  Digester(const Digester&) = delete;
  Digester& operator=(const Digester&) = delete;

  void add(std::span<const std::uint8_t> bytes) noexcept;
  /// The digest of all that was added, once. None when the cryptographic library failed at any step.
  [[nodiscard]] std::optional<Digest> finish() noexcept;

 private:
  evp_md_ctx_st* context_;
  bool isFine_;
};

[[nodiscard]] std::optional<Digest> digestOf(std::string_view bytes) noexcept;

/// The digest of the open regular file from its beginning; the place where it is read does not move. None with a
/// reason for people in `problem`, which is otherwise untouched. `mayGoOn` is asked before each step with the number of
/// bytes that were read; when it says no, that is such a reason.
[[nodiscard]] std::optional<Digest> digestOfFile(int descriptor, std::string& problem,
                                                 const std::function<bool(off_t)>& mayGoOn = {});

/// Lower-case hexadecimal digits.
[[nodiscard]] std::string hexText(std::span<const std::uint8_t> bytes);

}  // namespace vanto::code
