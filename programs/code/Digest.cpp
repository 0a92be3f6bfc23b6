// SPDX-License-Identifier: Apache-2.0
#include "code/Digest.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include "code/Cryptography.h"

namespace vanto::code {
namespace {

/// Large enough that the calls cost nothing, small enough to stay in a cache between reading and digesting.
constexpr std::size_t stepBytes = std::size_t{128} << 10;
constexpr const char* unusable = "the cryptographic library cannot digest";

}  // namespace

Digester::Digester() noexcept {
  prepareCryptography();
  context_ = EVP_MD_CTX_new();
  isFine_ = context_ != nullptr && EVP_DigestInit_ex(context_, EVP_sha256(), nullptr) == 1;
}

Digester::~Digester() {
  EVP_MD_CTX_free(context_);
}

void Digester::add(std::span<const std::uint8_t> bytes) noexcept {
  isFine_ = isFine_ && EVP_DigestUpdate(context_, bytes.data(), bytes.size()) == 1;
}

std::optional<Digest> Digester::finish() noexcept {
  Digest digest;
  unsigned length = 0;
  const bool isDone = isFine_ && EVP_DigestFinal_ex(context_, digest.data(), &length) == 1;
  isFine_ = false;
  if (!isDone || length != digest.size()) return std::nullopt;
  return digest;
}

std::optional<Digest> digestOf(std::string_view bytes) noexcept {
  Digester digester;
  digester.add({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  return digester.finish();
}

std::optional<Digest> digestOfFile(int descriptor, std::string& problem, const std::function<bool(off_t)>& mayGoOn) {
  const auto buffer = std::make_unique_for_overwrite<std::uint8_t[]>(stepBytes);
  Digester digester;
  posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
  for (off_t place = 0;;) {
    if (mayGoOn && !mayGoOn(place)) {
      problem = "was not read to its end";
      return std::nullopt;
    }
    const ssize_t received = pread(descriptor, buffer.get(), stepBytes, place);
    if (received == 0) break;
    if (received > 0) {
      digester.add({buffer.get(), static_cast<std::size_t>(received)});
      place += received;
    } else if (errno != EINTR) {
      problem = std::string("cannot be read: ") + std::strerror(errno);
      return std::nullopt;
    }
  }
  const std::optional<Digest> digest = digester.finish();
  if (!digest) problem = unusable;
  return digest;
}

std::string hexText(std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace vanto::code
