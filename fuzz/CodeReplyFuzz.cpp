// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "host/ipc/CodecSample.h"
#include "ipc/Codec.h"
#include "signing/CodeReply.h"
#include "signing/DigestText.h"
#include "value/limits.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

bool saysNothing(const vanto::CodeFacts& facts) {
  return !facts.isValid && facts.identifier.empty() && facts.signerNames.empty() && !facts.entitlements;
}

}  // namespace

/// Facts are whole, those of code that is not valid claim nothing, and where there are none there is a reason.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const vanto::test::CodecSample sample({bytes, size});
  std::vector<vanto::Fd> descriptors = sample.descriptors();
  const vanto::Ref<vanto_object> object = vanto::decodeObject(sample.body(), descriptors);
  const vanto::CodeReply reply = vanto::decodeCodeReply(object.get());
  const vanto::CodeFacts& facts = reply.facts;
  require(reply.status <= 0);
  require(facts.signerNames.size() <= vanto::limits::codeSignerNames + 1);
  require(reply.reason.size() <= vanto::limits::codeTextBytes);
  if (reply.status != 0) {
    require(saysNothing(facts) && facts.digestHex.empty());
    return 0;
  }
  require(vanto::isDigestText(facts.digestHex));
  if (facts.isValid) {
    require(!facts.identifier.empty() && vanto::isDigestText(facts.signerNames.at(0)) && facts.reason.empty());
  } else {
    require(saysNothing(facts) && !facts.reason.empty());
  }
  return 0;
}
