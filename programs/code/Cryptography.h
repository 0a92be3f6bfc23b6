// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/crypto.h>

namespace vanto::code {

/// To be called before anything of the cryptographic library is used, any number of times. A configuration file, which
/// the environment can name, then has no say in what verifies, and costs no time.
inline void prepareCryptography() noexcept {
  OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
}

}  // namespace vanto::code
