// SPDX-License-Identifier: Apache-2.0
#include "vexd/Digestion.h"

#include <optional>
#include <utility>

#include <VantoService/PropertyList.h>
#include <VantoService/TemporaryScope.h>

#include "code/CodePlace.h"
#include "code/Digest.h"
#include "code/Fields.h"
#include "code/Judgement.h"
#include "code/OpenedFile.h"
#include "code/TrustStore.h"
#include "code/limits.h"
#include "value/limits.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

/// The bundle whose executable it is, when that is signed.
struct SignedBundle {
  std::string info;
  std::string identifier;
};

/// None, with a problem when it may be that of a signed bundle and this cannot be told.
std::optional<SignedBundle> bundleOf(const CodeFiles& files, std::string& problem) {
  const bool isSigned = files.bundleSignature || !files.bundleSignatureProblem.empty();
  const bool hasInfo = files.info || !files.infoProblem.empty();
  if (!isSigned || !hasInfo) return std::nullopt;
  code::OpenedFile info;
  if (files.info) info = code::OpenedFile::read(files.info.get(), {code::limits::infoBytes, 0, {}});
  if (!info.contents) {
    problem = "the Info dictionary " + (files.info ? info.problem : files.infoProblem);
    return std::nullopt;
  }
  const std::optional<code::InfoNames> names = code::InfoNames::read(*info.contents);
  if (!names) problem = "the Info dictionary is none";
  if (!names || names->executable != files.name) return std::nullopt;
  return SignedBundle{std::move(*info.contents), names->identifier};
}

/// The beginning of a text, by whole characters.
std::string shortened(std::string text) {
  if (text.size() <= vanto::limits::codeTextBytes) return text;
  std::size_t length = vanto::limits::codeTextBytes;
  while (length != 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  text.resize(length);
  return text;
}

DigestAnswer refused(DigestAnswer answer, std::string reason) {
  answer.isValid = false;
  answer.reason = shortened(std::move(reason));
  return answer;
}

/// Puts what is to be believed into the answer, unless a reply has no room for it.
DigestAnswer accepted(DigestAnswer answer, code::CodeJudgement judgement) {
  std::string entitlements = code::writeDictionary(*judgement.entitlements);
  bool fits = judgement.identifier.size() <= vanto::limits::codeTextBytes && !judgement.identifier.empty() &&
              entitlements.size() <= vanto::limits::codeEntitlementsBytes &&
              judgement.signers.size() <= vanto::limits::codeSignerNames;
  for (const std::string& signer : judgement.signers) fits = fits && signer.size() <= vanto::limits::codeTextBytes;
  if (!fits) return refused(std::move(answer), "its identifier, names or entitlements are too long, or it has none");
  answer.isValid = true;
  answer.identifier = std::move(judgement.identifier);
  answer.fingerprint = std::move(judgement.fingerprint);
  answer.signers = std::move(judgement.signers);
  answer.entitlements = std::move(entitlements);
  return answer;
}

DigestAnswer judged(DigestAnswer answer, const code::CodeEvidence& evidence, const DigestRequest& request) {
  code::TrustStore trust;
  for (const code::TrustDirectory& directory : request.trust) trust.add(directory);
  code::CodeJudgement judgement = code::judge(evidence, trust);
  if (judgement.isValid) return accepted(std::move(answer), std::move(judgement));
  return refused(std::move(answer), judgement.reason);
}

}  // namespace

DigestAnswer answerTo(const DigestRequest& request, const std::function<bool()>& isWanted) {
  const TemporaryScope scope;
  const CodeFiles& files = request.files;
  DigestAnswer answer;
  std::string problem;
  const std::optional<code::Digest> digest =
      code::digestOfFile(files.executable.get(), problem,
                         [&isWanted](off_t read) { return read <= limits::executableBytes && isWanted(); });
  if (!digest) return refused(std::move(answer), "the executable " + problem);
  answer.digest.assign(digest->begin(), digest->end());

  const std::optional<SignedBundle> bundle = bundleOf(files, problem);
  if (!problem.empty()) return refused(std::move(answer), std::move(problem));
  const Fd& place = bundle ? files.bundleSignature : files.signature;
  code::OpenedFile signature;
  signature.problem = bundle ? files.bundleSignatureProblem : files.signatureProblem;
  if (place) signature = code::OpenedFile::read(place.get(), {code::limits::signatureBytes, 0, {}});
  // One that is there and cannot be read must not make the code what it would be without it.
  if (!signature.problem.empty()) return refused(std::move(answer), "the signature " + signature.problem);

  code::CodeEvidence evidence;
  evidence.executableName = files.name;
  evidence.executable = digest;
  if (signature.contents) evidence.signature = *signature.contents;
  if (bundle) {
    evidence.info = bundle->info;
    evidence.identifier = bundle->identifier;
  }
  return judged(std::move(answer), evidence, request);
}

}  // namespace vanto::vexd
