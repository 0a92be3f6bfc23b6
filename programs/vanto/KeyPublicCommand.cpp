// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyPublicCommand.h"

#include "code/KeyDocument.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

ExitStatus KeyPublicCommand::run(Console& console) const {
  std::string problem;
  const auto document = code::PrivateKeyDocument::readFile(file, problem);
  if (!document) {
    console.complain(visible(problem));
    return ExitStatus::Failed;
  }
  console.print(visibleXml(code::PublicKeyDocument{document->keys.publicKey, document->name, {}}.bytes()));
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
