// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyPublicCommand.h"

#include "code/KeyDocument.h"
#include "vanto/ReplacedFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

ExitStatus KeyPublicCommand::run(Console& console) const {
  std::string problem;
  const auto document = code::PrivateKeyDocument::readFile(file, problem);
  if (!document) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  const std::string bytes = code::PublicKeyDocument{document->keys.publicKey, document->name, {}}.bytes();
  if (output.empty()) {
    console.print(visibleXml(bytes));
    return ExitStatus::Fine;
  }
  problem = writeFile(output, bytes, 0644, isForced ? Existing::Replaced : Existing::Kept);
  if (!problem.empty()) {
    console.complain(problem + (isForced ? "" : "; --force replaces it"));
    return ExitStatus::Failed;
  }
  console.printLine(visible(output) + ": " + visible(document->name) + " (" +
                    code::fingerprint(document->keys.publicKey) + ")");
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
