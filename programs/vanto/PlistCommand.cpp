// SPDX-License-Identifier: Apache-2.0
#include "vanto/PlistCommand.h"

#include "vanto/InputFile.h"
#include "vanto/ReplacedFile.h"
#include "vanto/ValueTree.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

ExitStatus fail(Console& console, const std::string& problem) {
  console.complain(problem);
  return ExitStatus::Failed;
}

}  // namespace

ExitStatus PlistCommand::run(Console& console) const {
  std::string problem;
  const std::optional<std::string> document = readInput(file, problem);
  if (!document) return fail(console, problem);
  const Ref<PlistValue> value = readDocument(*document, nameOfInput(file), problem);
  if (!value) return fail(console, problem);
  std::optional<std::string> written;
  if (to) {
    written = writeDocument(*value, *to, problem);
    if (!written) return fail(console, nameOfInput(file) + ": no " + nameOf(*to) + " can carry it: " + problem);
  } else {
    written = treeOf(value.get());
  }
  if (output != "-") {
    problem = replaceFile(output, *written);
    return problem.empty() ? ExitStatus::Fine : fail(console, problem);
  }
  if (to == DocumentForm::Binary && console.output().isTerminal) {
    return fail(console, "a binary property list is not for a terminal; write it to a file with -o FILE, or to a pipe");
  }
  console.print(to == DocumentForm::Xml ? visibleXml(*written) : *written);
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
