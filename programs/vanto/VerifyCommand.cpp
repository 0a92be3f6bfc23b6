// SPDX-License-Identifier: Apache-2.0
#include "vanto/VerifyCommand.h"

#include <VantoService/PlistArray.h>
#include <VantoService/PlistNumber.h>

#include "code/Verification.h"
#include "vanto/DocumentForm.h"
#include "vanto/ServiceSummary.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

void printLines(Console& console, const std::string& path, const code::CodePlace& place,
                const code::VerifyResult& result) {
  for (const code::Defect& defect : result.defects) {
    const std::string file = defect.path.empty() ? path : place.pathOf(defect.path);
    console.printLine(visible(file) + ": " + visible(defect.reason));
  }
  if (!result.isValid()) return;
  console.printLine(visible(path) + ": valid: " + visible(result.identifier) + ", signed by " +
                    describeSigner(result.signers, result.fingerprint));
}

void printJson(Console& console, const std::string& path, const code::VerifyResult& result) {
  const Ref<PlistMutableArray> defects = PlistMutableArray::create();
  for (const code::Defect& defect : result.defects) {
    const Ref<PlistMutableDictionary> entry = PlistMutableDictionary::create();
    setText(*entry, "file", defect.path);
    setText(*entry, "reason", defect.reason);
    defects->append(entry.get());
  }
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setText(*dictionary, "path", path);
  setText(*dictionary, "identifier", result.identifier);
  setText(*dictionary, "fingerprint", result.fingerprint);
  dictionary->setValueForKey(defects.get(), PlistString::create("defects").get());
  dictionary->setValueForKey(PlistBoolean::of(result.isValid()), PlistString::create("valid").get());
  std::string problem;
  console.print(writeDocument(*dictionary, DocumentForm::Json, problem).value_or(""));
}

}  // namespace

ExitStatus VerifyCommand::run(Console& console) const {
  std::string problem;
  const auto place = code::CodePlace::ofPath(path, problem);
  if (!place) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  const code::VerifyResult result = code::verifyCode(*place, places.read(console));
  isJson ? printJson(console, path, result) : printLines(console, path, *place, result);
  return result.isValid() ? ExitStatus::Fine : ExitStatus::Found;
}

}  // namespace vanto::tool
