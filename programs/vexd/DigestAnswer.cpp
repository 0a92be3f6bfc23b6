// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigestAnswer.h"

#include "value/limits.h"
#include "vexd/Record.h"

namespace vanto::vexd {

std::string DigestAnswer::bytes() const {
  RecordWriter record;
  record.text(digest);
  record.number(isValid ? 1 : 0);
  record.text(identifier);
  record.text(fingerprint);
  record.text(entitlements);
  record.text(reason);
  record.number(signers.size());
  for (const std::string& signer : signers) record.text(signer);
  return record.bytes();
}

std::optional<DigestAnswer> DigestAnswer::read(std::string_view bytes) {
  RecordReader record(bytes);
  DigestAnswer answer;
  answer.digest = record.text(vanto::limits::codeTextBytes);
  answer.isValid = record.number() == 1;
  answer.identifier = record.text(vanto::limits::codeTextBytes);
  answer.fingerprint = record.text(vanto::limits::codeTextBytes);
  answer.entitlements = record.text(vanto::limits::codeEntitlementsBytes);
  answer.reason = record.text(vanto::limits::codeTextBytes);
  const std::uint64_t count = record.number();
  if (count > vanto::limits::codeSignerNames) return std::nullopt;
  for (std::uint64_t i = 0; i < count; ++i) answer.signers.emplace_back(record.text(vanto::limits::codeTextBytes));
  if (!record.isWhole() || (!answer.digest.empty() && answer.digest.size() != digestSize)) return std::nullopt;
  return answer;
}

}  // namespace vanto::vexd
