// SPDX-License-Identifier: Apache-2.0
#include "programs/vanto/CapturedConsole.h"

#include <sys/mman.h>
#include <unistd.h>

#include <VantoService/TemporaryScope.h>

#include "vanto/CommandLine.h"

namespace vanto::testing {
namespace {

std::string contentsOf(int descriptor) {
  std::string text(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), '\0');
  text.resize(static_cast<std::size_t>(pread(descriptor, text.data(), text.size(), 0)));
  return text;
}

}  // namespace

CapturedConsole::CapturedConsole(tool::Display output, tool::Display messages)
    : output_(memfd_create("output", MFD_CLOEXEC)),
      messages_(memfd_create("messages", MFD_CLOEXEC)),
      console_(output_.get(), messages_.get(), output, messages) {}

std::string CapturedConsole::output() {
  console_.flush();
  return contentsOf(output_.get());
}

std::string CapturedConsole::messages() {
  return contentsOf(messages_.get());
}

ToolRun runTool(const std::vector<std::string>& arguments, tool::Display output, tool::Display messages) {
  const TemporaryScope scope;
  CapturedConsole captured(output, messages);
  std::vector<const char*> vector{"vanto"};
  for (const std::string& argument : arguments) vector.push_back(argument.c_str());
  const auto status = tool::runCommandLine(static_cast<int>(vector.size()), vector.data(), captured.console());
  return {status, captured.output(), captured.messages()};
}

}  // namespace vanto::testing
