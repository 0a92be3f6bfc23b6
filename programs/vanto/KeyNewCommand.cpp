// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeyNewCommand.h"

#include <unistd.h>

#include "code/KeyDocument.h"
#include "code/KeyName.h"
#include "vanto/ReplacedFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

ExitStatus KeyNewCommand::run(Console& console) const {
  if (!code::isKeyName(name)) {
    console.complain(visible(name) + ": " + code::keyNameRule);
    return ExitStatus::Failed;
  }
  const std::optional<code::KeyPair> keys = code::createKeyPair();
  if (!keys) {
    console.complain("the cryptographic library cannot make a key");
    return ExitStatus::Failed;
  }
  const std::string path = output.empty() ? name + ".key" : output;
  const Existing existing = isForced ? Existing::Replaced : Existing::Kept;
  const std::string problem = writeFile(path, code::PrivateKeyDocument{*keys, name}.bytes(), 0600, existing);
  if (!problem.empty()) {
    const bool isKept = !isForced && access(path.c_str(), F_OK) == 0;
    console.complain(problem + (isKept ? "; --force replaces it, and a key that is replaced is lost" : ""));
    return ExitStatus::Failed;
  }
  console.printLine(visible(path) + ": " + visible(name) + " (" + code::fingerprint(keys->publicKey) + ")");
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
