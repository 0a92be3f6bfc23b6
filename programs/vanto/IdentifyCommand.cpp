// SPDX-License-Identifier: Apache-2.0
#include "vanto/IdentifyCommand.h"

#include <optional>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>

#include "code/Judgement.h"
#include "vanto/DocumentForm.h"
#include "vanto/Identity.h"
#include "vanto/ServiceSummary.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

void printLines(Console& console, const Identity& identity) {
  const auto line = [&console](const char* label, const std::string& text) {
    console.printLine(label + (text.empty() ? "-" : visible(text)));
  };
  const code::CodeJudgement& judgement = identity.judgement;
  line("executable    ", identity.executable);
  line("digest        ", identity.digest);
  line("signature     ", identity.signature);
  line("valid         ", judgement.isValid ? "yes" : "no: " + judgement.reason);
  if (!judgement.isValid) return;
  line("identifier    ", judgement.identifier);
  for (const std::string& signer : judgement.signers) line("signer        ", signer);
  PlistDictionary::Cursor cursor(*judgement.entitlements);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    line("entitlement   ", std::string(entry.key->text()) + " = " + std::string(entry.value->description()->text()));
  }
}

void printJson(Console& console, const Identity& identity) {
  const code::CodeJudgement& judgement = identity.judgement;
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setText(*dictionary, "executable", identity.executable);
  setText(*dictionary, "digest", identity.digest);
  if (!identity.signature.empty()) setText(*dictionary, "signature", identity.signature);
  dictionary->setValueForKey(PlistBoolean::of(judgement.isValid), PlistString::create("valid").get());
  if (judgement.isValid) {
    setText(*dictionary, "identifier", judgement.identifier);
    const Ref<PlistMutableArray> signers = PlistMutableArray::create();
    for (const std::string& signer : judgement.signers) signers->append(PlistString::create(signer).get());
    dictionary->setValueForKey(signers.get(), PlistString::create("signers").get());
    dictionary->setValueForKey(judgement.entitlements.get(), PlistString::create("entitlements").get());
  } else {
    setText(*dictionary, "reason", judgement.reason);
  }
  std::string problem;
  console.print(writeDocument(*dictionary, DocumentForm::Json, problem).value_or(""));
}

}  // namespace

ExitStatus IdentifyCommand::run(Console& console) const {
  std::string problem;
  const std::optional<Identity> identity = Identity::of(
      file, [&] { return places.read(console); }, problem);
  if (!identity) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  isJson ? printJson(console, *identity) : printLines(console, *identity);
  return identity->judgement.isValid ? ExitStatus::Fine : ExitStatus::Found;
}

}  // namespace vanto::tool
